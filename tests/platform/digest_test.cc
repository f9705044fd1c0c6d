#include "kxcert/platform/digest.h"

#include <gtest/gtest.h>

#include "support/hexOctets.h"
#include "support/runCommand.h"
#include "support/tempDir.h"

namespace {

constexpr struct { int type; const char *opensslName; const char *ofAbc; } kDigestCases[] = {
    // openssl has no MD4 unless the legacy provider is loaded
    {sx_md_md4, nullptr, "a448017aaf21d8525fc10ae87aa6729d"},      // RFC 1320, A.5
    {sx_md_md5, "md5", "900150983cd24fb0d6963f7d28e17f72"},        // RFC 1321, A.5
    // FIPS 180-4 with NIST's example values
    {sx_md_sha1, "sha1", "a9993e364706816aba3e25717850c26c9cd0d89d"},
    {sx_md_sha256, "sha256", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
    {sx_md_sha384, "sha384",
     "cb00753f45a35e8bb5a03d699ac65007272c32ab0eded1631a8b605a43ff5bed"
     "8086072ba1e7cc2358baeca134c825a7"},
    {sx_md_sha512, "sha512",
     "ddaf35a193617abacc417349ae20413112e6fa4e89a97ea20a9eeee64b55d39a"
     "2192992a274fc1a836ba3c23a3feebbd454d4423643ce80e2a9ac94fa54ca49f"},
    {sx_md_sha512_256, "sha512-256", "53048e2681941ef99b2e29b76b4c7dabe4c2d0c634fc6d46e0e2f13107e7af23"},
};

std::string Digest(int type, const std::string &data) {
  std::vector<unsigned char> digest(static_cast<size_t>(kx_md_len(type)));
  EXPECT_EQ(0, kx_md_hashbuf(type, data.data(), data.size(), digest.data(), kx_md_len(type)));
  return EncodeHex(digest);
}

TEST(Digest, AgreesWithThePublishedVectorsAndOpenssl) {
  const TempDir dir;
  const std::string longText(10000, '\xa5');
  const std::string file = dir.Write("text", longText);
  for (const auto &c : kDigestCases) {
    SCOPED_TRACE(c.type);
    EXPECT_EQ(c.ofAbc, Digest(c.type, "abc"));
    if (c.opensslName == nullptr) continue;
    const std::string line = RunCommand(std::string("openssl dgst -r -") + c.opensslName + " " + file);
    EXPECT_EQ(line.substr(0, line.find(' ')), Digest(c.type, longText));
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
  EXPECT_EQ("da39a3ee5e6b4b0d3255bfef95601890afd80709", EncodeHex(digest, 20));
}

TEST(Digest, Sha512InStepsIsTheSameAndWipesItsState) {
  const std::string text(300, 'k');
  kxSHA512State state;
  unsigned char digest[64];
  ASSERT_EQ(0, kxSHA512Init(&state));
  for (const size_t start : {0U, 100U, 200U}) ASSERT_EQ(0, kxSHA512Update(&state, &text[start], 100));
  ASSERT_EQ(0, kxSHA512Update(&state, nullptr, 0));
  ASSERT_EQ(0, kxSHA512Final(&state, digest));
  EXPECT_EQ(Digest(sx_md_sha512, text), EncodeHex(digest, 64));
  EXPECT_EQ(std::string(2 * sizeof state.area, '0'), EncodeHex(state.area, sizeof state.area));
}

// RFC 2202, section 3, cases 1, 2 and 6.
TEST(Digest, HmacSha1AgreesWithThePublishedVectors) {
  const struct { std::string key; std::string data; const char *mac; } cases[] = {
      {std::string(20, '\x0b'), "Hi There", "b617318655057264e28bc0b6fb378c8ef146be00"},
      {"Jefe", "what do ya want for nothing?", "effcdf6ae5eb2fa2d27416d5f184df9c259a7c79"},
      {std::string(80, '\xaa'), "Test Using Larger Than Block-Size Key - Hash Key First",
       "aa4ae5e15272d00e95705637ce8a3b55ed402112"},
  };
  unsigned char mac[20];
  for (const auto &c : cases) {
    const auto *key = reinterpret_cast<const unsigned char *>(c.key.data());
    ASSERT_EQ(0, kx_hmac_sha1(key, static_cast<int>(c.key.size()), c.data.data(), c.data.size(), mac));
    EXPECT_EQ(c.mac, EncodeHex(mac, 20));
  }
  // No key and no data are lengths like any other; the value is that of any zero-padded key.
  const unsigned char zeros[64] = {};
  unsigned char ofZeros[20];
  ASSERT_EQ(0, kx_hmac_sha1(nullptr, 0, nullptr, 0, mac));
  ASSERT_EQ(0, kx_hmac_sha1(zeros, 64, "", 0, ofZeros));
  EXPECT_EQ(EncodeHex(ofZeros, 20), EncodeHex(mac, 20));
  EXPECT_EQ(-1, kx_hmac_sha1(nullptr, 1, "", 0, mac));
  EXPECT_EQ(-1, kx_hmac_sha1(zeros, -1, "", 0, mac));
  EXPECT_EQ(-1, kx_hmac_sha1(zeros, 1, nullptr, 1, mac));
}

}  // namespace
