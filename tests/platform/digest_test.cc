#include "kxcert/platform/digest.h"

#include <gtest/gtest.h>

#include "support/caseFile.h"

namespace {

Octets Digest(int type, const Octets &data) {
  Octets digest(static_cast<size_t>(kx_md_len(type)));
  EXPECT_EQ(0, kx_md_hashbuf(type, data.data(), data.size(), digest.data(), kx_md_len(type)));
  return digest;
}

TEST(Digest, AgreesWithThePublishedVectorsAndOpenssl) {
  for (const CaseRow &row : CaseRows("platform/digests.txt", 3)) {
    EXPECT_EQ(CaseOctets(row[2]), Digest(std::stoi(row[0]), CaseOctets(row[1]))) << row.where;
  }
}

TEST(Digest, RefusesUnknownKindsAndWrongLengths) {
  unsigned char digest[kMaxDigestLen + 1] = {7};
  for (const int type : {-1, int{sx_md_unknown}, 4, 9}) {
    EXPECT_EQ(0, kx_md_len(type));
    for (const int len : {0, 16, 20}) EXPECT_EQ(-1, kx_md_hashbuf(type, "", 0, digest, len));
  }
  EXPECT_EQ(-1, kx_md_hashbuf(sx_md_sha1, "", 0, digest, 19));
  EXPECT_EQ(-1, kx_md_hashbuf(sx_md_sha1, "", 0, digest, 21));
  EXPECT_EQ(-1, kx_md_hashbuf(sx_md_sha1, nullptr, 1, digest, 20));
  EXPECT_EQ(-1, kx_md_hashbuf(sx_md_sha1, "", 0, nullptr, 20));
  EXPECT_EQ(7, digest[0]);
  EXPECT_EQ(0, kx_md_hashbuf(sx_md_sha1, nullptr, 0, digest, 20));
  EXPECT_EQ(Digest(sx_md_sha1, {}), Octets(digest, digest + 20));
}

TEST(Digest, Sha512InStepsIsTheSameAndWipesItsState) {
  const Octets text(300, 'k');
  kxSHA512State state;
  unsigned char digest[64];
  ASSERT_EQ(0, kxSHA512Init(&state));
  for (const size_t start : {0U, 100U, 200U}) ASSERT_EQ(0, kxSHA512Update(&state, &text[start], 100));
  ASSERT_EQ(0, kxSHA512Update(&state, nullptr, 0));
  ASSERT_EQ(0, kxSHA512Final(&state, digest));
  EXPECT_EQ(Digest(sx_md_sha512, text), Octets(digest, digest + 64));
  EXPECT_EQ(Octets(sizeof state.area), Octets(state.area, state.area + sizeof state.area));
}

TEST(Digest, HmacSha1AgreesWithThePublishedVectors) {
  unsigned char mac[20];
  for (const CaseRow &row : CaseRows("platform/hmacSha1.txt", 3)) {
    const Octets key = CaseOctets(row[0]), data = CaseOctets(row[1]);
    ASSERT_EQ(0, kx_hmac_sha1(key.data(), LenOf(key), data.data(), data.size(), mac));
    EXPECT_EQ(CaseOctets(row[2]), Octets(mac, mac + 20)) << row.where;
  }
  EXPECT_EQ(0, kx_hmac_sha1(nullptr, 0, nullptr, 0, mac));
  EXPECT_EQ(-1, kx_hmac_sha1(nullptr, 1, "", 0, mac));
  EXPECT_EQ(-1, kx_hmac_sha1(mac, -1, "", 0, mac));
  EXPECT_EQ(-1, kx_hmac_sha1(mac, 1, nullptr, 1, mac));
}

}  // namespace
