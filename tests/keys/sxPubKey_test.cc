#include "kxcert/keys/sxPubKey.h"

#include <gmock/gmock.h>

#include "kxcert/keys/sxPubKey_imp.h"
#include "support/hexOctets.h"
#include "support/keyFiles.h"
#include "support/logCapture.h"

namespace {

// A kind that can do nothing, or only what a test gives it.
struct BareKey : sxPubKey_imp_vc {
  int algorithm() const override { return 9; }
  int OK() const override { return 1; }
  int Flags() const override { return 0; }
  const char *ClassName() const override { return "BareKey"; }
};
struct ExportingKey : BareKey {
  explicit ExportingKey(std::string octets) : m_octets(std::move(octets)) {}
  int Export(sxPK_Format, unsigned char *out, int outLen) override {
    const auto len = static_cast<int>(m_octets.size());
    if (out == nullptr) return len;
    if (m_broken || outLen < len) return kKeyOutputShort;
    m_octets.copy(reinterpret_cast<char *>(out), m_octets.size());
    return len;
  }
  std::string m_octets;
  bool m_broken = false;
};

TEST(sxPubKey, BaseRefusesByName) {
  LogCapture log;
  const PubKeyRef key(new sxPubKey(new BareKey));
  unsigned char area[4] = {};
  EXPECT_EQ(kKeyNotImplemented, key->Encrypt(sxPKop_raw, area, 4, area, 4));
  EXPECT_EQ(kKeyNotImplemented, key->Decrypt(sxPKop_raw, area, 4, area, 4));
  EXPECT_EQ(kKeyNotImplemented, key->Sign(sxPKop_raw, sx_md_sha1, area, 4, area, 4));
  EXPECT_EQ(kKeyNotImplemented, key->SignSetup());
  EXPECT_EQ(kKeyNotImplemented, key->Verify(sxPKop_raw, sx_md_sha1, area, 4, area, 4));
  EXPECT_EQ(kKeyNotImplemented, key->Derive(sxPKop_raw, area, 4, area, 4));
  EXPECT_EQ(kKeyNotImplemented, key->Export(sxPK_public, area, 4));
  EXPECT_EQ(kKeyNotImplemented, key->GetLen(sxPK_len_bits));
  EXPECT_EQ(-1, key->Remove());
  key->Herror();
  EXPECT_THAT(log.Lines(),
              testing::ElementsAre(
                  "Encrypt not implemeted for BareKey", "Decrypt not implemeted for BareKey",
                  "Sign not implemeted for BareKey", "SignSetup not implemeted for BareKey",
                  "Verify not implemeted for BareKey", "Derive not implemeted for BareKey",
                  "Export not implemeted for BareKey", "GetLen not implemeted for BareKey",
                  "sxPubKey_imp::Remove: Not implemented", "Herror not implemeted for BareKey"));
  EXPECT_EQ(nullptr, key->PublicKeyHash());
  EXPECT_EQ(0, key->IdLen());
}

TEST(sxPubKey, FlatFunctionsRefuseNull) {
  EXPECT_EQ(kKeyNotUsable, sxPubKey_Sign(nullptr, sxPKop_raw, sx_md_sha1, nullptr, 0, nullptr, 0));
  EXPECT_EQ(kKeyNotUsable, sxPubKey_Verify(nullptr, sxPKop_raw, sx_md_sha1, nullptr, 0, nullptr, 0));
  EXPECT_EQ(kKeyNotUsable, sxPubKey_Decrypt(nullptr, sxPKop_raw, nullptr, 0, nullptr, 0));
  EXPECT_EQ(kKeyNotUsable, sxPubKey_Derive(nullptr, sxPKop_raw, nullptr, 0, nullptr, 0));
  EXPECT_EQ(kKeyNotUsable, sxPubKey_Export(nullptr, sxPK_public, nullptr, 0));
  EXPECT_EQ(0, sxPubKey(nullptr).OK());
}

TEST(sxPubKey, EqualSaysWhatDiffers) {
  LogCapture log;
  const auto make = [](const char *octets) { return PubKeyRef(new sxPubKey(new ExportingKey(octets))); };
  const PubKeyRef abc = make("abc"), same = make("abc"), abd = make("abd"), longer = make("abcd"), none = make("");
  auto *imp = new ExportingKey("abc");
  imp->m_broken = true;
  const PubKeyRef broken(new sxPubKey(imp));
  EXPECT_EQ(1, sxPubKey_Equal(abc.get(), same.get()));
  EXPECT_EQ(0, sxPubKey_Equal(abc.get(), nullptr));
  EXPECT_EQ(0, sxPubKey_Equal(none.get(), abc.get()));
  EXPECT_EQ(0, sxPubKey_Equal(abc.get(), longer.get()));
  EXPECT_EQ(0, sxPubKey_Equal(abc.get(), broken.get()));
  EXPECT_EQ(0, sxPubKey_Equal(abc.get(), abd.get()));
  EXPECT_THAT(log.Lines(),
              testing::ElementsAre("sxPubKey_Equal: bad input.", "sxPubKey_Equal: Cannot export key.",
                                   "sxPubKey_Equal: Different keys (length).",
                                   "sxPubKey_Equal: Internal error.", "sxPubKey_Equal: Different keys."));
  const PubKeyRef rsa = RsaTestKey(1024), ec = EcTestKey("prime256v1");   // the private part is not looked at
  EXPECT_EQ(1, sxPubKey_Equal(rsa.get(), PublicPart(*rsa).get()));
  EXPECT_EQ(1, sxPubKey_Equal(ec.get(), PublicPart(*ec).get()));
  EXPECT_EQ(0, sxPubKey_Equal(rsa.get(), ec.get()));
}

TEST(sxPubKey, HashCoversKindAndPublicOctets) {
  const PubKeyRef key(new sxPubKey(new ExportingKey("abc")));
  // printf '\011abc' | sha256sum
  EXPECT_EQ("0feab523d881a68c54faf47f5e89fcdc59df001cc4921196d8a5292def2d7383",
            EncodeHex(key->PublicKeyHash(), kPublicKeyHashLen));
  EXPECT_EQ(key->PublicKeyHash(), key->ID());
  EXPECT_EQ(kPublicKeyHashLen, key->IdLen());

  const PubKeyRef rsa = RsaTestKey(1024), itsPublicPart = PublicPart(*rsa);
  EXPECT_EQ(EncodeHex(rsa->PublicKeyHash(), kPublicKeyHashLen),
            EncodeHex(itsPublicPart->PublicKeyHash(), kPublicKeyHashLen));
}

}  // namespace
