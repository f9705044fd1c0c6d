#include "kxcert/keys/pkcs1.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "kxcert/asn1/modules/SXUTILS.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/keys/algorithms.h"
#include "support/hexOctets.h"
#include "support/logCapture.h"

namespace {

using Octets = std::vector<unsigned char>;

// Through the ASN.1 tree, which the library's own writer does not use.
Octets TreeDigestInfo(int mdType, const Octets &digest) {
  sxASN_DigestInfo info;
  info.digestAlgorithm = sx_New_AlgID(*HashOID_By_MD(mdType), nullptr);
  info.digest = new sxAsnOcts(digest.data(), static_cast<int>(digest.size()));
  kxBinBuf der;
  EXPECT_EQ(0, sxASN_EncodeBuf(info, der, 1));
  return Octets(der.Data(), der.Data() + der.Len());
}

TEST(Pkcs1, WritesDigestInfoAsTheTreeDoes) {
  for (const int md : {1, 2, 5, 6, 7, 8}) {
    for (const int len : {kx_md_len(md), 1, 107, 108, 127, 128, 255, 256, 70000}) {
      SCOPED_TRACE(testing::Message() << "kind " << md << ", " << len << " octets");
      const Octets digest(static_cast<size_t>(len), 0x5A);
      kxBinBuf info;
      ASSERT_EQ(0, kxPKCS1DigestInfo(digest.data(), len, md, info));
      EXPECT_EQ(TreeDigestInfo(md, digest), Octets(info.Data(), info.Data() + info.Len()));
    }
  }
  const LogCapture log;
  const unsigned char digest[20] = {};
  kxBinBuf info(digest, 3);
  EXPECT_EQ(-1, kxPKCS1DigestInfo(digest, sizeof digest, 3, info));
  EXPECT_EQ(3u, info.Len());
  EXPECT_TRUE(log.Has("nrvPKCS1DigestInfo: unrecognized algorithm (3)"));
}

// RFC 8017, 9.2, note 1: the SHA-256 prefix is 3031300d060960864801650304020105000420.
constexpr char kDigest[] = "000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f";
constexpr struct { const char *what; const char *before; const char *after; int rc; } kCompareCases[] = {
    {"parameters NULL", "3031300d060960864801650304020105000420", "", 0},
    {"parameters absent", "302f300b0609608648016503040201 0420", "", 0},
    {"long length octets", "308131300d060960864801650304020105000420", "", kKeyLenMismatch},
    {"long length octets, parameters absent", "30812f300b06096086480165030402010420", "", kKeyLenMismatch},
    {"octets after it", "3031300d060960864801650304020105000420", "0000", kKeyLenMismatch},
    {"two octets in place of the NULL, at the end", "302f300b06096086480165030402010420", "0000", kKeyUnequal},
    {"parameters not NULL", "3031300d060960864801650304020104000420", "", kKeyUnequal},
    {"SHA-512 said", "3031300d060960864801650304020305000420", "", kKeyUnequal},
    {"the digest alone", "", "", kKeyLenMismatch},
};

TEST(Pkcs1, ComparesWithTwoEncodingsOnly) {
  const Octets digest = DecodeHex(kDigest);
  const auto digestLen = static_cast<int>(digest.size());
  for (const auto &c : kCompareCases) {
    SCOPED_TRACE(c.what);
    Octets decoded = DecodeHex((std::string(c.before) + kDigest + c.after).c_str());
    const auto compare = [&] {
      return sxComparePKCS1(sxPKop_digest, sx_md_sha256, digest.data(), digestLen, decoded.data(),
                            static_cast<int>(decoded.size()));
    };
    EXPECT_EQ(c.rc, compare());
    if (c.rc != 0) continue;
    for (unsigned char &octet : decoded) {   // every octet counts
      octet ^= 1;
      EXPECT_EQ(kKeyUnequal, compare());
      octet ^= 1;
    }
  }
}

TEST(Pkcs1, ComparesByOperation) {
  const Octets digest = DecodeHex(kDigest);
  const Octets wrapped = TreeDigestInfo(sx_md_sha256, digest);
  const auto compare = [&](int op, const Octets &decoded, int md = sx_md_sha256) {
    return sxComparePKCS1(static_cast<sxPKop_type>(op), md, digest.data(), 32, decoded.data(),
                          static_cast<int>(decoded.size()));
  };
  EXPECT_EQ(0, compare(1, digest));
  EXPECT_EQ(kKeyLenMismatch, compare(1, wrapped));
  EXPECT_EQ(kKeyUnequal, compare(1, Octets(32)));
  EXPECT_EQ(0, compare(3, digest));
  EXPECT_EQ(0, compare(3, wrapped));
  EXPECT_EQ(kKeyLenMismatch, compare(3, Octets(31)));
  EXPECT_EQ(0, compare(2, wrapped));
  EXPECT_EQ(kKeyLibraryFailed, compare(0, wrapped, 3));
  EXPECT_EQ(kKeyNotImplemented, compare(4, digest));
  EXPECT_EQ(kKeyBadInput, sxComparePKCS1(sxPKop_raw, sx_md_sha256, digest.data(), -1, digest.data(), -1));

  const LogCapture log;
  EXPECT_EQ(kKeyUnequal, compare(1, Octets(32)));
  EXPECT_TRUE(log.Has("sxComparePKCS1: different message signed"));
  EXPECT_TRUE(log.Has("Decoded version:"));
  EXPECT_TRUE(log.Has("Should be:"));
}

TEST(Pkcs1, PadsAndUnpads) {
  const Octets text = {'h', 'i'};
  for (const int type : {1, 2}) {
    SCOPED_TRACE(type);
    kxBinBuf data(text.data(), 2), block, back;
    data.SetSensitive(true);
    ASSERT_EQ(0, sxpkcs1pad(type, data, 32, block));
    ASSERT_EQ(32u, block.Len());
    EXPECT_TRUE(block.IsSensitive());
    EXPECT_EQ(0, block.Data()[0]);
    EXPECT_EQ(type, block.Data()[1]);
    EXPECT_EQ(0, std::count(block.Data() + 2, block.Data() + 29, 0));
    EXPECT_EQ(0, block.Data()[29]);
    ASSERT_EQ(0, sxpkcs1unpad(type, block, back));
    EXPECT_TRUE(back == data);
    EXPECT_TRUE(back.IsSensitive());

    EXPECT_EQ(-1, sxpkcs1unpad(3 - type, block, back));
    block.Data()[5] = 0;   // a padding of three octets
    EXPECT_EQ(-1, sxpkcs1unpad(type, block, back));
    EXPECT_TRUE(back == data);
    EXPECT_EQ(0, sxpkcs1pad(type, data, 13, block));
    EXPECT_EQ(-1, sxpkcs1pad(type, data, 12, block));
  }
  kxBinBuf data(text.data(), 2), block;
  EXPECT_EQ(-1, sxpkcs1pad(0, data, 32, block));
}

constexpr struct { const char *what; const char *hex; int rc; } kPkcs8Cases[] = {
    {"as written here", "3017 020100 300d06092a864886f70d0101010500 0403010203", 0},
    {"parameters absent", "3015 020100 300b06092a864886f70d010101 0403010203", 0},
    {"attributes", "3019 020100 300d06092a864886f70d0101010500 0403010203 a000", 0},
    {"version 1", "3017 020101 300d06092a864886f70d0101010500 0403010203", -1},
    {"another algorithm", "3017 020100 300d06092a864886f70d0101040500 0403010203", -1},
    {"a longer identifier", "3018 020100 300e060a2a864886f70d010101010500 0403010203", -1},
    {"parameters not NULL", "3018 020100 300e06092a864886f70d010101020100 0403010203", -1},
    {"no key", "3012 020100 300d06092a864886f70d0101010500", -1},
    {"an empty key", "3014 020100 300d06092a864886f70d0101010500 0400", -1},
    {"something after the key", "3019 020100 300d06092a864886f70d0101010500 0403010203 0500", -1},
    {"octets after it", "3017 020100 300d06092a864886f70d0101010500 0403010203 00", -1},
    {"cut short", "3017 020100 300d06092a864886f70d0101010500 04030102", -1},
};

TEST(Pkcs8, TakesAbsentParameters) {
  for (const auto &c : kPkcs8Cases) {
    SCOPED_TRACE(c.what);
    const Octets der = DecodeHex(c.hex);
    kxBinBuf inner("was", 3);
    EXPECT_EQ(c.rc, kxPKCS8_to_PKCS1(kxBinBuf(der.data(), static_cast<unsigned>(der.size())), inner));
    EXPECT_EQ(c.rc == 0 ? "010203" : "776173", EncodeHex(inner.Data(), inner.Len()));
    EXPECT_EQ(c.rc == 0, inner.IsSensitive());
  }
  kxBinBuf back;
  ASSERT_EQ(0, kxPKCS1_to_PKCS8(kxBinBuf("\1\2\3", 3), back));
  EXPECT_EQ(DecodeHex(kPkcs8Cases[0].hex), Octets(back.Data(), back.Data() + back.Len()));
  EXPECT_TRUE(back.IsSensitive());
}

}  // namespace
