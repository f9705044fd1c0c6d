#include "kxcert/keys/algorithms.h"

#include <gtest/gtest.h>

#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/sxAsnInt.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "support/caseFile.h"
#include "support/hexOctets.h"

namespace {

TEST(Algorithms, MapIdentifiersBothWays) {
  for (const CaseRow &row : CaseRows("keys/algorithms.txt", 4, 3)) {
    SCOPED_TRACE(testing::PrintToString(row));
    const auto oid = OidOf(row[0].c_str());
    const int md = std::stoi(row[1]), family = std::stoi(row[2]);
    EXPECT_EQ(md, MdType_By_SignOID(*oid));
    EXPECT_EQ(family, AlgType_By_SignOID(*oid));
    const sxAsnOid *const written = SignOID_By_MD(md, family == 3 ? 7 : 0);
    EXPECT_EQ(row[3] == "both", written != nullptr && written->OidEquiv(*oid));
  }
  for (const int md : {0, 3, 4, 8, -1}) EXPECT_EQ(nullptr, SignOID_By_MD(md, 0)) << md;
  for (const int md : {0, 1, 3, 8}) EXPECT_EQ(nullptr, SignOID_By_MD(md, 1)) << md;
  const char *const hashes[] = {nullptr, "1.2.840.113549.2.5", "1.3.14.3.2.26", nullptr, nullptr, "2.16.840.1.101.3.4.2.1",
                                "2.16.840.1.101.3.4.2.2", "2.16.840.1.101.3.4.2.3", "2.16.840.1.101.3.4.2.6", nullptr};
  for (int md = 0; md < 10; ++md) {
    const sxAsnOid *const oid = HashOID_By_MD(md);
    ASSERT_EQ(hashes[md] == nullptr, oid == nullptr) << md;
    if (oid != nullptr) { EXPECT_TRUE(oid->OidEquiv(*OidOf(hashes[md]))) << md; }
  }
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
