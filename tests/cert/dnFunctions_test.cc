// The plain functions over names: texts in, texts out, areas of every size.
#include <gtest/gtest.h>

#include <cstring>

#include "kxcert/asn1/oids.h"
#include "kxcert/cert/sxDN.h"
#include "support/derOctets.h"
#include "support/logCapture.h"

namespace {

TEST(DnFunctions, AddsACommonName) {
  LogCapture log;
  char out[32] = "old";
  EXPECT_EQ(0, sxDN_add_CN("o=b, c=d", "CN=a", out, sizeof out));
  EXPECT_STREQ("CN=a,O=b,C=d", out);
  EXPECT_EQ(0, sxDN_add_CN("O=b", "CN=a", out, 9));
  std::strcpy(out, "old");
  EXPECT_EQ(-1, sxDN_add_CN("O=b", "CN=a", out, 8));
  EXPECT_TRUE(log.Has("sxDN_add_CN: new_dn len is too short"));
  EXPECT_EQ(-1, sxDN_add_CN("O=b", "CN=a", out, -1));
  EXPECT_EQ(-1, sxDN_add_CN("", "CN=a", out, sizeof out));
  EXPECT_TRUE(log.Has("sxDN_add_CN: dn is illegal"));
  EXPECT_EQ(-1, sxDN_add_CN("O=b", "a", out, sizeof out));
  EXPECT_TRUE(log.Has("sxDN_add_CN: new dn is illegal"));
  EXPECT_EQ(-1, sxDN_add_CN(nullptr, "CN=a", out, sizeof out));
  EXPECT_EQ(-1, sxDN_add_CN("O=b", nullptr, out, sizeof out));
  EXPECT_STREQ("old", out);
}

TEST(DnFunctions, RemovesACommonName) {
  LogCapture log;
  char out[32] = "old";
  EXPECT_EQ(-1, sxDN_remove_CN("CN", out, sizeof out));
  EXPECT_TRUE(log.Has("sxDN_remove_CN: dn_s is not dn"));
  EXPECT_EQ(-1, sxDN_remove_CN("CN=a", out, sizeof out));
  EXPECT_TRUE(log.Has("sxDN_remove_CN: no dn after remove cn"));
  EXPECT_EQ(-1, sxDN_remove_CN("CN=a,O=b", out, 3));
  EXPECT_TRUE(log.Has("sxDN_remove_CN: new_dn  len is too short"));
  EXPECT_EQ(-1, sxDN_remove_CN("CN=a,O=b", out, -1));
  EXPECT_EQ(-1, sxDN_remove_CN(nullptr, out, sizeof out));
  EXPECT_EQ(-1, sxDN_remove_CN("CN=a,O=b", nullptr, 3));
  EXPECT_STREQ("old", out);
  EXPECT_EQ(0, sxDN_remove_CN("CN=a,O=b", out, 4));
  EXPECT_STREQ("O=b", out);
  EXPECT_EQ(0, sxDN_remove_CN("OU=u,CN=a", out, sizeof out));
  EXPECT_STREQ("OU=u,CN=a", out);
}

TEST(DnFunctions, ReadsAttributesOfATextAndOfDer) {
  LogCapture log;
  char out[8] = "old";
  EXPECT_EQ(0, sxDN_CN_from_string("CN=a,CN=b,OU=c,OU=d", out, sizeof out));
  EXPECT_STREQ("a", out);
  EXPECT_EQ(0, sxDN_OU_from_string("CN=a,CN=b,OU=c,OU=d", out, 2));
  EXPECT_STREQ("c", out);
  EXPECT_EQ(-1, sxDN_OU_from_string("OU=c", out, 1));
  EXPECT_TRUE(log.Has("sxDN_OU_from_string: 1 characters do not fit 1"));
  EXPECT_EQ(-1, sxDN_CN_from_string("CN=c", out, -1));
  EXPECT_EQ(-1, sxDN_OID2Str(sxASN_id_at_commonName, out, 2));
  EXPECT_TRUE(log.Has("sxDN_OID2Str: 2 characters do not fit 2"));
  EXPECT_EQ(-1, sxDN_CN_from_string("OU=c", out, sizeof out));
  EXPECT_EQ(-1, sxDN_CN_from_string("OU", out, sizeof out));
  EXPECT_STREQ("c", out);

  const Octets der = NameOf({Ava(kCN, kUtf8, Text("a"))});
  sxDN *dn = sxDN_DER_Decode(der.data(), LenOf(der));
  EXPECT_STREQ("CN=a", sxDN_GetStr(dn));
  sxDN_Free(dn);
  log.Clear();
  EXPECT_EQ(nullptr, sxDN_DER_Decode(nullptr, 1));
  EXPECT_EQ(nullptr, sxDN_DER_Decode(der.data(), 0));
  EXPECT_TRUE(log.Lines().empty());
  EXPECT_EQ(nullptr, sxDN_DER_Decode(der.data(), LenOf(der) - 1));
  EXPECT_TRUE(log.Has("sxDN_DER_Decode: error decoding DN"));
}

TEST(DnFunctions, LegalNamesPrintSomething) {
  EXPECT_EQ(1, sxDN_IsLegalDN("CN=a"));
  for (const char *text : {"", "CN=", static_cast<const char *>(nullptr)}) EXPECT_EQ(0, sxDN_IsLegalDN(text));
}

}  // namespace
