#include "kxcert/platform/random.h"

#include <gtest/gtest.h>
#include <openssl/rand.h>

#include "support/hexOctets.h"

namespace {

TEST(Random, FillsExactlyTheArea) {
  unsigned char first[34] = {};
  unsigned char second[34] = {};
  ASSERT_EQ(0, sxrand_gen(first + 1, 32));
  ASSERT_EQ(0, sxrand_gen(second + 1, 32));
  EXPECT_NE(EncodeHex(first, 34), EncodeHex(second, 34));   // equal by chance: once in 2^256
  EXPECT_EQ(0, first[0] | first[33] | second[0] | second[33]);
  EXPECT_EQ(0, sxrand_gen(first, 0));
  EXPECT_EQ(-1, sxrand_gen(first, -1));
  EXPECT_EQ(-1, sxrand_gen(nullptr, 1));
}

TEST(Random, ZeroesTheAreaWhenThereIsNoEntropy) {
  RAND_METHOD noEntropy = *RAND_OpenSSL();
  noEntropy.bytes = [](unsigned char *data, int) { return *data = 9, 0; };
  ASSERT_EQ(1, RAND_set_rand_method(&noEntropy));
  unsigned char octets[3] = {1, 2, 3};
  EXPECT_EQ(-1, sxrand_gen(octets, 3));
  EXPECT_EQ("000000", EncodeHex(octets, 3));
  ASSERT_EQ(1, RAND_set_rand_method(RAND_OpenSSL()));
  EXPECT_EQ(0, sxrand_gen(octets, 3));
}

}  // namespace
