#include "kxcert/keys/rsaGeneration.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <thread>

#include "keys/rsa/auxiliaryPrimes.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/keys/kxSRSA.h"
#include "support/fakeRandom.h"
#include "support/logCapture.h"
#include "support/runCommand.h"
#include "support/tempDir.h"

namespace {

TEST(AuxiliaryPrimes, SizesFollowThePrimeNotTheModulus) {
  constexpr int kCases[][5] = {   // asked for, of the prime, least distance, of the auxiliary primes, rounds
      {500, 512, 411, 101, 28},    {512, 512, 411, 101, 28},    {513, 640, 539, 101, 28},
      {1024, 1024, 923, 101, 28},  {1920, 1920, 1819, 101, 28}, {1921, 2048, 1947, 141, 38},
      {2944, 2944, 2843, 141, 38}, {2945, 3072, 2971, 171, 41}, {8192, 8192, 8091, 171, 41}};
  for (const auto &[asked, bits, distance, auxBits, rounds] : kCases) {
    const PrimeSizes sizes = SizesOfPrimes(asked);
    EXPECT_EQ(bits, sizes.primeBits) << asked;
    EXPECT_EQ(distance, sizes.minDistanceBits) << asked;
    EXPECT_EQ(auxBits, sizes.auxiliaryBits) << asked;
    EXPECT_EQ(rounds, sizes.auxiliaryRounds) << asked;
  }
}

// A number to calculate with.
struct Num {
  Num() : n(BN_new()) {}
  Num(const BIGNUM *from) : n(BN_dup(from)) {}
  operator BIGNUM *() const { return n.get(); }
  bool Is(const BIGNUM *other) const { return BN_cmp(*this, other) == 0; }
  bool IsPrime() const { return BN_check_prime(*this, nullptr, nullptr) == 1; }
  int Bits() const { return BN_num_bits(*this); }
  BigNum n;
};
const BigNumContext g_ctx(BN_CTX_new());
Num operator-(const Num &a, const Num &b) { Num r; BN_sub(r, a, b); return r; }
Num operator*(const Num &a, const Num &b) { Num r; BN_mul(r, a, b, g_ctx.get()); return r; }
Num operator%(const Num &a, const Num &b) { Num r; BN_nnmod(r, a, b, g_ctx.get()); return r; }
Num Gcd(const Num &a, const Num &b) { Num r; BN_gcd(r, a, b, g_ctx.get()); return r; }

// That p is the first usable prime from x on which is 1 modulo aux1 and -1 modulo aux2.
void ExpectBuiltFrom(const Num &x, const Num &aux1, const Num &aux2, const Num &p, int bits, const Num &e) {
  const Num one(BN_value_one()), step = aux1 * aux2;
  EXPECT_TRUE(aux1.IsPrime() && aux1.Bits() == 101 && aux2.IsPrime() && aux2.Bits() == 101);
  EXPECT_TRUE(x.Bits() == bits && (x * x).Bits() == 2 * bits);   // above the square root of 2^(2 bits - 1)
  EXPECT_TRUE((p % aux1).Is(one) && (p % aux2).Is(aux2 - one));
  const auto isUsable = [&](const Num &y) { return Gcd(y - one, e).Is(one) && y.IsPrime(); };
  EXPECT_TRUE(p.Bits() == bits && isUsable(p));
  ASSERT_LT((p - x).Bits(), step.Bits() + 16);
  for (Num y = p - step; !BN_is_negative(y - x); y = y - step) ASSERT_FALSE(isUsable(y));
}

TEST(RsaGeneration, BuildsTheKeyThatItsRecordTells) {
  constexpr int kCases[][3] = {{256, 512, 65537}, {500, 512, 15}, {550, 640, 3}};   // asked, bits, exponent
  kxRSAGenRecord r;   // each key replaces what it had
  for (const auto &[asked, bits, exponent] : kCases) {
    SCOPED_TRACE(asked);
    const RsaKey key(kxGenRSA_worked(asked, exponent, &r));
    ASSERT_NE(nullptr, key);
    for (const int size : {r.p1Bits, r.p2Bits, r.q1Bits, r.q2Bits}) EXPECT_EQ(101, size);
    EXPECT_TRUE(auxilary_prime_bits == 101 && auxilary_prime_MillerRabinIterations == 28);
    const Num one(BN_value_one()), e(RSA_get0_e(key.get())), p(r.p), q(r.q), n(r.n), d(r.d);
    EXPECT_TRUE(BN_is_word(e, static_cast<BN_ULONG>(exponent)));
    ExpectBuiltFrom(r.Xp, r.p1, r.p2, p, bits, e);
    ExpectBuiltFrom(r.Xq, r.q1, r.q2, q, bits, e);
    EXPECT_GT((Num(r.Xp) - Num(r.Xq)).Bits(), bits - 101);
    const Num totient = (p - one) * (q - one);   // not the least common multiple
    EXPECT_TRUE((e * d % totient).Is(one) && (d % totient).Is(d));
    EXPECT_TRUE(n.Is(p * q) && n.Bits() == 2 * bits);
    EXPECT_TRUE(n.Is(RSA_get0_n(key.get())) && d.Is(RSA_get0_d(key.get())));
    EXPECT_EQ(1, RSA_check_key(key.get()));
  }
}

TEST(RsaGeneration, MakesKeysThatTheOpensslCommandAccepts) {
  const TempDir dir;
  // Bits and exponent asked for, and those of the key. Exponent 3 is never used, 0 is a random one.
  constexpr int kCases[][4] = {{512, 17, 1024, 5},  {1000, 65537, 1024, 17}, {1100, 5, 1280, 3},
                               {1024, 3, 1024, 5},  {2048, 17, 2048, 5},     {512, 0, 515, 514},
                               {1017, 0, 1027, 1026}};
  for (const auto &[bits, exponent, modulusBits, exponentBits] : kCases) {
    SCOPED_TRACE(testing::Message() << bits << " bits, exponent " << exponent);
    const RsaKey key(kxGenRSA(bits, exponent));
    kxBinBuf der;
    ASSERT_EQ(0, kxRSA_to_buf(key.get(), der, 1));
    EXPECT_EQ(modulusBits, RSA_bits(key.get()));
    EXPECT_GT(BN_cmp(RSA_get0_p(key.get()), RSA_get0_q(key.get())), 0);
    EXPECT_EQ(exponentBits, Num(RSA_get0_e(key.get())).Bits());
    EXPECT_TRUE(exponent == 0 || BN_is_word(RSA_get0_e(key.get()), exponent == 3 ? 17u : exponent * 1u));
    const std::string file = dir.Write("key", std::string(reinterpret_cast<const char *>(der.Data()), der.Len()));
    EXPECT_EQ("RSA key ok\n", RunCommand("openssl rsa -inform DER -check -noout -in " + file + " 2>&1"));
  }
}

TEST(RsaGeneration, RefusesWhatNoKeyCanHave) {
  constexpr int kCases[][2] = {{511, 17}, {16385, 17}, {INT_MIN, 17}, {INT_MAX, 17}, {1024, 1}, {1024, 65536},
                               {1024, -1}, {1024, INT_MIN}, {511, 0}, {3065, 0}};
  for (const auto &[bits, exponent] : kCases) {
    const LogCapture log;
    EXPECT_EQ(nullptr, kxGenRSA(bits, exponent)) << bits << " bits, exponent " << exponent;
    EXPECT_TRUE(log.Lines().size() == 1 && log.Has("kxGenRSA: "));
  }
  constexpr int kWorkedCases[][2] = {{255, 17}, {8193, 17}, {INT_MIN, 17}, {512, 0}, {512, 4}};
  for (const auto &[bits, exponent] : kWorkedCases) EXPECT_EQ(nullptr, kxGenRSA_worked(bits, exponent, nullptr));
}

TEST(RsaGeneration, FailsOnBadRandomNumbers) {
  LogCapture log;
  kxRSAGenRecord record;
  {
    const FakeRandom zeroes([](unsigned char *data, int len) { return std::memset(data, 0, len * 1u), 1; });
    EXPECT_EQ(nullptr, kxGenRSA_worked(512, 17, &record));
    EXPECT_TRUE(log.Has("more than 80 pairs of random numbers lay too close together"));
  }
  const FakeRandom none([](unsigned char *, int) { return 0; });
  for (const int exponent : {17, 0}) {
    log.Clear();
    EXPECT_EQ(nullptr, kxGenRSA(1024, exponent));
    EXPECT_TRUE(log.Has("kxGenRSA: generation failed"));
  }
  EXPECT_EQ(nullptr, record.p);
  EXPECT_EQ(0u, ERR_peek_error());
}

std::vector<int> g_seedLens;

TEST(RsaGeneration, FeedsThePoolBeforeEachAuxiliaryPrime) {
  g_seedLens.clear();
  const FakeRandom counting(nullptr, [](const void *, int len) { g_seedLens.push_back(len); return 1; });
  const LogCapture log;
  EXPECT_NE(nullptr, RsaKey(kxGenRSA(1024, 17)));
  EXPECT_EQ(std::vector<int>(4, 64), g_seedLens);
  EXPECT_TRUE(log.Lines().empty());   // no line, so no secret in one
}

TEST(RsaGeneration, RunsOnManyThreads) {
  RsaKey keys[4];
  std::vector<std::thread> threads;
  for (RsaKey &key : keys) threads.emplace_back([&key] { key.reset(kxGenRSA(1024, 17)); });
  for (std::thread &thread : threads) thread.join();
  for (const RsaKey &key : keys) EXPECT_EQ(1, RSA_check_key(key.get()));
}

}  // namespace
