#include "keys/rsa/rsaSelfTest.h"

#include <gtest/gtest.h>

#include "keys/rsa/kxSRSA_imp.h"
#include "kxcert/keys/kxSRSA.h"
#include "kxcert/keys/rsaGeneration.h"
#include "kxcert/platform/fips.h"
#include "support/fakeRandom.h"
#include "support/keyFiles.h"
#include "support/logCapture.h"

namespace {

TEST(RsaSelfTest, PassesAndCanFail) {
  EXPECT_EQ(0, kxTestRSA());
  const PubKeyRef key = RsaTestKey(1024);
  EXPECT_TRUE(PassesSelfTest(*key));
  EXPECT_FALSE(PassesSelfTest(*PublicPart(*key)));
  EXPECT_FALSE(PassesSelfTest(*RsaTestKey(2048)));   // its signatures do not have 128 octets
  const LogCapture log;
  const FakeRandom none([](unsigned char *, int) { return 0; });
  EXPECT_EQ(-1, kxTestRSA());                        // no padding to encrypt with
  EXPECT_TRUE(log.Has("kxTestRSA: failed"));
}

// Installs a function that hands out one key and keeps what it was told.
struct Generator {
  explicit Generator(sxPubKey *toHandOut) {
    s_key = toHandOut;
    s_bits = s_exponent = s_numReboots = 0;
    sxSetGenRSAKey_func([](int bits, int exponent) { return s_bits = bits, s_exponent = exponent, s_key; });
    fips_set_reboot_handler([] { ++s_numReboots; });
  }
  ~Generator() {
    sxSetGenRSAKey_func(nullptr);
    fips_set_reboot_handler(nullptr);
  }
  static inline sxPubKey *s_key;
  static inline int s_bits, s_exponent, s_numReboots;
};

TEST(RsaSelfTest, AKeyThatDoesNotFitTogetherIsFatal) {
  const auto der = ReadPem(KeyFile("rsa1024.pem"));
  const RsaKey key(kxRSA_from_buf(der.data(), static_cast<int>(der.size()), 1));
  RSA *rsa = RSA_new();
  BIGNUM *exponent = BN_new();   // not the key's own, which nobody can tell without the primes
  ASSERT_TRUE(BN_set_word(exponent, 17) &&
              RSA_set0_key(rsa, BN_dup(RSA_get0_n(key.get())), exponent, BN_dup(RSA_get0_d(key.get()))));
  const LogCapture log;
  const Generator misfit(new kxSRSA(rsa));
  EXPECT_EQ(nullptr, sxGenerateRSA(1024, 17));
  EXPECT_EQ(1, Generator::s_numReboots);
  EXPECT_TRUE(log.Has("sxGenerateRSA: key failed consistency test!"));
}

TEST(RsaSelfTest, GenerationCanBeReplaced) {
  {
    const Generator working(RsaTestKey(1024).release());
    EXPECT_EQ(0, sxIsSW_RSA());
    const PubKeyRef made(sxGenerateRSA(3000, 3));   // another generator is spared exponent 3, too
    EXPECT_TRUE(made.get() == Generator::s_key && Generator::s_bits == 3000 && Generator::s_exponent == 17);
    Generator::s_key = nullptr;
    EXPECT_EQ(nullptr, sxGenerateRSA(1024, 17));
    EXPECT_EQ(0, Generator::s_numReboots);
  }
  EXPECT_EQ(1, sxIsSW_RSA());
  const PubKeyRef made(sxGenerateRSA(2048, 3)), randomExponent(sxGenerateRSA(3064, 0));
  ASSERT_TRUE(made != nullptr && randomExponent != nullptr);
  EXPECT_EQ(2048, made->GetLen(sxPK_len_bits));
  EXPECT_EQ(17, Exported(*made, sxPK_public).back());
  EXPECT_EQ(3072, randomExponent->GetLen(sxPK_len_bits));   // 3067, the most that libcrypto verifies with
  EXPECT_EQ(nullptr, sxGenerateRSA(1024, 2));
  EXPECT_EQ(0, kxSRSA(1024, 2).OK());
  EXPECT_EQ(1369, kxSRSA(1000, 17).Flags());
}

// A working key with other flags, whose decryption goes wrong.
class OddKey : public kxSRSA_imp {
 public:
  OddKey(int flags, int lenError, int octetError)
      : kxSRSA_imp(kxGenRSA(1024, 17)), m_flags(flags), m_lenError(lenError), m_octetError(octetError) {}
  int Flags() const override { return m_flags; }
  int Decrypt(sxPKop_type op, const unsigned char *in, int inLen, unsigned char *out, int outLen) override {
    const int len = kxSRSA_imp::Decrypt(op, in, inLen, out, outLen);
    out[19] = static_cast<unsigned char>(out[19] + m_octetError);
    return len + m_lenError;
  }

 private:
  const int m_flags, m_lenError, m_octetError;
};

TEST(RsaSelfTest, EncryptsOnlyForKeysWithBothFlags) {
  // Flags, errors in the length and in the last octet, whether the key is consistent.
  constexpr int kCases[][4] = {{0x6, 0, 0, 1}, {0x6, 0, 1, 0}, {0x6, -1, 0, 0},  {0x6, -120, 0, 0},
                               {0x2, 0, 1, 1}, {0x4, 0, 1, 1}, {1369, 0, 1, 1}};
  for (const auto &[flags, lenError, octetError, consistent] : kCases) {
    sxPubKey key(new OddKey(flags, lenError, octetError));
    EXPECT_EQ(consistent != 0, IsConsistentKey(key)) << flags << ", " << lenError << ", " << octetError;
  }
}

}  // namespace
