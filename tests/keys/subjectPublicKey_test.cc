// Trees of subjectPublicKeyInfo; keyForms_test.cc has their pieces.
#include "keys/subjectPublicKey.h"

#include <gtest/gtest.h>

#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/sxAsnAny.h"
#include "kxcert/asn1/sxAsnBits.h"
#include "kxcert/keys/algorithms.h"
#include "support/caseFile.h"
#include "support/keyFiles.h"

namespace {

TEST(SubjectPublicKey, ReadsWhatTheOpensslCommandWrites) {
  for (const CaseRow &row : CaseRows("keys/spkiTrees.txt", 2)) {
    SCOPED_TRACE(testing::PrintToString(row));
    sxASN_SubjectPublicKeyInfo spki;
    ASSERT_EQ(0, sxASN_DecodeBuf(spki, CaseText(row[1]).data(), LenOf(CaseOctets(row[1]))));
    sxSpkiResult why = sxSpki_unsupported;
    const PubKeyRef key(sxPubKey_FromSPKI(spki, &why)), unexplained(sxPubKey_FromSPKI(spki, nullptr));
    EXPECT_EQ(sxSpki_ok, why);
    EXPECT_EQ(1, sxPubKey_Equal(key.get(), TestKey(row[0]).get()));
    EXPECT_EQ(1, sxPubKey_Equal(key.get(), unexplained.get()));
  }
}

TEST(SubjectPublicKey, ReadsTreesMadeByHand) {
  const Octets point = Exported(*EcTestKey("secp384r1"), sxPK_public);
  sxAsnOid curve(sxASN_secp384r1);
  sxASN_SubjectPublicKeyInfo spki;
  sxSpkiResult why = sxSpki_ok;
  const auto reads = [&] { return PubKeyRef(sxPubKey_FromSPKI(spki, &why)) != nullptr; };
  EXPECT_TRUE(!reads() && why == sxSpki_unsupported);
  spki.algorithm = new sxASN_AlgorithmIdentifier;
  EXPECT_TRUE(!reads() && why == sxSpki_unsupported);
  delete std::exchange(spki.algorithm, sx_New_AlgID(sxASN_ECDSAPublicKey, &curve));
  EXPECT_TRUE(!reads() && why == sxSpki_bad_ec);
  spki.subjectPublicKey = new sxAsnBits;
  spki.subjectPublicKey->Set(point.data(), LenOf(point) * 8);
  EXPECT_TRUE(reads() && why == sxSpki_ok);
  spki.subjectPublicKey->Set(point.data(), LenOf(point) * 8 - 1);
  EXPECT_TRUE(!reads() && why == sxSpki_bad_ec);
}

}  // namespace
