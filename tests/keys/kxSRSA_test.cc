#include "kxcert/keys/keyForms.h"
#include "kxcert/keys/kxSRSA.h"

#include <gtest/gtest.h>
#include <openssl/rsa.h>

#include "kxcert/foundation/kxBinBuf.h"
#include "support/caseFile.h"
#include "support/keyFiles.h"
#include "support/onThreads.h"

namespace {

TEST(kxSRSA, RoundsUpToWholeOctets) {
  const Octets der = CaseOctets("30{02{01 00*127 01} 02{010001}}");
  kxSRSA key(sxPK_public, der.data(), LenOf(der));
  EXPECT_EQ(1025, key.Nbits());
  EXPECT_EQ(129, key.Nbytes());
  EXPECT_EQ(1032, key.GetLen(sxPK_len_bits));
  EXPECT_EQ(1025, sxPubKey_NumBits(&key));
  EXPECT_EQ(0, key.HasPrivate());
  kxSRSA unusable(sxPK_public, nullptr, 0), adopted(static_cast<RSA *>(nullptr));
  EXPECT_EQ(0, unusable.Nbits() + unusable.Nbytes() + unusable.HasPrivate() + adopted.OK());
  EXPECT_EQ(0, sxPubKey_NumBits(&unusable) + sxPubKey_NumBits(nullptr));
}

TEST(kxSRSA, ImportsItsPrivateKeysAndNothingElse) {
  Octets der = ReadPem(KeyFile("rsa1024.pem"));
  const PubKeyRef key = RsaTestKey(1024);
  EXPECT_EQ(der, Exported(*key, sxPK_private));
  kxBinBuf out;
  EXPECT_EQ(kKeyNotImplemented, sxExportRSAKey(key.get(), sxPK_set, out));
  EXPECT_EQ(kKeyNotUsable, sxExportRSAKey(nullptr, sxPK_private, out));
  EXPECT_EQ(kKeyBadInput, sxExportRSAKey(PublicPart(*key).get(), sxPK_private, out));
  EXPECT_EQ(0u, out.Len());
  EXPECT_EQ(0, sxExportRSAKey(key.get(), sxPK_private, out));
  EXPECT_TRUE(out.IsSensitive());
  EXPECT_EQ(0, sxExportRSAKey(key.get(), sxPK_public, out));
  EXPECT_FALSE(out.IsSensitive());
  EXPECT_EQ(nullptr, sxImportRSAKey(sxPK_public, der.data(), LenOf(der)));
  der.push_back(0);
  EXPECT_EQ(nullptr, sxImportRSAKey(sxPK_private, der.data(), LenOf(der)));
  der.resize(der.size() - 2);
  EXPECT_EQ(nullptr, sxImportRSAKey(sxPK_private, der.data(), LenOf(der)));
}

TEST(kxSRSA, PrimitivesNeedRoomForTheModulus) {
  const Octets der = ReadPem(KeyFile("rsa1024.pem"));
  RSA *const rsa = kxRSA_from_buf(der.data(), LenOf(der), 1);
  Octets in(20, 7), sig(128), out(128);
  EXPECT_EQ(128, RSA_private_encrypt_wrapper(20, in.data(), 128, sig.data(), rsa));
  EXPECT_EQ(20, RSA_public_decrypt_wrapper(128, sig.data(), 128, out.data(), rsa));
  EXPECT_EQ(128, RSA_public_encrypt_wrapper(20, in.data(), 128, sig.data(), rsa));
  EXPECT_EQ(20, RSA_private_decrypt_wrapper(128, sig.data(), 128, out.data(), rsa));
  for (const auto primitive : {RSA_private_encrypt_wrapper, RSA_public_decrypt_wrapper, RSA_public_encrypt_wrapper, RSA_private_decrypt_wrapper}) {
    EXPECT_EQ(-1, primitive(20, in.data(), 127, out.data(), rsa));
    EXPECT_EQ(-1, primitive(-1, in.data(), 128, out.data(), rsa));
    EXPECT_EQ(-1, primitive(20, nullptr, 128, out.data(), rsa));
    EXPECT_EQ(-1, primitive(20, in.data(), 128, nullptr, rsa));
    EXPECT_EQ(-1, primitive(20, in.data(), 128, out.data(), nullptr));
  }
  const PubKeyRef owner(new kxSRSA(rsa));
}

TEST(kxSRSA, ImportCanBeReplaced) {
  const Octets der = ReadPem(KeyFile("rsa1024.pem"));
  EXPECT_EQ(1, sxIsSW_RSA());
  sxSetImportRSAKey_func([](sxPK_Format, const unsigned char *, int) -> sxPubKey * { return nullptr; });
  EXPECT_EQ(0, sxIsSW_RSA());
  EXPECT_EQ(nullptr, sxImportRSAKey(sxPK_private, der.data(), LenOf(der)));
  sxSetImportRSAKey_func(nullptr);
  EXPECT_EQ(1, sxIsSW_RSA());
  EXPECT_NE(nullptr, PubKeyRef(sxImportRSAKey(sxPK_private, der.data(), LenOf(der))));
}

TEST(kxSRSA, OneKeyServesManyThreads) {
  const PubKeyRef key = RsaTestKey(1024), publicKey = PublicPart(*key);
  const Octets digest(32, 1);
  Octets sig(128);
  ASSERT_EQ(128, key->Sign(sxPKop_digest, sx_md_sha256, digest.data(), 32, sig.data(), 128));
  OnThreads(8, [&](int) {
    for (int i = 0; i < 20; ++i) {
      EXPECT_EQ(0, publicKey->Verify(sxPKop_digest, sx_md_sha256, digest.data(), 32, sig.data(), 128));
      EXPECT_NE(nullptr, publicKey->PublicKeyHash());
    }
    Octets same(128);
    EXPECT_EQ(128, key->Sign(sxPKop_digest, sx_md_sha256, digest.data(), 32, same.data(), 128));
    EXPECT_EQ(sig, same);
  });
}

}  // namespace
