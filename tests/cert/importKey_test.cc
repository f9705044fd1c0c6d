// One key out of some octets, or why there is none.
#include "kxcert/cert/importKey.h"

#include <gtest/gtest.h>

#include <cstring>

#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/keys/encryptedKeys.h"
#include "kxcert/keys/keyForms.h"
#include "support/caseFile.h"
#include "support/keyFiles.h"

namespace {

Octets OctetsOf(const kxBinBuf &buf) { return Octets(buf.Data(), buf.Data() + buf.Len()); }
Octets Bytes(std::string_view text) { return Octets(text.begin(), text.end()); }

std::string Imported(const Octets &octets, const char *password, sxPubKey &expected) {
  sxPubKey *key = nullptr;
  std::string why;
  const auto *const secret = reinterpret_cast<const unsigned char *>(password);
  const int rc = sxImportKeyWithPassword(octets.data(), octets.size(), secret, password == nullptr ? 0 : std::strlen(password),
                                         &key, &why);
  const PubKeyRef owned(key);
  EXPECT_EQ(rc == sxKeyImport_ok, key != nullptr);
  if (key != nullptr) { EXPECT_EQ(1, sxPubKey_Equal(key, &expected)); }
  return std::to_string(rc) + " " + why;
}

TEST(ImportKey, TellsPasswordsDamageAndCostApart) {
  const PubKeyRef key = TestKey("prime256v1");
  const sxPbeSettings quick = {sxPbe_aes256, 2};
  kxBinBuf info, encrypted, twice;
  ASSERT_EQ(0, sxExportKeyInfo(key.get(), true, info));
  ASSERT_EQ(sxPbe_ok, sxExportEncryptedKey(key.get(), quick, Bytes("secret"), encrypted));
  ASSERT_EQ(sxPbe_ok, sxEncryptKeyInfo(quick, OctetsOf(encrypted), Bytes("secret"), twice));
  const Octets sound = OctetsOf(encrypted);
  EXPECT_EQ("0 ", Imported(OctetsOf(info), nullptr, *key));
  EXPECT_EQ("0 ", Imported(sound, "secret", *key));
  EXPECT_EQ("-3 the private key is encrypted; a password is needed", Imported(sound, nullptr, *key));
  EXPECT_EQ("-4 the private key cannot be decrypted: wrong password, or damaged", Imported(sound, "Secret", *key));
  EXPECT_EQ("-4 the private key cannot be decrypted: wrong password, or damaged", Imported(sound, "", *key));
  EXPECT_EQ(0U, Imported(OctetsOf(twice), "secret", *key).find("-5 not a private key (PKCS #8): "));
  const std::string longer(kMaxPbePasswordLen + 1, 'p');
  EXPECT_EQ("-3 the private key is encrypted; a password is needed", Imported(sound, longer.c_str(), *key));
  for (const CaseRow &row : CaseRows("keys/encryptedKeys.txt", 2)) {
    EXPECT_EQ(row[1], Imported(CaseOctets(row[0]), "secret", *key)) << row.where;
  }
  // No public key is the answer where a private one could not be had.
  const PubKeyRef other = TestKey("secp384r1");
  kxBinBuf theirs, none;
  ASSERT_EQ(0, sxExportKeyInfo(other.get(), false, theirs));
  for (const Octets &beside : {Bytes(""), OctetsOf(theirs)}) {
    const auto joined = [&beside](Octets octets) { return octets.insert(octets.end(), beside.begin(), beside.end()), octets; };
    EXPECT_EQ("0 ", Imported(joined(sound), "secret", *key));
    EXPECT_EQ("-4 the private key cannot be decrypted: wrong password, or damaged", Imported(joined(sound), "no", *key));
    EXPECT_EQ(0U, Imported(joined(OctetsOf(twice)), "secret", *key).find("-5 not a private key (PKCS #8): "));
  }
  EXPECT_EQ("0 ", Imported(OctetsOf(theirs), "no", *other));
  // Whoever has no password gives an empty one.
  ASSERT_EQ(sxPbe_ok, sxEncryptKeyInfo({sxPbe_pkcs12_3des, 2}, OctetsOf(info), {}, none));
  EXPECT_EQ("0 ", Imported(OctetsOf(none), "", *key));
  EXPECT_EQ(0U, Imported(OctetsOf(none), "no", *key).find("-4"));
  // Each asks for ten million iterations for each of two digests; of no cipher's length, it costs nothing to find that out.
  const Octets costly = CaseOctets("3052304B06092A864886F70D01050D303E301D06092A864886F70D01050C3010" "04080102030405060708"
                                "020400989680301D060960864801650304012A0410" "000102030405060708090A0B0C0D0E0F" "0403000000");
  Octets many;
  for (uint64_t i = 0; i <= kMaxLoadIterations / (2 * kMaxPbeIterations); ++i) many.insert(many.end(), costly.begin(), costly.end());
  sxLoader loader(sxLoad_keys);
  loader.SetPassword([](const sxLoadPlace &, kxBinBuf &out) { return out.Set("no", 2), true; });
  EXPECT_EQ(0, loader.AddOctets(many.data(), many.size(), "f"));
  EXPECT_EQ("too many iterations of all passwords together; it was not tried", loader.Items().back().reason);
  EXPECT_EQ(sxPbe_malformed, loader.Items()[loader.Items().size() - 2].decryption);
}

}  // namespace
