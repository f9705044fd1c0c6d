#include "keys/rsa/primeSearch.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "support/fakeRandom.h"

namespace {

const BigNumContext g_ctx(BN_CTX_new());

BigNum Hex(const char *text) {
  BIGNUM *number = nullptr;
  EXPECT_NE(0, BN_hex2bn(&number, text));
  return BigNum(number);
}
BigNum Word(BN_ULONG word) {
  BigNum number(BN_new());
  EXPECT_EQ(1, BN_set_word(number.get(), word));
  return number;
}

int g_numDraws = 0;

TEST(MillerRabin, TakesAsManyBasesAsToldAndNoMore) {
  const FakeRandom counting([](unsigned char *data, int len) { return ++g_numDraws, std::memset(data, 0x5A, len * 1u), 1; });
  const BigNum prime = Hex("1fffffffffffffff"), composite = Hex("1fffffffffffffed");
  for (const int rounds : {1, 8, 28}) {
    g_numDraws = 0;
    EXPECT_EQ(1, MillerRabinTest(prime.get(), rounds, g_ctx.get()));
    EXPECT_EQ(rounds, g_numDraws);
  }
  g_numDraws = 0;
  EXPECT_EQ(0, MillerRabinTest(composite.get(), 8, g_ctx.get()));
  EXPECT_EQ(1, g_numDraws);
  const FakeRandom none([](unsigned char *, int) { return 0; });
  EXPECT_EQ(-1, MillerRabinTest(prime.get(), 8, g_ctx.get()));
}

TEST(MillerRabin, TellsThePrimes) {
  for (BN_ULONG n = 5; n < 5000; n += 2) {
    const BigNum number = Word(n);
    ASSERT_EQ(BN_check_prime(number.get(), nullptr, nullptr), MillerRabinTest(number.get(), 40, g_ctx.get())) << n;
  }
}

TEST(PrimeSieve, TellsMultiplesOfSmallPrimesAllAlongTheWay) {
  std::vector<BN_ULONG> primes;
  for (BN_ULONG n = 3; primes.size() < 1024; n += 2) {
    if (BN_check_prime(Word(n).get(), nullptr, nullptr) == 1) primes.push_back(n);
  }
  for (const int bits : {64, 1024}) {   // as many primes are used
    const BigNum number = Hex("123456789abcdef1"), step = Hex("fedcba9877654322");
    PrimeSieve sieve(number.get(), step.get(), bits);
    for (int i = 0; i < 2000; ++i, sieve.Advance(), BN_add(number.get(), number.get(), step.get())) {
      const bool isMultiple = std::any_of(primes.begin(), primes.begin() + bits,
                                          [&](BN_ULONG prime) { return BN_mod_word(number.get(), prime) == 0; });
      ASSERT_EQ(isMultiple, sieve.IsComposite()) << i;
    }
  }
}

}  // namespace
