#include "kxcert/asn1/sxAsnBits.h"

#include <gtest/gtest.h>

#include <climits>
#include <utility>

#include "support/asnHex.h"
#include "support/hexOctets.h"
#include "support/logCapture.h"

namespace {

struct BitsCase { const char *what; const char *hex; const char *again; int bitLen; const char *log; };
constexpr BitsCase kBitsCases[] = {
    {"none", "030100", "030100", 0, nullptr},
    {"nine bits", "0303078080", "0303078080", 9, nullptr},
    {"unused bits stay as they are", "030207ff", "030207ff", 1, nullptr},
    {"segments that end within an octet", "2308 030204a0 030207ff", "030203af", 5, nullptr},
    {"indefinite", "2380 030200f0 03020480 0000", "030304f080", 12, nullptr},
    {"no segments", "2380 0000", "030100", 0, nullptr},
    {"nested", "230a 2308 030204a0 030204b0", "030200ab", 8, nullptr},
    {"eight unused bits", "03020800", "-", 0,
     "sxAsnBits::BDecContent failed to decoded Content, bad unused byte. unused = 8"},
    {"more unused bits than bits", "030101", "-", 0,
     "sxAsnBits::BDecContent failed to decoded Content, bad bitLen. bitLen = -1"},
    {"no content", "0300", "-", 0, nullptr},
    {"indefinite, primitive", "0380 0000", "-", 0, nullptr},
    {"no end of contents", "2380 030100", "-", 0,
     "sxAsnBits::BDecConsOcts attempt to decoded indefinite length bits failed"},
    {"a segment of another type", "2303 040141", "-", 0,
     "sxAsnBits::BDecConsBits attempt to decoded nested bits failed"},
};

TEST(sxAsnBits, DecodesBothForms) {
  for (const BitsCase &c : kBitsCases) {
    SCOPED_TRACE(c.what);
    const LogCapture log;
    sxAsnBits value(300);   // of more than the new value needs
    EXPECT_EQ(c.again, Reencode(c.hex, value));
    if (c.again[0] != '-') {
      EXPECT_EQ(c.bitLen, value.BitLen());
    }
    EXPECT_TRUE(c.log == nullptr || log.Has(c.log));
  }
}

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
  EXPECT_EQ("Bit String\n  00 40 \n  the bit length = 10 \n", Printed(bits, 1));
  bits.ReSet(0);
  EXPECT_EQ("sxAsnBits::Print no bits to print, buffer empty\n", Printed(bits));
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
