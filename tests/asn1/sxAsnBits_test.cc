#include "kxcert/asn1/sxAsnBits.h"

#include <gtest/gtest.h>

#include <climits>
#include <utility>

#include "support/asnHex.h"
#include "support/hexOctets.h"

namespace {

TEST(sxAsnBits, AddressesBitsFromTheMostSignificant) {
  sxAsnBits bits(10);
  EXPECT_EQ(0, bits.SetBit(0));
  EXPECT_EQ(0, bits.SetBit(9));
  EXPECT_EQ("0303068040", EncodeHex(bits));
  EXPECT_EQ(1, bits.GetBit(9));
  EXPECT_EQ(0, bits.GetBit(8));
  EXPECT_EQ(0, bits.ClearBit(0));
  for (const int outside : {-1, 10, 15}) {
    EXPECT_EQ(-1, bits.SetBit(outside));
    EXPECT_EQ(-1, bits.ClearBit(outside));
    EXPECT_EQ(-1, bits.GetBit(outside));
  }
  EXPECT_EQ("0303060040", EncodeHex(bits));
  bits.ReSet(0);
  EXPECT_EQ(0, bits.BitLen());
}

TEST(sxAsnBits, JoinsAtAnyBit) {
  const std::vector<unsigned char> pattern = DecodeHex("b6dbff");
  for (int first = 0; first <= 17; ++first) {
    for (int second = 0; second <= 17; ++second) {
      sxAsnBits bits, more;
      bits.Set(pattern.data(), first);
      more.Set(pattern.data(), second);
      ASSERT_EQ(0, bits.Concat(more));
      ASSERT_EQ(first + second, bits.BitLen());
      for (int i = 0; i < second; ++i) {
        ASSERT_EQ(more.GetBit(i), bits.GetBit(first + i)) << first << " + " << second << " at " << i;
      }
      for (int i = 0; i < first; ++i) ASSERT_EQ(pattern[static_cast<size_t>(i / 8)] >> (7 - i % 8) & 1, bits.GetBit(i));
    }
  }
  sxAsnBits a, b;
  a.Set(pattern.data(), 9);
  b.Set(a);
  EXPECT_TRUE(a.BitsEquiv(b));
  b.Set(pattern.data(), 10);
  EXPECT_FALSE(a.BitsEquiv(b));
  sxAsnBits many(INT_MAX - 9);
  EXPECT_EQ(-1, many.Concat(b));
  const sxAsnBits moved(std::move(many));
  EXPECT_EQ(-1, many.SetBit(INT_MAX - 10));
  many = std::move(b);
  EXPECT_EQ(0, many.SetBit(9) + b.BitLen());
}

}  // namespace
