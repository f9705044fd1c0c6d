#include "kxcert/keys/algorithms.h"

#include <gtest/gtest.h>

#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/sxAsnInt.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "support/hexOctets.h"

namespace {

// Dotted texts stand here again on purpose: they come from the RFCs, not from the tables.
constexpr struct { const char *dotted; int mdType; int ecdsa; } kSignCases[] = {
    {"1.2.840.113549.1.1.4", 1, 0},  {"1.2.840.113549.1.1.5", 2, 0},  {"1.2.840.113549.1.1.11", 5, 0},
    {"1.2.840.113549.1.1.12", 6, 0}, {"1.2.840.113549.1.1.13", 7, 0}, {"1.2.840.10045.4.1", 2, 1},
    {"1.2.840.10045.4.3.2", 5, 1},   {"1.2.840.10045.4.3.3", 6, 1},   {"1.2.840.10045.4.3.4", 7, 1},
};

TEST(Algorithms, MapSignaturesBothWays) {
  for (const auto &c : kSignCases) {
    SCOPED_TRACE(c.dotted);
    const sxAsnOid *oid = SignOID_By_MD(c.mdType, c.ecdsa);
    ASSERT_NE(nullptr, oid);
    char text[64];
    ASSERT_EQ(0, oid->GetStr(text, sizeof text));
    EXPECT_STREQ(c.dotted, text);
    EXPECT_EQ(c.mdType, MdType_By_SignOID(*oid));
    EXPECT_EQ(c.ecdsa ? 3 : 0, AlgType_By_SignOID(*oid));
  }
}

TEST(Algorithms, KnowWhatIsMissing) {
  EXPECT_EQ(nullptr, SignOID_By_MD(sx_md_md5, 1));
  EXPECT_EQ(nullptr, SignOID_By_MD(sx_md_sha512_256, 0));
  EXPECT_EQ(nullptr, HashOID_By_MD(sx_md_unknown));
  EXPECT_EQ(nullptr, HashOID_By_MD(sx_md_md4));
  EXPECT_EQ(2, MdType_By_SignOID(sxASN_sha_1WithRSAEncryption));   // the older identifier is read, never written
  EXPECT_EQ(0, AlgType_By_SignOID(sxASN_sha_1WithRSAEncryption));
  EXPECT_EQ(3, MdType_By_SignOID(sxASN_id_ce_keyUsage));
  EXPECT_EQ(3, MdType_By_SignOID(sxASN_rsaEncryption));
  EXPECT_EQ(-1, AlgType_By_SignOID(sxASN_id_ce_keyUsage));
  EXPECT_EQ(0, AlgType_By_SignOID(sxASN_rsaEncryption));
  EXPECT_EQ(2, AlgType_By_SignOID(sxASN_dsa));
}

TEST(Algorithms, MakeIdentifiersWithNullOrACopy) {
  const auto encoded = [](sxAsnType *params) {
    const std::unique_ptr<sxASN_AlgorithmIdentifier> made(sx_New_AlgID(sxASN_md5, params));
    kxBinBuf der;
    EXPECT_EQ(0, sxASN_EncodeBuf(*made, der, 1));
    return EncodeHex(der.Data(), der.Len());
  };
  EXPECT_EQ("300c06082a864886f70d02050500", encoded(nullptr));
  sxAsnInt seven(7);
  EXPECT_EQ("300d06082a864886f70d0205020107", encoded(&seven));
}

}  // namespace
