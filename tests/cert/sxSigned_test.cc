// Signatures of certificates, and the memory of those that verified.
#include "kxcert/cert/sxSigned.h"

#include "cert/signatureMemory.h"
#include "kxcert/asn1/sxAsnOid.h"
#include "kxcert/cert/signatureCache.h"
#include "kxcert/cert/sxCert.h"
#include "kxcert/keys/sxPubKey.h"
#include "support/onThreads.h"
#include "support/script.h"
#include "support/testPki.h"

namespace {

constexpr uint32_t kDefaultSize = 8192;

struct FreeCert {
  void operator()(sxCert *cert) const { sxCert_Free(cert); }
};
using CertRef = std::unique_ptr<sxCert, FreeCert>;

CertRef Decoded(const Octets &der) { return CertRef(sxCert_Decode(der.data(), LenOf(der))); }

CertRef WithLastOctetChanged(const sxCert &cert) {
  Octets der = DerOf(cert);
  der.back() = static_cast<unsigned char>(der.back() ^ 1);
  return Decoded(der);
}

class sxSignedTest : public testing::Test {
 protected:
  sxSignedTest() { sxSignatureCache_SetSize(kDefaultSize); }
  ~sxSignedTest() override { sxSignatureCache_SetSize(kDefaultSize); }
};

// Every digest with every kind of key: the signature is valid, and no longer so when the body, the
// signature or the key is another. All of it twice, and again without the memory.
TEST_F(sxSignedTest, VerifiesEveryDigestWithEveryKey) {
  const TestCert rsa("CN=a", nullptr, {.key = "RSA-1024"}), otherRsa("CN=a", nullptr, {.key = "RSA-1024"});
  const TestCert p256("CN=a", nullptr), p384("CN=a", nullptr, {.key = "P-384"});
  const TestCert p521("CN=a", nullptr, {.key = "P-521"}), otherEc("CN=a", nullptr);
  for (const TestCert *key : {&rsa, &p256, &p384, &p521}) {
    for (const char *digest : {"MD5", "SHA1", "SHA256", "SHA384", "SHA512"}) {
      const bool isRsa = key == &rsa;
      if (!isRsa && std::string(digest) == "MD5") continue;  // there is no such algorithm
      const TestCert made("CN=a", nullptr, {.serial = "010203", .keyOf = key, .digest = digest});
      const sxCert &cert = *made.Get();
      SCOPED_TRACE(std::to_string(cert.PubKey()->GetLen(sxPK_len_bits)) + " bits, " + digest);
      const CertRef changedBody = Decoded(Replaced(DerOf(cert), {2, 3, 1, 2, 3}, {2, 3, 1, 2, 9}));
      const CertRef changedSignature = WithLastOctetChanged(cert);
      ASSERT_TRUE(changedBody != nullptr && changedSignature != nullptr);
      sxPubKey *const other = (isRsa ? otherRsa : otherEc).Get()->PubKey();
      sxPubKey *const otherFamily = (isRsa ? otherEc : otherRsa).Get()->PubKey();
      for (const uint32_t size : {kDefaultSize, kDefaultSize, 0U}) {
        if (size == 0) sxSignatureCache_SetSize(0);
        EXPECT_EQ(0, cert.VerifySig(cert.PubKey()));
        EXPECT_GT(0, changedBody->VerifySig(cert.PubKey()));
        EXPECT_GT(0, changedSignature->VerifySig(cert.PubKey()));
        EXPECT_GT(0, cert.VerifySig(other));
        EXPECT_EQ(kKeyNotImplemented, cert.VerifySig(otherFamily));
      }
      sxSignatureCache_SetSize(kDefaultSize);
    }
  }
}

// Cut in segments in any way the octets of a signature are the same, those of the certificate are not.
TEST_F(sxSignedTest, RefusesASignatureInSegments) {
  const TestCert made("CN=a", nullptr);
  const Octets all = DerOf(*made.Get());
  const Octets content(all.begin() + (all[1] == 0x81 ? 3 : 4), all.end());
  const std::function<Octets(const Octets &)> kCuts[] = {
      [](const Octets &bits) { return Der(0x03, bits); },
      [](const Octets &bits) { return Der(0x23, Der(0x03, bits)); },
      [](const Octets &bits) { return Indefinite(0x23, Der(0x03, bits)); },
      [](const Octets &bits) {
        const Octets half(bits.begin(), bits.begin() + 9), rest(bits.begin() + 9, bits.end());
        return Der(0x23, {Der(0x03, half), Der(0x03, Joined({{0}, rest}))});
      },
  };
  for (const auto &cut : kCuts) {
    const Octets changed = Rewritten(content, [&cut](int tag, const Octets &value) {   // the key does not hold a SEQUENCE
      return tag == 0x03 && value[1] == 0x30 ? cut(value) : Der(tag, value);
    });
    for (const Octets &der : {Der(0x30, changed), Indefinite(0x30, changed)}) {
      const CertRef cert = Decoded(der);
      ASSERT_NE(nullptr, cert);
      EXPECT_EQ(changed == content ? 0 : kKeyLenMismatch, cert->VerifySig(made.Get()->PubKey()));
    }
  }
}

// Certificates of keys of their own, made from others, and each question to them. Names of results: see keys.h.
TEST_F(sxSignedTest, DoesWhatTheStepsSay) {
  std::vector<std::unique_ptr<TestCert>> made;
  sxPubKey unusable(nullptr);
  sxSignatureCacheStats seen = sxSignatureCache_Stats();
  Script()
      .On("Cert", [&made] { return made.emplace_back(std::make_unique<TestCert>("CN=a", nullptr))->Get(); })
      .On("Of", [](const Octets &octets) {
        return std::make_unique<sxCert>(octets.data(), static_cast<unsigned>(octets.size()));
      })
      .On("Replaced", [](const sxCert &cert, const Octets &what, const Octets &by) {
        return Decoded(Replaced(DerOf(cert), what, by));
      })
      .On("LastOctetChanged", WithLastOctetChanged)
      .On("key", [](const sxCert &cert) { return cert.PubKey(); })
      .On("unusableKey", [&unusable] { return &unusable; })
      .On("verify", [](const sxCert &cert, sxPubKey *key) {
        const int rc = cert.VerifySig(key);
        const std::map<int, const char *> kNames = {{0, "valid"},
                                                    {kKeyNotImplemented, "not implemented"},
                                                    {kKeyNotUsable, "not usable"},
                                                    {kKeyBadInput, "bad input"}};
        return kNames.contains(rc) ? kNames.at(rc) : "another";
      })
      .On("counts", [&seen] {   // hits and misses since the last question, and entries
        const sxSignatureCacheStats now = sxSignatureCache_Stats(), before = std::exchange(seen, now);
        return std::to_string(now.hits - before.hits) + " " + std::to_string(now.misses - before.misses) + " " +
               std::to_string(now.entries);
      })
      .On("maxEntries", [] { return sxSignatureCache_Stats().maxEntries; })
      .On("clear", sxSignatureCache_Clear)
      .On("setSize", sxSignatureCache_SetSize)
      .On("setError", [](sxCert &cert, const char *text) { cert.SetError(text); })
      .On("error", [](const sxCert &cert) { return std::string(cert.Error().getstr()); })
      .On("Oid", OidOf)
      .On("setUnhandled", [](sxCert &cert, const sxAsnOid *oid) { cert.SetUnhandledExt(oid); })
      .On("unhandled", [](const sxCert &cert) { return cert.UnhandledCritExt(); })
      .On("equalOids", [](const sxAsnOid &a, const sxAsnOid &b) { return a.OidEquiv(b); })
      .Run("cert/sxSigned.steps");
}

TEST_F(sxSignedTest, MemoryIsBounded) {
  const struct { uint32_t wanted, rounded; } kSizes[] = {{1, 64}, {64, 64}, {65, 128}, {UINT32_MAX, 1U << 20}, {0, 0}};
  for (const auto &size : kSizes) {
    sxSignatureCache_SetSize(size.wanted);
    EXPECT_EQ(size.rounded, sxSignatureCache_Stats().maxEntries);
  }
  sxSignatureCache_SetSize(64);
  sxSignatureKey key{};
  const auto numbered = [&key](unsigned i) -> const sxSignatureKey & {
    for (size_t at = 0; at < key.size(); ++at)
      key[at] = static_cast<unsigned char>((i + 1) * 2654435761U >> (at % 4 * 8));
    return key;
  };
  for (unsigned i = 0; i < 1000; ++i) {
    sxSignatureMemory_Keep(numbered(i));
    sxSignatureMemory_Keep(numbered(i));
    EXPECT_TRUE(sxSignatureMemory_Knows(numbered(i)));
    ASSERT_GE(64U, sxSignatureCache_Stats().entries);
  }
  EXPECT_LT(16U, sxSignatureCache_Stats().entries);
}

TEST_F(sxSignedTest, ManyThreadsVerifyWhileTheMemoryChanges) {
  const TestCert a("CN=a", nullptr), b("CN=b", nullptr);
  const CertRef bad = WithLastOctetChanged(*a.Get());
  OnThreads(5, [&](int thread) {
    if (thread == 0) {
      for (const uint32_t size : {0U, 64U, 4096U, 0U, 100U}) sxSignatureCache_SetSize(size);
      return;
    }
    for (int i = 0; i < 50; ++i) {
      EXPECT_EQ(0, a.Get()->VerifySig(a.Get()->PubKey()));
      EXPECT_NE(0, b.Get()->VerifySig(a.Get()->PubKey()));
      EXPECT_NE(0, bad->VerifySig(a.Get()->PubKey()));
    }
  });
}

}  // namespace
