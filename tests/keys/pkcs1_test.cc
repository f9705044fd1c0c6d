#include "kxcert/keys/pkcs1.h"

#include <gtest/gtest.h>
#include <openssl/err.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <sstream>

#include "kxcert/asn1/modules/SXUTILS.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/keys/algorithms.h"
#include "support/caseFile.h"
#include "support/fakeRandom.h"
#include "support/hexOctets.h"
#include "support/logCapture.h"

namespace {

Octets OctetsOf(const kxBinBuf &buf) { return Octets(buf.Data(), buf.Data() + buf.Len()); }

// Through the ASN.1 tree, which the library's own writer does not use.
Octets TreeDigestInfo(int mdType, const Octets &digest) {
  sxASN_DigestInfo info;
  info.digestAlgorithm = sx_New_AlgID(*HashOID_By_MD(mdType), nullptr);
  info.digest = new sxAsnOcts(digest.data(), LenOf(digest));
  kxBinBuf der;
  EXPECT_EQ(0, sxASN_EncodeBuf(info, der, 1));
  return OctetsOf(der);
}

TEST(Pkcs1, WritesDigestInfoAsTheTreeDoes) {
  const LogCapture log;
  const Octets digest(1 << 20, 0x5A);
  for (const int md : {1, 2, 5, 6, 7, 8}) {
    for (const int len : {kx_md_len(md), 1, 107, 108, 127, 128, 255, 256, 70000, 1 << 20}) {
      kxBinBuf info;
      ASSERT_EQ(0, kxPKCS1DigestInfo(digest.data(), len, md, info));
      EXPECT_EQ(TreeDigestInfo(md, Octets(digest.begin(), digest.begin() + len)), OctetsOf(info)) << md << ", " << len;
      EXPECT_FALSE(info.IsSensitive());
    }
  }
  EXPECT_TRUE(log.Lines().empty());
  kxBinBuf info("was", 3);
  EXPECT_EQ(-1, kxPKCS1DigestInfo(digest.data(), (1 << 20) + 1, 5, info));
  EXPECT_EQ(-1, kxPKCS1DigestInfo(digest.data(), 0, 5, info));
  EXPECT_EQ(-1, kxPKCS1DigestInfo(nullptr, 20, 5, info));
  EXPECT_EQ(-1, kxPKCS1DigestInfo(digest.data(), 20, 3, info));
  EXPECT_TRUE(log.Has("nrvPKCS1DigestInfo: unrecognized algorithm (3)"));
  EXPECT_EQ(Text("was"), OctetsOf(info));
}

TEST(Pkcs1, ComparesWithTwoEncodingsOnly) {
  const Octets digest(32, 0xA7);
  for (const CaseRow &row : CaseRows("keys/comparisons.txt", 4)) {
    SCOPED_TRACE(testing::PrintToString(row));
    int op = 0, md = 0;
    std::istringstream(row[1]) >> op >> md;
    Octets decoded = CaseOctets(row[2]);
    decoded.reserve(1);
    const auto compare = [&] {
      return sxComparePKCS1(static_cast<sxPKop_type>(op), md, digest.data(), 32, decoded.data(), LenOf(decoded));
    };
    const LogCapture log;
    EXPECT_EQ(std::stoi(row[3]), compare());
    EXPECT_EQ(row[3] != "0" && op != 4, log.Has("sxComparePKCS1: different message signed") && log.Has("Should be:"));
    EXPECT_EQ(op == 4, log.Has("sxComparePKCS1: unsupported op 4"));
    if (row[3] != "0") continue;
    for (unsigned char &octet : decoded) {   // every octet counts
      octet ^= 1;
      EXPECT_EQ(op == 3 && decoded.size() == 32 ? kKeyLenMismatch : kKeyUnequal, compare());
      octet ^= 1;
    }
  }
  const unsigned char *const d = digest.data();
  EXPECT_EQ(kKeyBadInput, sxComparePKCS1(sxPKop_raw, 5, nullptr, 32, d, 32));
  EXPECT_EQ(kKeyBadInput, sxComparePKCS1(sxPKop_raw, 5, d, 0, d, 0));
  EXPECT_EQ(kKeyBadInput, sxComparePKCS1(sxPKop_raw, 5, d, 32, nullptr, 32));
  EXPECT_EQ(kKeyBadInput, sxComparePKCS1(sxPKop_raw, 5, d, 32, d, -1));
  LogCapture log;   // both are shown as they were compared
  sxComparePKCS1(sxPKop_digest, sx_md_md5, d, 4, d, 3);
  sxComparePKCS1(sxPKop_raw, sx_md_md5, d, 2, d, 1);
  EXPECT_EQ((std::vector<std::string>{"sxComparePKCS1: different message signed", "Decoded version:", "a7 a7 a7 ", "Should be:",
                                      "30 14 30 0c 06 08 2a 86 48 86 f7 0d 02 05 05 00 ", "04 04 a7 a7 a7 a7 ",
                                      "sxComparePKCS1: different message signed", "Decoded version:", "a7 ", "Should be:", "a7 a7 "}), log.Lines());
}

TEST(Pkcs1, PadsAndUnpads) {
  const LogCapture log;
  for (const int type : {1, 2}) {
    for (const bool secret : {true, false}) {
      SCOPED_TRACE(type);
      kxBinBuf data("hi", 2), block("was", 3), back("was", 3);
      data.SetSensitive(secret);
      ASSERT_EQ(0, sxpkcs1pad(type, data, 32, block));
      ASSERT_EQ(32u, block.Len());
      EXPECT_EQ(secret, block.IsSensitive());
      EXPECT_EQ(0, block.Data()[0]);
      EXPECT_EQ(type, block.Data()[1]);
      EXPECT_EQ(type == 1 ? 27 : 0, std::count(block.Data() + 2, block.Data() + 29, type == 1 ? 0xFF : 0));
      EXPECT_EQ(0, block.Data()[29]);
      ASSERT_EQ(0, sxpkcs1unpad(type, block, back));
      EXPECT_TRUE(back == data);
      EXPECT_EQ(secret, back.IsSensitive());
      EXPECT_EQ(-1, sxpkcs1unpad(3 - type, block, back));
      EXPECT_EQ(-1, sxpkcs1unpad(0, block, back));
      block.Data()[5] = 0;   // a padding of three octets
      EXPECT_EQ(-1, sxpkcs1unpad(type, block, back));
      EXPECT_TRUE(back == data);
      EXPECT_EQ(0, sxpkcs1pad(type, data, 13, block));
      EXPECT_EQ(-1, sxpkcs1pad(type, data, 12, block));
      EXPECT_EQ(13u, block.Len());
      ASSERT_EQ(0, sxpkcs1unpad(type, block, back));
      ASSERT_EQ(0, sxpkcs1pad(type, kxBinBuf("", 0u), 11, block));   // the shortest
      ASSERT_EQ(0, sxpkcs1unpad(type, block, back));
      EXPECT_EQ(0u, back.Len());
      ASSERT_EQ(0, sxpkcs1pad(type, data, 1 << 16, block));   // and the longest
      ASSERT_EQ(0, sxpkcs1unpad(type, block, back));
      EXPECT_EQ(-1, sxpkcs1pad(type, data, (1 << 16) + 1, block));
      EXPECT_EQ(-1, sxpkcs1pad(type, data, 10, block));
      block.Set((1 << 16) + 1);
      EXPECT_EQ(-1, sxpkcs1unpad(type, block, back));
      block.Set(10);
      EXPECT_EQ(-1, sxpkcs1unpad(type, block, back));
    }
  }
  EXPECT_TRUE(log.Has("kxPKCS1Pad: 2 octets do not go into a block of 12"));
  EXPECT_TRUE(log.Has("sxpkcs1unpad: no block of type 0"));
  unsigned char in[4] = {}, block[16];
  EXPECT_EQ(0, kxPKCS1Pad(1, in, 4, block, 16));
  EXPECT_EQ("0001ffffffffffffffffff0000000000", EncodeHex(block, 16));
  EXPECT_EQ(-1, kxPKCS1Pad(0, in, 4, block, 16));
  EXPECT_TRUE(log.Has("kxPKCS1Pad: no block of type 0"));
  EXPECT_EQ(-1, kxPKCS1Pad(1, nullptr, 4, block, 16));
  EXPECT_EQ(-1, kxPKCS1Pad(1, in, 4, nullptr, 16));
  EXPECT_EQ(-1, kxPKCS1Pad(1, in, -1, block, 16));
  EXPECT_EQ(-1, kxPKCS1Pad(1, in, 6, block, 16));
  for (const int tooShort : {INT_MIN, INT_MIN + 10, 0, 10}) EXPECT_EQ(-1, kxPKCS1Pad(1, in, 0, block, tooShort));
  std::memcpy(block + 5, "data", 4);
  EXPECT_EQ(0, kxPKCS1Pad(1, block + 5, 4, block, 16));
  EXPECT_EQ("0001ffffffffffffffffff0064617461", EncodeHex(block, 16));
  const FakeRandom none([](unsigned char *, int) { return 0; });
  EXPECT_EQ(-1, kxPKCS1Pad(2, in, 4, block, 16));
  EXPECT_EQ(0u, ERR_peek_error());
}

}  // namespace
