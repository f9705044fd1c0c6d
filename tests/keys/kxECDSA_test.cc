#include "kxcert/keys/kxECDSA.h"

#include <gtest/gtest.h>
#include <openssl/bn.h>
#include <openssl/ec.h>
#include <openssl/ecdsa.h>
#include <openssl/err.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <thread>

#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/keys/pkcs1.h"
#include "kxcert/foundation/attributeSet.h"
#include "support/derOctets.h"
#include "support/hexOctets.h"
#include "support/keyFiles.h"
#include "support/logCapture.h"
#include "support/onThreads.h"
#include "support/runCommand.h"
#include "support/tempDir.h"

namespace {

constexpr struct { const char *name; int nid; int orderBits; int maxSigLen; const char *comment; } kCurves[] = {
    {"prime256v1", 415, 256, 72, "X9.62/SECG curve over a 256 bit prime field"},
    {"secp384r1", 715, 384, 104, "NIST/SECG curve over a 384 bit prime field"},
    {"secp521r1", 716, 521, 139, "NIST/SECG curve over a 521 bit prime field"},
};

Octets SignedRaw(sxPubKey &key, const Octets &in) {
  Octets sig(static_cast<size_t>(key.GetLen(sxPK_len_output)));
  const int len = key.Sign(sxPKop_raw, sx_md_sha256, in.data(), LenOf(in), sig.data(), LenOf(sig));
  EXPECT_GT(len, 0);
  sig.resize(static_cast<size_t>(std::max(len, 0)));
  return sig;
}

int Verified(sxPubKey &key, const Octets &data, const Octets &sig) {
  return key.Verify(sxPKop_raw, sx_md_sha256, data.data(), LenOf(data), sig.data(), LenOf(sig));
}

PubKeyRef Import(const std::string &hex, int nid) {
  const Octets octets = DecodeHex(hex.c_str());
  return PubKeyRef(sxImportECDSAKey(sxPK_public, octets.data(), LenOf(octets), nid));
}

// RFC 6979, A.2.5 to A.2.7: the message is "sample", hashed as long as the curve.
constexpr struct { int nid; sx_md_type md; const char *x, *ux, *uy, *k, *r, *s; } kRfc6979Cases[] = {
    {415, sx_md_sha256, "C9AFA9D845BA75166B5C215767B1D6934E50C3DB36E89B127B8A622B120F6721",
     "60FED4BA255A9D31C961EB74C6356D68C049B8923B61FA6CE669622E60F29FB6",
     "7903FE1008B8BC99A41AE9E95628BC64F2F1B20C2D7E9F5177A3C294D4462299",
     "A6E3C57DD01ABE90086538398355DD4C3B17AA873382B0F24D6129493D8AAD60",
     "EFD48B2AACB6A8FD1140DD9CD45E81D69D2C877B56AAF991C34D0EA84EAF3716",
     "F7CB1C942D657C41D436C7A1B6E29F65F3E900DBB9AFF4064DC4AB2F843ACDA8"},
    {715, sx_md_sha384,
     "6B9D3DAD2E1B8C1C05B19875B6659F4DE23C3B667BF297BA9AA47740787137D896D5724E4C70A825F872C9EA60D2EDF5",
     "EC3A4E415B4E19A4568618029F427FA5DA9A8BC4AE92E02E06AAE5286B300C64DEF8F0EA9055866064A254515480BC13",
     "8015D9B72D7D57244EA8EF9AC0C621896708A59367F9DFB9F54CA84B3F1C9DB1288B231C3AE0D4FE7344FD2533264720",
     "94ED910D1A099DAD3254E9242AE85ABDE4BA15168EAF0CA87A555FD56D10FBCA2907E3E83BA95368623B8C4686915CF9",
     "94EDBB92A5ECB8AAD4736E56C691916B3F88140666CE9FA73D64C4EA95AD133C81A648152E44ACF96E36DD1E80FABE46",
     "99EF4AEB15F178CEA1FE40DB2603138F130E740A19624526203B6351D0A3A94FA329C145786E679E7B82C71A38628AC8"},
    {716, sx_md_sha512,
     "00FAD06DAA62BA3B25D2FB40133DA757205DE67F5BB0018FEE8C86E1B68C7E75CAA896EB32F1F47C70855836A6D16FCC1466F6D"
     "8FBEC67DB89EC0C08B0E996B83538",
     "01894550D0785932E00EAA23B694F213F8C3121F86DC97A04E5A7167DB4E5BCD371123D46E45DB6B5D5370A7F20FB633155D38F"
     "FA16D2BD761DCAC474B9A2F5023A4",
     "00493101C962CD4D2FDDF782285E64584139C2F91B47F87FF82354D6630F746A28A0DB25741B5B34A828008B22ACC23F924FAAF"
     "BD4D33F81EA66956DFEAA2BFDFCF5",
     "01DAE2EA071F8110DC26882D4D5EAE0621A3256FC8847FB9022E2B7D28E6F10198B1574FDD03A9053C08A1854A168AA5A57470E"
     "C97DD5CE090124EF52A2F7ECBFFD3",
     "00C328FAFCBD79DD77850370C46325D987CB525569FB63C5D3BC53950E6D4C5F174E25A1EE9017B5D450606ADD152B534931D7D"
     "4E8455CC91F9B15BF05EC36E377FA",
     "00617CCE7CF5064806C467F678D3B4080D6F1CC50AF26CA209417308281B68AF282623EAA63E5B5C0723D8B8C37FF0777B1A20F"
     "8CCB1DCCC43997F1EE0E44DA4A67A"},
};

using EcKeyRef = std::unique_ptr<EC_KEY, decltype(&EC_KEY_free)>;
using BigNum = std::unique_ptr<BIGNUM, decltype(&BN_free)>;
BigNum Number(const char *hex) {
  BIGNUM *number = nullptr;
  BN_hex2bn(&number, hex);
  return {number, BN_free};
}

Octets SigValue(const BIGNUM *r, const BIGNUM *s) {
  ECDSA_SIG *value = ECDSA_SIG_new();
  ECDSA_SIG_set0(value, BN_dup(r), BN_dup(s));
  unsigned char *der = nullptr;
  const int len = i2d_ECDSA_SIG(value, &der);
  Octets octets(der, der + len);
  OPENSSL_free(der);
  ECDSA_SIG_free(value);
  return octets;
}

TEST(kxECDSA, MakesTheSignaturesOfRfc6979) {
  for (const auto &c : kRfc6979Cases) {
    SCOPED_TRACE(c.nid);
    const std::string point = "04" + std::string(c.ux) + c.uy;
    sxset set;
    set.SetInt("NID", c.nid);
    set.SetText("private", c.x);
    set.SetText("public", point.c_str());
    const EcKeyRef lib(kxECDSA_from_set(&set), EC_KEY_free);
    ASSERT_NE(nullptr, lib);
    kxBinBuf der;
    ASSERT_EQ(0, kxECDSA_to_buf(lib.get(), der, 1));
    kxECDSA key(sxPK_private, der.Data(), static_cast<int>(der.Len()), 0);
    ASSERT_EQ(1, key.OK());

    const BigNum inverse = Number(c.k), r = Number(c.r), s = Number(c.s);
    BN_CTX *context = BN_CTX_new();
    BN_mod_inverse(inverse.get(), inverse.get(), EC_GROUP_get0_order(EC_KEY_get0_group(lib.get())), context);
    BN_CTX_free(context);
    Octets digest(static_cast<size_t>(kx_md_len(c.md))), sig(static_cast<size_t>(key.GetLen(sxPK_len_output)));
    kx_md_hashbuf(c.md, "sample", 6, digest.data(), LenOf(digest));
    const int len = key.Sign(sxPKop_raw, c.md, digest.data(), LenOf(digest), sig.data(), LenOf(sig), inverse.get(),
                             r.get());
    ASSERT_GT(len, 0);
    sig.resize(static_cast<size_t>(len));
    EXPECT_EQ(EncodeHex(SigValue(r.get(), s.get())), EncodeHex(sig));
    const PubKeyRef publicKey = Import(point, c.nid);
    EXPECT_EQ(0, Verified(*publicKey, digest, sig));
    digest[0] ^= 1;
    EXPECT_EQ(kKeyUnequal, Verified(*publicKey, digest, sig));
  }
}

TEST(kxECDSA, AgreesWithTheOpensslCommand) {
  const TempDir dir;
  for (const auto &c : kCurves) {
    for (const int digestLen : {20, 32, 48, 64}) {
      SCOPED_TRACE(testing::Message() << c.name << ", " << digestLen << " octets");
      const PubKeyRef key = EcTestKey(c.name), publicKey = PublicPart(*key);
      const Octets digest(static_cast<size_t>(digestLen), 0x3C);
      const std::string common = " -inkey " + KeyFile(c.name + std::string(".pem")) + " -in " +
                                 dir.Write("digest", StringOf(digest));
      RunCommand("openssl pkeyutl -verify -sigfile " + dir.Write("sig", StringOf(SignedRaw(*key, digest))) + common);
      EXPECT_EQ(0, Verified(*publicKey, digest, Text(RunCommand("openssl pkeyutl -sign" + common))));
    }
  }
}

TEST(kxECDSA, GeneratesOnKnownCurves) {
  for (const auto &c : kCurves) {
    SCOPED_TRACE(c.name);
    kxECDSA key(c.name), other(c.nid);
    ASSERT_EQ(1, key.OK());
    ASSERT_EQ(1, other.OK());
    EXPECT_EQ(0, sxPubKey_Equal(&key, &other));
    EXPECT_EQ(3, key.algorithm());
    EXPECT_STREQ("kxECDSA", key.ClassName());
    EXPECT_EQ(1, key.HasPrivate());
    EXPECT_EQ(1369, key.Flags());
    EXPECT_EQ(c.orderBits, key.GetLen(sxPK_len_bits));
    EXPECT_EQ(c.maxSigLen, key.GetLen(sxPK_len_output));
    EXPECT_EQ(-1, key.GetLen(sxPK_len_modulus));
    const EcKeyRef lib(kxGenECDSA(c.name), EC_KEY_free);
    EXPECT_EQ(c.nid, EC_GROUP_get_curve_name(EC_KEY_get0_group(lib.get())));
    EXPECT_EQ(c.maxSigLen, ECDSA_size(lib.get()));
    EXPECT_EQ(1, kxECDSA_is_ok(lib.get()));
  }
  EXPECT_EQ(256, kxECDSA("").Nbits());
  EXPECT_EQ(256, kxECDSA(static_cast<const char *>(nullptr)).Nbits());
  const LogCapture log;
  EXPECT_EQ(0, kxECDSA("secp256k1").OK());
  EXPECT_TRUE(log.Has("kxECDSA_imp: Error generating key-pair for curve secp256k1"));
  EXPECT_EQ(0, kxECDSA(714).Flags());
  EXPECT_TRUE(log.Has("kxECDSA_imp: Error generating key-pair for curve 714"));
  EXPECT_EQ(nullptr, kxGenECDSA("secp256k1"));
  EXPECT_EQ(nullptr, EC_KEY_by_nid_with_precompute(714));
  const EcKeyRef pointless(EC_KEY_by_nid_with_precompute(415), EC_KEY_free);
  EXPECT_EQ(0, kxECDSA_is_ok(pointless.get()));
  EXPECT_EQ(0, kxECDSA_is_ok(nullptr));
  EC_POINT *infinity = EC_POINT_new(EC_KEY_get0_group(pointless.get()));   // which a new point is at
  EC_KEY_set_public_key(pointless.get(), infinity);
  EC_POINT_free(infinity);
  EXPECT_EQ(0, kxECDSA_is_ok(pointless.get()));
  EXPECT_TRUE(log.Has("kxECDSA_imp::test_if_ok: public key is the point at infinity"));
}

TEST(kxECDSA, ReachesEachResultCode) {
  const PubKeyRef key = EcTestKey("prime256v1"), publicKey = PublicPart(*key);
  kxECDSA unusable(sxPK_public, nullptr, 0, 415);
  const Octets in(32, 7);
  Octets out(72), sig = SignedRaw(*key, in);
  const auto op = [](int value) { return static_cast<sxPKop_type>(value); };
  const auto sign = [&](sxPubKey &with, int kind, int md, int inLen, int outLen) {
    return with.Sign(op(kind), static_cast<sx_md_type>(md), in.data(), inLen, out.data(), outLen);
  };
  LogCapture log;
  EXPECT_EQ(kKeyNotUsable, sign(unusable, 1, 5, 32, 72));
  EXPECT_EQ(kKeyNotUsable, Verified(unusable, in, sig));
  EXPECT_TRUE(log.Has("kxECDSA_imp::Verify: error: badly initialized."));
  EXPECT_EQ(kKeyNotUsable, unusable.Export(sxPK_public, nullptr, 0));
  EXPECT_EQ(-1, unusable.GetLen(sxPK_len_bits));
  EXPECT_EQ(336, publicKey->Flags());
  EXPECT_EQ(kKeyNotImplemented, sign(*publicKey, 1, 5, 32, 72));
  EXPECT_EQ(kKeyBadInput, sign(*key, 1, 5, 0, 72));
  EXPECT_EQ(72, key->Sign(op(1), sx_md_sha256, in.data(), 32, nullptr, 0));
  EXPECT_EQ(kKeyOutputShort, sign(*key, 1, 5, 32, 71));
  EXPECT_TRUE(log.Has("kxECDSA_imp::Sign length too short"));
  EXPECT_EQ(kKeyNoDigestInfo, sign(*key, 0, 3, 32, 72));
  EXPECT_EQ(kKeyNotImplemented, sign(*key, 4, 5, 32, 72));
  EXPECT_TRUE(log.Has("kxECDSA_imp::Sign: unsupported op 4"));
  EXPECT_EQ(kKeyBadInput, publicKey->Verify(op(1), sx_md_sha256, in.data(), 0, sig.data(), LenOf(sig)));
  EXPECT_EQ(kKeyBadInput, publicKey->Verify(op(1), sx_md_sha256, in.data(), 32, sig.data(), -1));
  EXPECT_EQ(0, Verified(*publicKey, in, sig));
  EXPECT_TRUE(log.Has("kxECDSA_imp::Verify: verify succeeded!"));
  EXPECT_EQ(kKeyNotImplemented, key->Encrypt(op(0), in.data(), 32, out.data(), 72));
  EXPECT_EQ(kKeyNotImplemented, key->Decrypt(op(0), in.data(), 32, out.data(), 72));
  EXPECT_EQ(kKeyBadInput, publicKey->Export(sxPK_private, nullptr, 0));
  EXPECT_EQ(65, key->Export(sxPK_public, nullptr, 0));
  EXPECT_EQ(kKeyOutputShort, key->Export(sxPK_public, out.data(), 64));
  EXPECT_EQ(kKeyBadInput, key->Export(sxPK_set, out.data(), 8));
  EXPECT_TRUE(log.Has("kxECDSA_imp::Export: wrong pointer length 8"));
  EXPECT_EQ(kKeyNotImplemented, key->Export(static_cast<sxPK_Format>(5), out.data(), 72));
  EXPECT_EQ(0u, ERR_peek_error());
}

TEST(kxECDSA, WrapsADigestWhenSigningOnly) {
  const PubKeyRef key = EcTestKey("secp521r1");
  const Octets digest(32, 4);
  Octets sig(139);
  sig.resize(static_cast<size_t>(key->Sign(sxPKop_digest, sx_md_sha256, digest.data(), 32, sig.data(), 139)));
  kxBinBuf info;
  ASSERT_EQ(0, kxPKCS1DigestInfo(digest.data(), 32, sx_md_sha256, info));
  EXPECT_EQ(0, Verified(*key, Octets(info.Data(), info.Data() + info.Len()), sig));
  EXPECT_EQ(kKeyUnequal, key->Verify(sxPKop_digest, sx_md_sha256, digest.data(), 32, sig.data(), LenOf(sig)));
}

TEST(kxECDSA, RefusesOddSignatures) {
  const PubKeyRef key = EcTestKey("prime256v1");
  const Octets digest(32, 4);
  const std::string n = "00ffffffff00000000ffffffffffffffffbce6faada7179e84f3b9cac2fc632551";
  const std::string good = EncodeHex(SignedRaw(*key, digest));
  const struct { const char *what; std::string hex; int rc; } cases[] = {
      {"r is 0", "3006020100020101", kKeyUnequal},
      {"s is 0", "3006020101020100", kKeyUnequal},
      {"r is the order", "30260221" + n + "020101", kKeyUnequal},
      {"s is the order", "30260201010221" + n, kKeyUnequal},
      {"r is negative", "30060201ff020101", kKeyLibraryFailed},
      {"r and s are 1", "3006020101020101", kKeyUnequal},
      {"no octets", "", kKeyLibraryFailed},
      {"an empty SEQUENCE", "3000", kKeyLibraryFailed},
      {"s is missing", "3003020101", kKeyLibraryFailed},
      {"r of no octets", "30050200020101", kKeyLibraryFailed},
      {"a leading 00 too many", "300702020001020101", kKeyLibraryFailed},
      {"an octet after it", good + "00", kKeyLibraryFailed},
      {"BER length", good.substr(0, 2) + "81" + good.substr(2), kKeyLibraryFailed},
      {"a SET", "31" + good.substr(2), kKeyLibraryFailed},
      {"in order", good, 0},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    Octets sig = DecodeHex(c.hex.c_str());
    sig.reserve(1);   // data() is null otherwise
    EXPECT_EQ(c.rc, Verified(*key, digest, sig));
  }
}

TEST(kxECDSA, ImportsPointsOfTheCurveOnly) {
  const std::string x = "60fed4ba255a9d31c961eb74c6356d68c049b8923b61fa6ce669622e60f29fb6";
  const std::string y = "7903fe1008b8bc99a41ae9e95628bc64f2f1b20c2d7e9f5177a3c294d4462299";
  const std::string p = "ffffffff00000001000000000000000000000000ffffffffffffffffffffffff";
  const struct { const char *what; std::string hex; int nid; const char *why; } cases[] = {
      {"uncompressed", "04" + x + y, 415, nullptr},
      {"compressed", "03" + x, 415, nullptr},
      {"infinity", "00", 415, "kxECDSA_imp::test_if_ok: public key is the point at infinity"},
      {"x is p", "04" + p + y, 415, "Either X or Y is not between 0 and field order."},
      {"y is p", "04" + x + p, 415, "Either X or Y is not between 0 and field order."},
      {"compressed, x is p", "02" + p, 415, "Either X or Y is not between 0 and field order."},
      {"not on the curve", "04" + y + x, 415, "public key is not on the curve"},
      {"no such x", "02" + std::string(62, '0') + "01", 415, "public key is not on the curve"},
      {"hybrid", "07" + x + y, 415, "public key is neither uncompressed nor compressed"},
      {"form 01", "01" + x + y, 415, "public key is neither uncompressed nor compressed"},
      {"infinity, as long as a point", "00" + x + y, 415, "public key is neither uncompressed nor compressed"},
      {"an octet short", "04" + x + y.substr(2), 415, "public key has a wrong length"},
      {"an octet long", "04" + x + y + "00", 415, "public key has a wrong length"},
      {"another curve's", "04" + x + y, 715, "public key has a wrong length"},
      {"no octets", "", 415, nullptr},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    const bool ok = c.why == nullptr && !c.hex.empty();
    LogCapture log;
    const PubKeyRef key = Import(c.hex, c.nid);
    ASSERT_EQ(ok, key != nullptr);
    if (ok) {
      EXPECT_EQ("04" + x + y, EncodeHex(Exported(*key, sxPK_public)));
    } else if (c.why != nullptr) {
      EXPECT_TRUE(log.Has(c.why)) << testing::PrintToString(log.Lines());
    }
    const Octets octets = DecodeHex(c.hex.c_str());   // the plain function agrees
    EXPECT_EQ(ok, EcKeyRef(kxECDSA_from_buf(sxPK_public, octets.data(), LenOf(octets), c.nid), EC_KEY_free) != nullptr);
  }
}

TEST(kxECDSA, ImportsPrivateKeysThatFitTheirPoint) {
  for (const auto &c : kCurves) {
    SCOPED_TRACE(c.name);
    Octets der = ReadPem(KeyFile(c.name + std::string(".pem")));
    const auto usable = [&](int nid) {
      return PubKeyRef(sxImportECDSAKey(sxPK_private, der.data(), LenOf(der), nid)) != nullptr;
    };
    EXPECT_EQ(der, Exported(*EcTestKey(c.name), sxPK_private));
    EXPECT_TRUE(usable(c.nid));
    EXPECT_FALSE(usable(c.nid == 415 ? 715 : 415));
    EXPECT_FALSE(usable(714));
    der.push_back(0);
    EXPECT_FALSE(usable(0));
    der.pop_back();
    der[static_cast<size_t>(c.orderBits / 16)] ^= 1;   // an octet in the middle of the scalar
    EXPECT_FALSE(usable(0));
  }
  // Another curve, and the numbers of a curve instead of its name.
  for (const char *curve : {"secp256k1", "prime256v1 -param_enc explicit"}) {
    const Octets der = Text(RunCommand(std::string("openssl ecparam -genkey -noout -outform DER -name ") + curve));
    EXPECT_EQ(nullptr, sxImportECDSAKey(sxPK_private, der.data(), LenOf(der), 0)) << curve;
  }
}

TEST(kxECDSA, GoesIntoASetAndBack) {
  for (const auto &c : kCurves) {
    SCOPED_TRACE(c.name);
    const PubKeyRef key = EcTestKey(c.name);
    sxset *made = nullptr;
    unsigned char slot[sizeof made];
    ASSERT_EQ(0, key->Export(sxPK_set, slot, kKeySetCapacity));
    std::memcpy(&made, slot, sizeof made);
    const std::unique_ptr<sxset> set(made);
    long long nid = 0;
    ASSERT_TRUE(set->FindInt("NID", &nid));
    EXPECT_EQ(c.nid, nid);
    EXPECT_STREQ(c.comment, set->FindText("comment"));
    EXPECT_STREQ(c.name, set->FindText("curve"));
    EXPECT_EQ(EncodeHex(Exported(*key, sxPK_public)), set->FindText("public"));

    const auto read = [&set] { return EcKeyRef(kxECDSA_from_set(set.get()), EC_KEY_free); };
    auto lib = read();
    ASSERT_NE(nullptr, lib);
    kxBinBuf der;
    ASSERT_EQ(0, kxECDSA_to_buf(lib.get(), der, 1));
    EXPECT_TRUE(der.IsSensitive());
    EXPECT_EQ(Exported(*key, sxPK_private), Octets(der.Data(), der.Data() + der.Len()));

    const std::string scalar = set->FindText("private");
    set->SetText("private", "01");   // belongs to another point
    EXPECT_EQ(nullptr, read());
    set->SetText("private", (scalar + "00").c_str());
    EXPECT_EQ(nullptr, read());
    set->Remove("private");
    lib = read();
    ASSERT_NE(nullptr, lib);
    EXPECT_EQ(nullptr, EC_KEY_get0_private_key(lib.get()));
    EXPECT_EQ(-1, kxECDSA_to_buf(lib.get(), der, 1));
    set->SetInt("NID", 714);
    EXPECT_EQ(nullptr, read());
    set->SetInt("NID", c.nid);
    set->Remove("public");
    EXPECT_EQ(nullptr, read());
  }
  EXPECT_EQ(nullptr, kxECDSA_from_set(nullptr));
  EXPECT_EQ(nullptr, kxECDSA_to_set(nullptr));
}

TEST(kxECDSA, LogsNothingSecret) {
  LogCapture log;
  const PubKeyRef key = EcTestKey("prime256v1");
  const Octets der = Exported(*key, sxPK_private);
  key->Herror();
  EC_KEY *lib = kxECDSA_from_buf(sxPK_private, der.data(), LenOf(der), 0);
  kxECDSA_herror(lib);
  delete kxECDSA_to_set(lib);
  EC_KEY_free(lib);
  std::string all;
  for (const std::string &line : log.Lines()) all += line;
  EXPECT_NE(std::string::npos, all.find("private part: yes"));
  all.erase(std::remove(all.begin(), all.end(), ' '), all.end());
  EXPECT_NE(std::string::npos, all.find(EncodeHex(Exported(*key, sxPK_public)).substr(0, 16)));
  for (size_t pos = 7; pos + 4 <= 39; ++pos) {   // the scalar: 30 77 02 01 01 04 20, then 32 octets
    ASSERT_EQ(std::string::npos, all.find(EncodeHex(der.data() + pos, 4))) << "octet " << pos;
  }
}

TEST(kxECDSA, ManyThreadsMayUseAKeyFirst) {
  for (const auto &c : kCurves) {
    const PubKeyRef key = EcTestKey(c.name);
    const Octets digest(32, 1), sig = SignedRaw(*key, digest), point = Exported(*key, sxPK_public);
    for (int round = 0; round < 5; ++round) {
      const PubKeyRef shared = PublicPart(*key);   // has no libcrypto key yet
      std::atomic<int> numReady{0};
      OnThreads(8, [&](int) {
        ++numReady;
        while (numReady < 8) std::this_thread::yield();
        EXPECT_EQ(0, Verified(*shared, digest, sig));
        EXPECT_NE(nullptr, shared->PublicKeyHash());
        EXPECT_EQ(point, Exported(*shared, sxPK_public));
      });
    }
  }
}

}  // namespace
