#include "kxcert/asn1/sxAsnBits.h"

#include "support/asnHex.h"
#include "support/script.h"

namespace {

TEST(sxAsnBits, DoesWhatTheStepsSay) {
  using Bits = sxAsnBits;
  Script()
      .OnCopiesOf<Bits>()
      .On("Bits", [](int len) { return Bits(len); })
      .On("Of", [](const Octets &octets, int len) {
        Bits bits;
        bits.Set(octets.data(), len);
        return bits;
      })
      .On("set", [](Bits &bits, const Bits &other) { bits.Set(other); })
      .On("reset", [](Bits &bits, int len) { bits.ReSet(len); })
      .On("setBit", &Bits::SetBit)
      .On("clearBit", &Bits::ClearBit)
      .On("getBit", &Bits::GetBit)
      .On("bitLen", &Bits::BitLen)
      .On("concat", [](Bits &bits, const Bits &more) { return bits.Concat(more); })
      .On("equal", [](Bits &a, const Bits &b) { return a.BitsEquiv(b); })
      .On("hex", [](Bits &bits) { return EncodeHex(bits); })
      .Run("asn1/sxAsnBits.steps");
}

TEST(sxAsnBits, JoinsAtAnyBit) {
  const Octets pattern = CaseOctets("b6dbff");
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
}

}  // namespace
