#include "kxcert/foundation/address.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "support/hexOctets.h"

namespace {

in6_addr_kxt Address(const char *hex) {
  in6_addr_kxt address = {};
  const std::vector<unsigned char> octets = DecodeHex(hex);
  std::copy_n(octets.begin(), std::min(octets.size(), sizeof address.octets), address.octets);
  return address;
}

constexpr struct { const char *hex; const char *text; } kAddressCases[] = {
    {"0000 0000 0000 0000 0000 0000 0000 0000", "::"},
    {"0000 0000 0000 0000 0000 0000 0000 0001", "::1"},
    {"2001 0db8 0000 0000 0000 0000 0002 0001", "2001:db8::2:1"},               // RFC 5952, 4.2.1
    {"2001 0db8 0000 0001 0001 0001 0001 0001", "2001:db8:0:1:1:1:1:1"},        // 4.2.2
    {"2001 0000 0000 0001 0000 0000 0000 0001", "2001:0:0:1::1"},               // 4.2.3: the longest
    {"2001 0db8 0000 0000 0001 0000 0000 0001", "2001:db8::1:0:0:1"},           // 4.2.3: the first
    {"2001 0DB8 0000 0000 0000 0000 ABCD 0001", "2001:db8::abcd:1"},            // 4.3
    {"0000 0000 0000 0000 0000 ffff c000 0201", "::ffff:192.0.2.1"},            // 5
    {"ffff ffff ffff ffff ffff ffff ffff ffff", "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff"},
};

TEST(Address, PrintsTheOneRecommendedText) {
  for (const auto &c : kAddressCases) {
    char text[kAddr6TextLen];
    EXPECT_STREQ(c.text, praddr6(Address(c.hex), text, sizeof text));
    EXPECT_EQ(nullptr, praddr6(Address(c.hex), text, sizeof text - 1));
  }
}

TEST(Address, ComparesAllSixteenOctets) {
  const in6_addr_kxt address = Address("000102030405060708090a0b0c0d0e0f");
  EXPECT_EQ(1, kx_addr6_eq(address, address));
  for (int i = 0; i < 16; ++i) {
    in6_addr_kxt other = address;
    other.octets[i] ^= 0x80;
    EXPECT_EQ(0, kx_addr6_eq(address, other));
  }
}

}  // namespace
