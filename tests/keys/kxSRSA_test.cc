#include "kxcert/keys/kxSRSA.h"

#include <gtest/gtest.h>
#include <openssl/bn.h>
#include <openssl/err.h>
#include <openssl/rsa.h>

#include <algorithm>

#include "keys/libcryptoTypes.h"
#include "keys/offload/pkxlMessage.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/keys/bigNumSet.h"
#include "kxcert/keys/pkxl.h"
#include "kxcert/foundation/attributeSet.h"
#include "support/derOctets.h"
#include "support/hexOctets.h"
#include "support/keyFiles.h"
#include "support/logCapture.h"
#include "support/onThreads.h"
#include "support/runCommand.h"
#include "support/tempDir.h"

namespace {

Octets Signed(sxPubKey &key, sxPKop_type op, int md, const Octets &in) {
  Octets sig(static_cast<size_t>(key.GetLen(sxPK_len_output)));
  EXPECT_EQ(LenOf(sig), key.Sign(op, static_cast<sx_md_type>(md), in.data(), LenOf(in), sig.data(), LenOf(sig)));
  return sig;
}

int Verified(sxPubKey &key, sxPKop_type op, int md, const Octets &data, const Octets &sig) {
  return key.Verify(op, static_cast<sx_md_type>(md), data.data(), LenOf(data), sig.data(), LenOf(sig));
}

using SetRef = std::unique_ptr<sxset>;   // a set that the key made

// Numbers in hexadecimal; an RSAPublicKey made of them, each with the octets given.
std::string Tlv(const std::string &tag, const std::string &content) {
  char len[16];
  const auto size = static_cast<unsigned>(content.size() / 2);
  std::snprintf(len, sizeof len, size < 128 ? "%02x" : size < 256 ? "81%02x" : "82%04x", size);
  return tag + len + content;
}
std::string PublicDer(const std::string &modulus, const std::string &exponent) {
  return Tlv("30", Tlv("02", modulus) + Tlv("02", exponent));
}
std::string OddNumber(int bits) {   // 2^(bits-1) + 1, with a sign octet where it needs one
  std::string hex = bits % 8 == 0 ? "0080" : bits % 8 == 1 ? "01" : "";
  return hex + std::string(static_cast<size_t>((bits - 1) / 8 - 1) * 2, '0') + "01";
}

constexpr struct { int md; const char *name; } kDigestNames[] = {{1, "md5"},    {2, "sha1"},   {5, "sha256"},
                                       {6, "sha384"}, {7, "sha512"}, {8, "sha512-256"}};

TEST(kxSRSA, AgreesWithTheOpensslCommand) {
  const TempDir dir;
  for (const int bits : {1024, 2048, 3072, 4096}) {
    const PubKeyRef key = RsaTestKey(bits), publicKey = PublicPart(*key);
    for (const auto &d : kDigestNames) {
      SCOPED_TRACE(testing::Message() << bits << " bits, " << d.name);
      const Octets digest(static_cast<size_t>(kx_md_len(d.md)), 0xA7);
      const std::string common = " -inkey " + KeyFile("rsa" + std::to_string(bits) + ".pem") + " -in " +
                                 dir.Write("digest", StringOf(digest)) + " -pkeyopt digest:" + d.name;
      const Octets sig = Signed(*key, sxPKop_digest, d.md, digest);
      // PKCS #1 v1.5 signatures are deterministic: both directions at once.
      EXPECT_EQ(EncodeHex(sig), EncodeHex(Text(RunCommand("openssl pkeyutl -sign" + common))));
      RunCommand("openssl pkeyutl -verify -sigfile " + dir.Write("sig", StringOf(sig)) + common);
      EXPECT_EQ(0, Verified(*publicKey, sxPKop_digest_alt, d.md, digest, sig));
    }
  }
}

TEST(kxSRSA, EncryptsForTheOpensslCommandAndBack) {
  const TempDir dir;
  const PubKeyRef key = RsaTestKey(2048), publicKey = PublicPart(*key);
  const std::string inkey = " -inkey " + KeyFile("rsa2048.pem") + " -in ";
  const Octets text = {'s', 'e', 'c', 0, 'r', 'e', 't'};
  Octets cipher(256);
  ASSERT_EQ(256, publicKey->Encrypt(sxPKop_digest, text.data(), 7, cipher.data(), 256));
  EXPECT_EQ(StringOf(text), RunCommand("openssl pkeyutl -decrypt" + inkey + dir.Write("c", StringOf(cipher))));

  cipher = Text(RunCommand("openssl pkeyutl -encrypt" + inkey + dir.Write("t", StringOf(text))));
  for (const int capacity : {256, 255, 7}) {   // into the caller's area, and through the inner one
    Octets plain(static_cast<size_t>(capacity));
    ASSERT_EQ(7, key->Decrypt(sxPKop_digest, cipher.data(), LenOf(cipher), plain.data(), capacity));
    EXPECT_EQ(StringOf(text), StringOf(plain).substr(0, 7));
  }
  unsigned char six[6];
  const LogCapture log;
  EXPECT_EQ(kKeyLenMismatch, key->Decrypt(sxPKop_digest, cipher.data(), LenOf(cipher), six, 6));
  EXPECT_TRUE(log.Has("kxSRSA_imp::Decrypt value too long 7>6"));
}

TEST(kxSRSA, AnswersItsKindAndSizes) {
  const PubKeyRef key = RsaTestKey(1024), publicKey = PublicPart(*key);
  EXPECT_EQ(0, key->algorithm());
  EXPECT_STREQ("kxSRSA_imp", key->ClassName());
  EXPECT_EQ(1369, key->Flags());
  EXPECT_EQ(336, publicKey->Flags());
  EXPECT_EQ(1024, key->GetLen(sxPK_len_bits));
  EXPECT_EQ(128, key->GetLen(sxPK_len_output));
  EXPECT_EQ(128, key->GetLen(sxPK_len_modulus));
  EXPECT_EQ(-1, key->GetLen(static_cast<sxPK_Len_Type>(3)));

  const Octets odd = DecodeHex(PublicDer(OddNumber(1025), "010001").c_str());   // rounds up to whole octets
  kxSRSA wide(sxPK_public, odd.data(), LenOf(odd));
  EXPECT_EQ(1025, wide.Nbits());
  EXPECT_EQ(129, wide.Nbytes());
  EXPECT_EQ(1032, wide.GetLen(sxPK_len_bits));
  EXPECT_EQ(0, wide.HasPrivate());
}

TEST(kxSRSA, ReachesEachResultCode) {
  const PubKeyRef key = RsaTestKey(1024), publicKey = PublicPart(*key);
  kxSRSA unusable(sxPK_public, nullptr, 0);
  Octets in(20, 7), out(128), sig = Signed(*key, sxPKop_digest, 2, in);
  unsigned char *o = out.data();
  const unsigned char *i = in.data();
  const auto op = [](int value) { return static_cast<sxPKop_type>(value); };
  const auto md = [](int value) { return static_cast<sx_md_type>(value); };

  EXPECT_EQ(kKeyNotUsable, unusable.Sign(op(0), md(2), i, 20, o, 128));
  EXPECT_EQ(kKeyNotUsable, unusable.Verify(op(0), md(2), i, 20, o, 128));
  EXPECT_EQ(kKeyNotUsable, unusable.Encrypt(op(0), i, 20, o, 128));
  EXPECT_EQ(kKeyNotUsable, unusable.Decrypt(op(0), i, 20, o, 128));
  EXPECT_EQ(kKeyNotUsable, unusable.Export(sxPK_public, o, 128));
  EXPECT_EQ(-1, unusable.GetLen(sxPK_len_bits));
  EXPECT_EQ(0, unusable.Flags());
  EXPECT_EQ(nullptr, unusable.PublicKeyHash());

  LogCapture log;
  EXPECT_EQ(kKeyNotImplemented, publicKey->Sign(op(0), md(2), i, 20, o, 128));
  EXPECT_EQ(kKeyBadInput, key->Sign(op(0), md(2), i, 0, o, 128));
  EXPECT_EQ(kKeyBadInput, key->Sign(op(0), md(2), nullptr, 20, o, 128));
  EXPECT_EQ(128, key->Sign(op(0), md(2), i, 20, nullptr, 0));
  EXPECT_EQ(kKeyOutputShort, key->Sign(op(0), md(2), i, 20, o, 127));
  EXPECT_TRUE(log.Has("kxSRSA_imp::Sign length too short"));
  EXPECT_EQ(kKeyNoDigestInfo, key->Sign(op(0), md(3), i, 20, o, 128));
  EXPECT_EQ(kKeyNotImplemented, key->Sign(op(4), md(2), i, 20, o, 128));
  EXPECT_TRUE(log.Has("kxSRSA_imp::Sign: unsupported op 4"));
  const Octets tooLong(118);   // 117 octets are what a block of 128 holds
  EXPECT_EQ(kKeyLibraryFailed, key->Sign(op(1), md(2), tooLong.data(), 118, o, 128));
  EXPECT_TRUE(log.Has("kxSRSA_imp::Sign: failed"));

  EXPECT_EQ(kKeyBadInput, key->Verify(op(0), md(2), i, 0, sig.data(), 128));
  EXPECT_EQ(kKeyLenMismatch, key->Verify(op(0), md(2), i, 20, sig.data(), 127));
  EXPECT_TRUE(log.Has("kxSRSA_imp::Verify: Signature length mismatch 127 != 128"));
  EXPECT_EQ(kKeyUnequal, key->Verify(op(0), md(2), Octets(20, 8).data(), 20, sig.data(), 128));
  EXPECT_EQ(kKeyLibraryFailed, key->Verify(op(0), md(3), i, 20, sig.data(), 128));
  sig[64] ^= 1;
  EXPECT_EQ(kKeyLibraryFailed, key->Verify(op(0), md(2), i, 20, sig.data(), 128));
  EXPECT_TRUE(log.Has("kxSRSA_imp::Verify failed"));

  EXPECT_EQ(kKeyBadInput, key->Encrypt(op(0), i, 0, o, 128));
  EXPECT_EQ(128, key->Encrypt(op(0), i, 20, nullptr, 0));
  EXPECT_EQ(kKeyOutputShort, key->Encrypt(op(0), i, 20, o, 127));
  EXPECT_TRUE(log.Has("kxSRSA_imp::Encrypt length to short"));
  EXPECT_EQ(kKeyLibraryFailed, key->Encrypt(op(0), tooLong.data(), 118, o, 128));
  EXPECT_TRUE(log.Has("kxSRSA_imp::Encryption failed"));
  EXPECT_EQ(kKeyBadInput, key->Decrypt(op(0), i, 0, o, 128));
  EXPECT_EQ(128, key->Decrypt(op(0), i, 20, nullptr, 0));
  EXPECT_EQ(kKeyUnequal, publicKey->Decrypt(op(0), sig.data(), 128, o, 128));
  EXPECT_TRUE(log.Has("kxSRSA_imp::Decrypt decryption failed"));
  EXPECT_EQ(0u, ERR_peek_error());   // nothing is left to be taken for a later failure
}

TEST(kxSRSA, ComparesWhatItOpens) {
  const PubKeyRef key = RsaTestKey(1024);
  const Octets digest(20, 3), bare = DecodeHex(("301f300706052b0e03021a0414" + EncodeHex(digest)).c_str());
  const Octets sig = Signed(*key, sxPKop_either, 2, bare);   // a DigestInfo without parameters
  EXPECT_EQ(0, Verified(*key, sxPKop_digest, 2, digest, sig));
  EXPECT_EQ(0, Verified(*key, sxPKop_either, 2, digest, sig));
  EXPECT_EQ(0, Verified(*key, sxPKop_raw, 2, bare, sig));
  EXPECT_EQ(kKeyLenMismatch, Verified(*key, sxPKop_raw, 2, digest, sig));
  EXPECT_EQ(kKeyNotImplemented, Verified(*key, static_cast<sxPKop_type>(4), 2, digest, sig));
}

TEST(kxSRSA, ImportsWhatCanBeVerifiedWith) {
  const std::string n = OddNumber(1024), e = "010001", good = PublicDer(n, e);
  std::string even = n;
  even.back() = '2';
  const struct { const char *what; std::string hex; bool ok; } cases[] = {
      {"65537", good, true},
      {"exponent 3", PublicDer(n, "03"), true},
      {"exponent 1", PublicDer(n, "01"), false},
      {"exponent 0", PublicDer(n, "00"), false},
      {"an even exponent", PublicDer(n, "010002"), false},
      {"exponent as large as the modulus", PublicDer(n, n), false},
      {"an exponent that looks negative", PublicDer(n, "83"), true},
      {"512 bits", PublicDer(OddNumber(512), e), true},
      {"511 bits", PublicDer("40" + std::string(124, '0') + "01", e), false},
      {"16384 bits", PublicDer(OddNumber(16384), e), true},
      {"16385 bits", PublicDer(OddNumber(16385), e), false},
      {"an even modulus", PublicDer(even, e), false},
      {"modulus without its sign octet", PublicDer(n.substr(2), e), true},
      {"modulus with an octet too many", PublicDer("00" + n, e), true},
      {"one octet less in the modulus, one more in the exponent", PublicDer(n.substr(2), "00" + e), true},
      {"a modulus of no octets", PublicDer("", e), false},
      {"long exponent, 3072 bits", PublicDer(OddNumber(3072), "01" + std::string(14, '0') + "01"), true},
      {"64-bit exponent, 3080 bits", PublicDer(OddNumber(3080), "0080" + std::string(12, '0') + "01"), true},
      {"65-bit exponent, 3080 bits", PublicDer(OddNumber(3080), "01" + std::string(14, '0') + "01"), false},
      {"an octet after it", good + "00", false},
      {"a third number", Tlv("30", Tlv("02", n) + Tlv("02", e) + "020100"), false},
      {"one number", Tlv("30", Tlv("02", n)), false},
      {"a SET", Tlv("31", Tlv("02", n) + Tlv("02", e)), false},
      {"indefinite length", "3080" + Tlv("02", n) + Tlv("02", e) + "0000", true},
      {"length in more octets", Tlv("30", Tlv("02", n) + "028103010001"), true},
      {"nothing", "", false},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    const Octets der = DecodeHex(c.hex.c_str());
    const PubKeyRef key(sxImportRSAKey(sxPK_public, der.data(), LenOf(der)));
    ASSERT_EQ(c.ok, key != nullptr);
    const unsigned char *end = der.data();   // libcrypto reads the same, and writes it in DER
    const RsaKey lib(d2i_RSAPublicKey(nullptr, &end, LenOf(der)));
    if (!c.ok) continue;
    ASSERT_NE(nullptr, lib);
    kxBinBuf expected;
    ASSERT_EQ(0, kxRSA_to_buf(lib.get(), expected, 0));
    EXPECT_EQ(Octets(expected.Data(), expected.Data() + expected.Len()), Exported(*key, sxPK_public));
  }
  const Octets der = DecodeHex(good.c_str());
  for (int len = 0; len < LenOf(der); ++len) {
    EXPECT_EQ(nullptr, sxImportRSAKey(sxPK_public, der.data(), len)) << len << " octets";
  }
}

// One number of a sound key is replaced: 0 to 7 are n, e, d, p, q, dP, dQ and qInv.
struct NumberCase { const char *what; size_t which; int add; int shift; bool plusP = false; };
constexpr NumberCase kWrongNumbers[] = {
    {"modulus", 0, 2, 0},      {"public exponent", 1, 2, 0}, {"private exponent", 2, 2, 0},
    {"even d", 2, 1, 0},       {"d beyond n", 2, 1, 20},     {"even p", 3, 1, 0},
    {"p", 3, 2, 0},            {"endless p", 3, 1, 60000},   {"q", 4, 2, 0},
    {"endless q", 4, 1, 60000}, {"dP", 5, 2, 0},             {"endless dP", 5, 0, 60000},
    {"dQ", 6, 2, 0},           {"endless dQ", 6, 0, 60000},  {"qInv", 7, 1, 0},
    {"endless qInv", 7, 0, 60000}, {"qInv + p", 7, 0, 0, true},
};

RsaKey WithNumber(const RSA *sound, const NumberCase &change) {
  const BIGNUM *parts[8];
  RSA_get0_key(sound, &parts[0], &parts[1], &parts[2]);
  RSA_get0_factors(sound, &parts[3], &parts[4]);
  RSA_get0_crt_params(sound, &parts[5], &parts[6], &parts[7]);
  BIGNUM *copies[8];
  for (size_t i = 0; i < 8; ++i) copies[i] = BN_dup(parts[i]);
  BN_lshift(copies[change.which], copies[change.which], change.shift);
  BN_add_word(copies[change.which], static_cast<BN_ULONG>(change.add));
  if (change.plusP) BN_add(copies[change.which], copies[change.which], parts[3]);
  RsaKey key(RSA_new());
  RSA_set0_key(key.get(), copies[0], copies[1], copies[2]);
  RSA_set0_factors(key.get(), copies[3], copies[4]);
  RSA_set0_crt_params(key.get(), copies[5], copies[6], copies[7]);
  return key;
}

bool IsServed(kxBinBuf &keyDer) {
  Octets digest(20, 7);
  kxBinBuf request, answer;
  PkxlAnswer read;
  return PkxlWrite({1, 0, 512, {20, digest.data()}, {}, {keyDer.Len(), keyDer.Data()}}, request) &&
         pkxl_serve(request, answer) == 0 && PkxlRead(answer, &read) && read.served;
}

// Without the checks some of these sign for minutes, others give their factors away.
TEST(kxSRSA, RefusesPrivateNumbersThatDoNotBelongTogether) {
  const Octets soundDer = ReadPem(KeyFile("rsa2048.pem"));
  const RsaKey sound(kxRSA_from_buf(soundDer.data(), LenOf(soundDer), 1));
  ASSERT_NE(nullptr, sound);
  const auto check = [](RsaKey rsa, bool ok) {
    kxBinBuf der;
    ASSERT_EQ(0, kxRSA_to_buf(rsa.get(), der, 1));
    EXPECT_TRUE(der.IsSensitive());
    EXPECT_EQ(ok, PubKeyRef(sxImportRSAKey(sxPK_private, der.Data(), static_cast<int>(der.Len()))) != nullptr) << "DER";
    const SetRef set(kxRSA_to_set(rsa.get()));
    ASSERT_NE(nullptr, set->FindSet("private")->FindText("pkcs8"));
    set->FindSet("private")->Remove("value");
    EXPECT_EQ(ok, PubKeyRef(sxImportRSAKey_from_Set(set.get())) != nullptr) << "PKCS #8 in a set";
    EXPECT_EQ(ok, IsServed(der)) << "a request";
    EXPECT_EQ(ok, kxSRSA(rsa.release()).OK() == 1) << "libcrypto's object";
  };
  check(WithNumber(sound.get(), {"sound", 0, 0, 0}), true);
  for (const NumberCase &c : kWrongNumbers) {
    SCOPED_TRACE(c.what);
    check(WithNumber(sound.get(), c), false);
  }
  const auto extra = [&sound](int which) { return BN_dup(which == 0 ? RSA_get0_p(sound.get()) : BN_value_one()); };
  BIGNUM *primes[] = {extra(0)}, *exponents[] = {extra(1)}, *coefficients[] = {extra(1)};
  RsaKey third = WithNumber(sound.get(), {"a third prime", 0, 0, 0});
  ASSERT_EQ(1, RSA_set0_multi_prime_params(third.get(), primes, exponents, coefficients, 1));
  check(std::move(third), false);
  for (const NumberCase &c : {NumberCase{"even d", 2, 1, 0}, NumberCase{"d beyond n", 2, 1, 20}}) {   // n, e and d alone
    const SetRef set(kxRSA_to_set(WithNumber(sound.get(), c).get()));
    set->FindSet("private")->Remove("pkcs8");
    EXPECT_EQ(nullptr, sxImportRSAKey_from_Set(set.get())) << c.what;
  }
}

TEST(kxSRSA, ImportsPrivateKeysAndNothingElse) {
  Octets der = ReadPem(KeyFile("rsa1024.pem"));
  const PubKeyRef key = RsaTestKey(1024);
  EXPECT_EQ(der, Exported(*key, sxPK_private));
  kxBinBuf out;
  ASSERT_EQ(0, sxExportRSAKey(key.get(), sxPK_private, out));
  EXPECT_TRUE(out.IsSensitive());
  EXPECT_EQ(der, Octets(out.Data(), out.Data() + out.Len()));
  EXPECT_EQ(kKeyNotUsable, sxExportRSAKey(nullptr, sxPK_private, out));
  EXPECT_EQ(nullptr, sxImportRSAKey(static_cast<sxPK_Format>(3), der.data(), LenOf(der)));
  EXPECT_EQ(nullptr, sxImportRSAKey(sxPK_public, der.data(), LenOf(der)));
  der.push_back(0);
  EXPECT_EQ(nullptr, sxImportRSAKey(sxPK_private, der.data(), LenOf(der)));
  const Octets publicDer = Exported(*key, sxPK_public);
  EXPECT_EQ(nullptr, sxImportRSAKey(sxPK_private, publicDer.data(), LenOf(publicDer)));
}

TEST(kxSRSA, ExportKeepsTheSizeConvention) {
  LogCapture log;
  const PubKeyRef key = RsaTestKey(1024), publicKey = PublicPart(*key);
  Octets area(200);
  const int len = key->Export(sxPK_public, nullptr, 0);
  EXPECT_EQ(140, len);
  EXPECT_EQ(kKeyOutputShort, key->Export(sxPK_public, area.data(), len - 1));
  EXPECT_EQ(len, key->Export(sxPK_public, area.data(), len));
  EXPECT_EQ(kKeyBadInput, publicKey->Export(sxPK_private, nullptr, 0));
  EXPECT_EQ(kKeyBadInput, key->Export(sxPK_set, area.data(), 8));
  EXPECT_TRUE(log.Has("kxSRSA_imp::Export: wrong pointer length 8"));
  EXPECT_EQ(kKeyBadInput, key->Export(sxPK_set, nullptr, 4));
  EXPECT_TRUE(log.Has("kxSRSA_imp::Export: cannot assign to NULL pointer"));
  EXPECT_EQ(kKeyNotImplemented, key->Export(static_cast<sxPK_Format>(5), area.data(), 200));
  EXPECT_TRUE(log.Has("kxSRSA_imp::Export: 5 not implemented"));
}

TEST(kxSRSA, GoesIntoASetAndBack) {
  const PubKeyRef key = RsaTestKey(1024), publicKey = PublicPart(*key);
  const Octets privateDer = Exported(*key, sxPK_private);
  const SetRef full(sxExportRSAKey_to_Set(key.get()));
  ASSERT_NE(nullptr, full);

  // Little-endian: the exponent 65537 reads the same from both ends, so look at the modulus too.
  Octets value;
  ASSERT_TRUE(full->FindSet("public")->FindBinary("value", &value));
  EXPECT_EQ("010001", EncodeHex(value));
  ASSERT_TRUE(full->FindSet("modulus")->FindBinary("value", &value));
  std::reverse(value.begin(), value.end());
  const Octets publicDer = Exported(*key, sxPK_public);
  EXPECT_EQ(EncodeHex(publicDer).substr(14, 256), EncodeHex(value));   // 30 81 89 02 81 81 00, then n

  SxStream text;
  full->Write(&text);
  const SetRef reread(sio_sread(text.GetBuf(), nullptr));
  PubKeyRef back(sxImportRSAKey_from_Set(reread.get()));
  ASSERT_NE(nullptr, back);
  EXPECT_EQ(privateDer, Exported(*back, sxPK_private));

  LogCapture log;
  full->FindSet("private")->SetText("pkcs8", std::string(2 * 65537, '0').c_str());
  EXPECT_NE(nullptr, PubKeyRef(sxImportRSAKey_from_Set(full.get())));
  EXPECT_TRUE(log.Has("kxRSA_from_set: nb 65537, len 65536"));
  full->FindSet("private")->SetText("pkcs8", "3003020100");   // broken: the numbers still do
  back.reset(sxImportRSAKey_from_Set(full.get()));
  ASSERT_NE(nullptr, back);
  EXPECT_TRUE(log.Has("kxRSA_from_set: error reading pkcs8 - continuing"));
  EXPECT_EQ(kKeyBadInput, back->Export(sxPK_private, nullptr, 0));   // without its primes
  const Octets digest(20, 9);
  EXPECT_EQ(0, Verified(*publicKey, sxPKop_digest, 2, digest, Signed(*back, sxPKop_digest, 2, digest)));
  const SetRef bare(sxExportRSAKey_to_Set(back.get()));
  EXPECT_EQ(nullptr, bare->FindSet("private")->FindText("pkcs8"));

  bare->FindSet("private")->Remove("value");
  EXPECT_EQ(nullptr, sxImportRSAKey_from_Set(bare.get()));
  EXPECT_TRUE(log.Has("kxRSA_from_set: Error parsing key"));
  EXPECT_TRUE(log.Has("kxRSA_from_set: failed to get rsa"));
  bare->Remove("private");
  back.reset(sxImportRSAKey_from_Set(bare.get()));
  ASSERT_NE(nullptr, back);
  EXPECT_EQ(336, back->Flags());
  bare->Remove("public");
  EXPECT_EQ(nullptr, sxImportRSAKey_from_Set(bare.get()));
  EXPECT_EQ(nullptr, sxImportRSAKey_from_Set(nullptr));
}

TEST(BigNumSet, KeepsNumbersUpToTheBound) {
  const std::string largest(2048, 'a');
  sxset set;
  for (const auto &[hex, stored] : std::vector<std::pair<std::string, std::string>>{
           {"00", "00"}, {"7f", "7f"}, {"010203", "030201"}, {largest, largest}, {"01" + largest, ""}}) {
    BIGNUM *number = nullptr;
    BN_hex2bn(&number, hex.c_str());
    EXPECT_EQ(stored.empty() ? -1 : 0, sxBN2SetValue(&set, "n", number));
    EXPECT_EQ(-1, sxBN2SetValue(nullptr, "n", number));
    if (!stored.empty()) {
      EXPECT_EQ(stored, set.FindSet("n")->FindText("value"));
      BIGNUM *back = sxSetValue2BN(&set, "n");
      ASSERT_NE(nullptr, back);
      EXPECT_EQ(0, BN_cmp(number, back));
      BN_free(back);
    }
    BN_free(number);
  }
  EXPECT_EQ(nullptr, sxBN2SetAttr(nullptr, "value"));
  for (const std::string &text : {std::string(2050, '0'), std::string("1"), std::string("0g"), std::string()}) {
    set.SetText("n", text.c_str());
    EXPECT_EQ(nullptr, sxSetAttr2BN(&set, "n")) << text.size() << " characters";
  }
  EXPECT_EQ(nullptr, sxSetValue2BN(&set, "missing"));
}

sxPubKey *ImportNothing(sxPK_Format, const unsigned char *, int) { return nullptr; }

TEST(kxSRSA, ImportCanBeReplaced) {
  const Octets der = ReadPem(KeyFile("rsa1024.pem"));
  EXPECT_EQ(1, sxIsSW_RSA());
  sxSetImportRSAKey_func(ImportNothing);
  EXPECT_EQ(0, sxIsSW_RSA());
  EXPECT_EQ(nullptr, sxImportRSAKey(sxPK_private, der.data(), LenOf(der)));
  sxSetImportRSAKey_func(nullptr);
  EXPECT_EQ(1, sxIsSW_RSA());
  EXPECT_NE(nullptr, PubKeyRef(sxImportRSAKey(sxPK_private, der.data(), LenOf(der))));
}

TEST(kxSRSA, LogsNothingSecret) {
  LogCapture log;
  const PubKeyRef key = RsaTestKey(1024);
  key->Herror();
  const SetRef set(sxExportRSAKey_to_Set(key.get()));
  const PubKeyRef back(sxImportRSAKey_from_Set(set.get()));
  std::string all;
  for (const std::string &line : log.Lines()) all += line;
  EXPECT_NE(std::string::npos, all.find("private part: yes"));
  EXPECT_NE(std::string::npos, all.find("pkcs8_str"));
  all.erase(std::remove(all.begin(), all.end(), ' '), all.end());
  // Eight octets of n are printed, no eight of what follows e.
  const std::string der = EncodeHex(Exported(*key, sxPK_private));
  EXPECT_NE(std::string::npos, all.find(der.substr(40, 16)));
  const size_t afterExponent = der.find("0203010001") + 10;
  for (size_t pos = afterExponent; pos + 16 <= der.size(); pos += 2) {
    ASSERT_EQ(std::string::npos, all.find(der.substr(pos, 16))) << "octet " << pos / 2;
  }
}

TEST(kxSRSA, OneKeyServesManyThreads) {
  const PubKeyRef key = RsaTestKey(1024), publicKey = PublicPart(*key);
  const Octets digest(32, 1), sig = Signed(*key, sxPKop_digest, 5, digest);
  OnThreads(8, [&](int) {
    for (int i = 0; i < 20; ++i) {
      EXPECT_EQ(0, Verified(*publicKey, sxPKop_digest, 5, digest, sig));
      EXPECT_NE(nullptr, publicKey->PublicKeyHash());
    }
    EXPECT_EQ(sig, Signed(*key, sxPKop_digest, 5, digest));
  });
}

}  // namespace
