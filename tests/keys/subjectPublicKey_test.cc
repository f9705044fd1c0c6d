#include "kxcert/keys/subjectPublicKey.h"

#include <gtest/gtest.h>

#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/asn1/sxAsnAny.h"
#include "kxcert/asn1/sxAsnBits.h"
#include "kxcert/keys/algorithms.h"
#include "kxcert/keys/kxECDSA.h"
#include "support/derOctets.h"
#include "support/hexOctets.h"
#include "support/keyFiles.h"
#include "support/runCommand.h"

namespace {

sxSpkiResult Outcome(const sxAsnOid &oid, const Octets &params, const Octets &key) {
  sxSpkiResult why = sxSpki_ok;
  const PubKeyRef made(sxPubKey_FromSPKI(oid.Data(), oid.Len(), params.data(), LenOf(params), key.data(),
                                         LenOf(key), &why));
  EXPECT_EQ(why == sxSpki_ok, made != nullptr);
  return why;
}

TEST(SubjectPublicKey, ReadsWhatTheOpensslCommandWrites) {
  for (const char *name : {"rsa1024", "rsa4096", "prime256v1", "secp384r1", "secp521r1"}) {
    for (const char *form : {"uncompressed", "compressed"}) {
      SCOPED_TRACE(testing::Message() << name << ", " << form);
      const bool isRsa = name[0] == 'r';
      const std::string file = KeyFile(name + std::string(".pem"));
      const std::string der = RunCommand(
          isRsa ? "openssl rsa -pubout -outform DER 2>/dev/null -in " + file
                : "openssl ec -pubout -outform DER 2>/dev/null -conv_form " + std::string(form) + " -in " + file);
      sxASN_SubjectPublicKeyInfo spki;
      ASSERT_EQ(0, sxASN_DecodeBuf(spki, der.data(), static_cast<int>(der.size())));
      sxSpkiResult why = sxSpki_unsupported;
      const PubKeyRef key(sxPubKey_FromSPKI(spki, &why));
      ASSERT_NE(nullptr, key);
      EXPECT_EQ(sxSpki_ok, why);
      const PubKeyRef original = isRsa ? RsaTestKey(std::atoi(name + 3)) : EcTestKey(name);
      EXPECT_EQ(1, sxPubKey_Equal(key.get(), original.get()));
      EXPECT_EQ(336, key->Flags());
    }
  }
}

TEST(SubjectPublicKey, TakesRsaSignatureAlgorithms) {
  const Octets key = Exported(*RsaTestKey(1024), sxPK_public);
  const Octets null = {5, 0}, odd = {2, 1, 7};
  for (const sxAsnOid *oid : {&sxASN_rsaEncryption, &sxASN_md5WithRSAEncryption, &sxASN_sha1WithRSAEncryption,
                              &sxASN_sha_1WithRSAEncryption, &sxASN_sha256WithRSAEncryption,
                              &sxASN_sha384WithRSAEncryption, &sxASN_sha512WithRSAEncryption}) {
    EXPECT_EQ(sxSpki_ok, Outcome(*oid, null, key));
    EXPECT_EQ(sxSpki_ok, Outcome(*oid, {}, key));
    EXPECT_EQ(sxSpki_ok, Outcome(*oid, odd, key));
    EXPECT_EQ(sxSpki_bad_rsa, Outcome(*oid, null, {0x30, 0}));
  }
}

TEST(SubjectPublicKey, SaysWhyNot) {
  const Octets point = Exported(*EcTestKey("prime256v1"), sxPK_public);
  const Octets p256 = DecodeHex("06082a8648ce3d030107"), p384 = DecodeHex("06052b81040022");
  const Octets k1 = DecodeHex("06052b8104000a"), longForm = DecodeHex("0681082a8648ce3d030107");
  EXPECT_EQ(sxSpki_ok, Outcome(sxASN_ECDSAPublicKey, p256, point));
  EXPECT_EQ(sxSpki_bad_ec, Outcome(sxASN_ECDSAPublicKey, p384, point));
  EXPECT_EQ(sxSpki_bad_ec, Outcome(sxASN_ECDSAPublicKey, k1, point));
  EXPECT_EQ(sxSpki_bad_ec, Outcome(sxASN_ECDSAPublicKey, longForm, point));
  EXPECT_EQ(sxSpki_bad_ec, Outcome(sxASN_ECDSAPublicKey, {}, point));
  EXPECT_EQ(sxSpki_bad_ec, Outcome(sxASN_ECDSAPublicKey, {5, 0}, point));
  EXPECT_EQ(sxSpki_bad_ec, Outcome(sxASN_ECDSAPublicKey, p256, {}));
  EXPECT_EQ(sxSpki_dsa, Outcome(sxASN_dsa, {}, point));
  EXPECT_EQ(sxSpki_unsupported, Outcome(sxASN_sha256WithECDSAEncryption, p256, point));
  EXPECT_EQ(sxSpki_unsupported, Outcome(sxASN_id_ce_keyUsage, p256, point));
  EXPECT_EQ(nullptr, sxPubKey_FromSPKI(nullptr, 0, nullptr, 0, nullptr, 0, nullptr));
}

TEST(SubjectPublicKey, ReadsTreesMadeByHand) {
  const Octets point = Exported(*EcTestKey("secp384r1"), sxPK_public);
  sxAsnOid curve(sxASN_secp384r1);
  sxASN_SubjectPublicKeyInfo spki;
  sxSpkiResult why = sxSpki_ok;
  EXPECT_EQ(nullptr, sxPubKey_FromSPKI(spki, &why));
  EXPECT_EQ(sxSpki_unsupported, why);
  spki.algorithm = sx_New_AlgID(sxASN_ECDSAPublicKey, &curve);
  EXPECT_EQ(nullptr, sxPubKey_FromSPKI(spki, &why));
  EXPECT_EQ(sxSpki_bad_ec, why);
  spki.subjectPublicKey = new sxAsnBits;
  spki.subjectPublicKey->Set(point.data(), LenOf(point) * 8);
  EXPECT_NE(nullptr, PubKeyRef(sxPubKey_FromSPKI(spki, &why)));
  EXPECT_EQ(sxSpki_ok, why);
  spki.subjectPublicKey->Set(point.data(), LenOf(point) * 8 - 1);
  EXPECT_EQ(nullptr, sxPubKey_FromSPKI(spki, &why));
}

}  // namespace
