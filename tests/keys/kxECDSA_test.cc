#include "kxcert/keys/kxECDSA.h"

#include <gtest/gtest.h>
#include <openssl/ecdsa.h>
#include <openssl/err.h>

#include <atomic>

#include "keys/libcryptoTypes.h"
#include "kxcert/foundation/attributeSet.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "support/caseFile.h"
#include "support/dhTestGroups.h"
#include "support/fakeRandom.h"
#include "support/keyFiles.h"
#include "support/logCapture.h"
#include "support/onThreads.h"

namespace {

constexpr struct { const char *name; int nid; int orderBits; int maxSigLen; } kCurves[] = {
    {"prime256v1", 415, 256, 72}, {"secp384r1", 715, 384, 104}, {"secp521r1", 716, 521, 139}};

int Verified(sxPubKey &key, const Octets &data, const Octets &sig) {
  return key.Verify(sxPKop_raw, sx_md_sha256, data.data(), LenOf(data), sig.data(), LenOf(sig));
}

TEST(kxECDSA, MakesKnownSignatures) {
  for (const CaseBlock &block : CaseBlocks("keys/rfc6979.txt", {"curve", "digest", "x", "ux", "uy", "k", "r", "s"})) {
    SCOPED_TRACE(testing::PrintToString(block));
    sxset set;
    set.SetText("NID", block["curve"].c_str());
    set.SetText("private", block["x"].c_str());
    set.SetText("public", ("04" + block["ux"] + block["uy"]).c_str());
    const EcKey lib(kxECDSA_from_set(&set));
    ASSERT_NE(nullptr, lib);
    kxBinBuf der;
    ASSERT_EQ(0, kxECDSA_to_buf(lib.get(), der, 1));
    EXPECT_TRUE(der.IsSensitive());
    kxECDSA key(sxPK_private, der.Data(), static_cast<int>(der.Len()), 0);
    ASSERT_EQ(1, key.OK());

    const Num inverse(block["k"]), r(block["r"]), s(block["s"]);
    const BigNumContext context(BN_CTX_new());
    BN_mod_inverse(inverse.n, inverse.n, EC_GROUP_get0_order(EC_KEY_get0_group(lib.get())), context.get());
    const auto md = static_cast<sx_md_type>(std::stoi(block["digest"]));
    Octets digest(static_cast<size_t>(kx_md_len(md))), sig(static_cast<size_t>(key.GetLen(sxPK_len_output)));
    kx_md_hashbuf(md, "sample", 6, digest.data(), LenOf(digest));
    const int len = key.Sign(sxPKop_raw, md, digest.data(), LenOf(digest), sig.data(), LenOf(sig), inverse.n, r.n);
    ASSERT_GT(len, 0);
    sig.resize(static_cast<size_t>(len));
    const auto element = [](const Num &n) { return Der(2, CaseOctets((BN_num_bits(n.n) % 8 == 0 ? "00" : "") + n.Hex())); };
    EXPECT_EQ(Der(0x30, {element(r), element(s)}), sig);
    EXPECT_EQ(0, Verified(*PublicPart(key), digest, sig));
    digest[0] ^= 1;
    EXPECT_EQ(kKeyUnequal, Verified(*PublicPart(key), digest, sig));
  }
}

TEST(kxECDSA, GeneratesOnKnownCurves) {
  for (const auto &c : kCurves) {
    SCOPED_TRACE(c.name);
    kxECDSA key(c.name), other(c.nid);
    EXPECT_EQ(0, sxPubKey_Equal(&key, &other));
    EXPECT_EQ(2, key.HasPrivate() + other.HasPrivate());
    EXPECT_EQ(c.orderBits, other.Nbits());
    const EcKey lib(kxGenECDSA(c.name));
    EXPECT_EQ(c.nid, EC_GROUP_get_curve_name(EC_KEY_get0_group(lib.get())));
    EXPECT_EQ(c.maxSigLen, ECDSA_size(lib.get()));
    EXPECT_EQ(1, kxECDSA_is_ok(lib.get()));
    EXPECT_EQ(ReadPem(KeyFile(c.name + std::string(".pem"))), Exported(*EcTestKey(c.name), sxPK_private));
  }
  EXPECT_EQ(256, kxECDSA("").Nbits());
  EXPECT_EQ(256, kxECDSA(static_cast<const char *>(nullptr)).Nbits());
  LogCapture log;
  EXPECT_EQ(0, kxECDSA("secp256k1").OK());
  EXPECT_TRUE(log.Has("kxECDSA_imp: Error generating key-pair for curve secp256k1"));
  EXPECT_EQ(0, kxECDSA(714).Nbits());
  EXPECT_TRUE(log.Has("kxECDSA_imp: Error generating key-pair for curve 714"));
  EXPECT_EQ(nullptr, kxGenECDSA("secp256k1"));
  EXPECT_EQ(nullptr, EC_KEY_by_nid_with_precompute(714));
  EXPECT_TRUE(log.Has("EC_KEY_by_nid_with_precompute: Failed to allocate group object."));
  const FakeRandom none([](unsigned char *, int) { return 0; });
  EXPECT_EQ(nullptr, kxGenECDSA(415));
  EXPECT_EQ(0u, ERR_peek_error());
}

TEST(kxECDSA, SaysWhatIsWrongWithLibcryptosKeys) {
  LogCapture log;
  kxBinBuf der;
  const EcKey key(EC_KEY_by_nid_with_precompute(415)), foreign(EC_KEY_new_by_curve_name(714));
  EC_KEY_generate_key(foreign.get());
  for (const EC_KEY *bad : {key.get(), static_cast<EC_KEY *>(nullptr), foreign.get()}) {
    log.Clear();
    EXPECT_EQ(0, kxECDSA_is_ok(bad));
    EXPECT_TRUE(log.Has("kxECDSA_imp::test_if_ok: no public key on a known curve"));
    EXPECT_EQ(nullptr, kxECDSA_to_set(bad));
    EXPECT_EQ(-1, kxECDSA_to_buf(bad, der, 0));
    EXPECT_EQ(-1, kxECDSA_to_buf(bad, der, 1));
    kxECDSA_herror(bad);
    EXPECT_TRUE(log.Has("kxECDSA_herror: no key"));
  }
  EC_POINT *point = EC_POINT_new(EC_KEY_get0_group(key.get()));   // which is at infinity when it is new
  EC_KEY_set_public_key(key.get(), point);
  EXPECT_EQ(0, kxECDSA_is_ok(key.get()));
  EXPECT_TRUE(log.Has("kxECDSA_imp::test_if_ok: public key is the point at infinity"));
  EXPECT_EQ(-1, kxECDSA_to_buf(key.get(), der, 0));
  EC_POINT_copy(point, EC_GROUP_get0_generator(EC_KEY_get0_group(key.get())));
  EC_KEY_set_public_key(key.get(), point);
  EC_POINT_free(point);
  EXPECT_EQ(1, kxECDSA_is_ok(key.get()));
  EXPECT_EQ(-1, kxECDSA_to_buf(key.get(), der, 1)) << "there is no private part";
  EXPECT_EQ(0, kxECDSA_to_buf(key.get(), der, 0));
  EXPECT_EQ(65u, der.Len());
  EXPECT_FALSE(der.IsSensitive());
  log.Clear();
  kxECDSA_herror(key.get());
  EXPECT_TRUE(log.Has("EC key: curve prime256v1, public point:") && log.Has("EC key: private part: no"));
  EC_KEY_set_private_key(key.get(), Num(2).n);
  EXPECT_EQ(0, kxECDSA_is_ok(key.get()));
  EXPECT_TRUE(log.Has("kxECDSA_imp::test_if_ok: EC_KEY_check_key failed."));
  EXPECT_EQ(0u, ERR_peek_error());
}

TEST(kxECDSA, ManyThreadsMayUseAKeyFirst) {
  for (const auto &c : kCurves) {
    const PubKeyRef key = EcTestKey(c.name);
    const Octets digest(32, 1), point = Exported(*key, sxPK_public);
    Octets sig(static_cast<size_t>(c.maxSigLen));
    sig.resize(static_cast<size_t>(key->Sign(sxPKop_raw, sx_md_sha256, digest.data(), 32, sig.data(), c.maxSigLen)));
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
