// What a password protects: what is read, what is refused before anything is tried, and why.
#include "kxcert/keys/passwordBased.h"

#include <gtest/gtest.h>

#include "kxcert/foundation/kxBinBuf.h"
#include "support/hexOctets.h"
#include "support/rows.h"

namespace {

Octets OctetsOf(const kxBinBuf &buf) { return Octets(buf.Data(), buf.Data() + buf.Len()); }
Octets Bytes(std::string_view text) { return Octets(text.begin(), text.end()); }

TEST(PasswordBased, SaysWhatItMakesOfAlgorithms) {
  ExpectRows("keys/passwordBased.txt", 3, {{"decrypt", [](const CaseRow &row) {
    const Octets algorithm = CaseOctets(row[1]), content(16);
    kxBinBuf out("was", 3);
    std::string why;
    const int rc = sxPbe_Decrypt(algorithm, content, Bytes("secret"), out, &why);
    EXPECT_EQ(0U, why.find(sxPbe_ResultText(rc)));
    EXPECT_EQ(rc == sxPbe_ok ? 16U : 3U, out.Len());
    EXPECT_EQ(rc == sxPbe_ok, out.IsSensitive());
    return why;
  }}, {"cost", [](const CaseRow &row) { return std::to_string(sxPbe_Cost(CaseOctets(row[1]))); }}, {"bmp", [](const CaseRow &row) {
    kxBinBuf out;
    sxPbe_BmpPassword(CaseOctets(row[1]), out);
    EXPECT_TRUE(out.IsSensitive());
    return EncodeHex(OctetsOf(out));
  }}});
}

TEST(PasswordBased, KeysOfPkcs12AreThoseOfAnotherComputation) {
  kxBinBuf out("was", 3);
  for (const CaseRow &row : CaseRows("keys/pkcs12Keys.txt", 6)) {
    SCOPED_TRACE(testing::PrintToString(row));
    const Octets digest = CaseOctets(row[0]), bmp = CaseOctets(row[2]), salt = CaseOctets(row[3]);
    const auto purpose = static_cast<sxPkcs12Purpose>(std::stoi(row[1]));
    EXPECT_EQ(sxPbe_ok, sxPbe_Pkcs12Key(digest, purpose, bmp, salt, std::stoul(row[4]), row[5].size() / 2, out));
    EXPECT_EQ(row[5], EncodeHex(OctetsOf(out)));
  }
  const Octets sha1 = CaseOctets("2b0e03021a"), salt(8);
  EXPECT_EQ(sxPbe_tooCostly, sxPbe_Pkcs12Key(sha1, sxPkcs12_mac, {}, salt, kMaxPbeIterations + 1, 20, out));
  EXPECT_EQ(sxPbe_unsupported, sxPbe_Pkcs12Key(salt, sxPkcs12_mac, {}, salt, 1, 20, out));
}

TEST(PasswordBased, WhatIsWrittenIsReadAgain) {
  kxBinBuf none("was", 3);
  sxPbe_BmpPassword({}, none);
  EXPECT_EQ(0U, none.Len()) << "no password is not the empty one";
  for (const sxPbeCipher cipher : {sxPbe_aes256, sxPbe_aes192, sxPbe_aes128, sxPbe_3des, sxPbe_pkcs12_3des}) {
    for (const sx_md_type digest : {sx_md_sha1, sx_md_sha256, sx_md_sha384, sx_md_sha512}) {
      for (const size_t len : {0U, 1U, 15U, 16U, 5000U}) {
        const Octets plain(len, 7), password = Bytes("p\xC3\xA4ss");
        const sxPbeSettings settings = {cipher, 2, digest};
        kxBinBuf algorithm, content, again, other, out;
        ASSERT_EQ(sxPbe_ok, sxPbe_Encrypt(settings, plain, password, algorithm, content));
        ASSERT_EQ(sxPbe_ok, sxPbe_Encrypt(settings, plain, password, again, other));
        EXPECT_FALSE(algorithm == again) << "the salt is another one";
        ASSERT_EQ(sxPbe_ok, sxPbe_Decrypt(OctetsOf(algorithm), OctetsOf(content), password, out));
        EXPECT_EQ(plain, OctetsOf(out));
        content.Set(content.Len() - 1);
        EXPECT_EQ(sxPbe_malformed, sxPbe_Decrypt(OctetsOf(algorithm), OctetsOf(content), password, out));
      }
    }
  }
  kxBinBuf algorithm("was", 3), content("was", 3);
  const Octets plain(3);
  const sxPbeSettings refused[] = {{sxPbe_aes128, 0}, {sxPbe_aes128, -1}, {sxPbe_aes128, 10'000'001},
                                   {static_cast<sxPbeCipher>(9), 1}, {sxPbe_aes128, 1, sx_md_md5},
                                   {sxPbe_aes128, 1, sx_md_unknown}};
  for (const sxPbeSettings &settings : refused) {
    EXPECT_EQ(sxPbe_malformed, sxPbe_Encrypt(settings, plain, plain, algorithm, content));
  }
  EXPECT_EQ(6U, algorithm.Len() + content.Len());
}

// PBKDF2 for MACs: HMAC-SHA-1 with one iteration (RFC 6070, 2).
TEST(PasswordBased, DerivesKeysOfTheLengthThatIsSaid) {
  const Octets plain = CaseOctets("30{06{2a864886f70d01050c}30{04{73616c74}02{01}}}");
  const Octets said = CaseOctets("30{06{2a864886f70d01050c}30{04{73616c74}02{01}02{14}}}");
  kxBinBuf out("was", 3);
  EXPECT_EQ(sxPbe_malformed, sxPbe_DeriveKey(plain, Bytes("password"), 0, out));
  EXPECT_EQ(sxPbe_malformed, sxPbe_DeriveKey(said, Bytes("password"), 21, out));
  EXPECT_EQ(sxPbe_tooCostly, sxPbe_DeriveKey(plain, Bytes("password"), kMaxPbeDerivedLen + 1, out));
  EXPECT_EQ(3U, out.Len());
  for (const Octets &algorithm : {plain, said}) {
    EXPECT_EQ(sxPbe_ok, sxPbe_DeriveKey(algorithm, Bytes("password"), algorithm == said ? 0 : 20, out));
    EXPECT_EQ("0c60c80f961f0e71f3a9b524af6012062fe037a6", EncodeHex(OctetsOf(out)));
  }
}

}  // namespace
