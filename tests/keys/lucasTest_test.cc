#include "keys/rsa/lucasTest.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

int Tested(const BigNum &n) { return StrongLucasTest(n.get(), BigNumContext(BN_CTX_new()).get()); }

TEST(LucasTest, DiffersFromThePrimesByTheKnownPseudoprimesOnly) {
  // OEIS A217255, all below 25500.
  const std::vector<BN_ULONG> kPseudoprimes = {5459, 5777, 10877, 16109, 18971, 22499, 24569, 25199};
  std::vector<BN_ULONG> differing;
  const BigNum number(BN_new());
  for (BN_ULONG n = 1; n < 25500; n += 2) {
    ASSERT_EQ(1, BN_set_word(number.get(), n));
    if (Tested(number) != BN_check_prime(number.get(), nullptr, nullptr)) differing.push_back(n);
  }
  EXPECT_EQ(kPseudoprimes, differing);
}

TEST(LucasTest, RefusesStrongPseudoprimesToManyBases) {
  // The smallest for all prime bases up to 2, 7, 23 (G. Jaeschke, Math. Comp. 61, 1993), 37 and 41
  // (J. Sorenson and J. Webster, Math. Comp. 86, 2017); and two that are even or negative.
  for (const char *text : {"2047", "3215031751", "3825123056546413051", "318665857834031151167461",
                           "3317044064679887385961981", "2", "-7"}) {
    BIGNUM *number = nullptr;
    ASSERT_NE(0, BN_dec2bn(&number, text));
    EXPECT_EQ(0, Tested(BigNum(number))) << text;
  }
}

}  // namespace
