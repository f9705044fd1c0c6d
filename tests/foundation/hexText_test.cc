#include "kxcert/foundation/hexText.h"

#include <gtest/gtest.h>

#include <climits>

#include "support/hexOctets.h"

namespace {

TEST(HexText, WritesLowerCaseAndReadsEither) {
  const unsigned char octets[] = {0x00, 0x9a, 0xBC, 0xff};
  char text[9];
  ASSERT_EQ(0, bytes_to_string(octets, 4, text, 9));
  EXPECT_STREQ("009abcff", text);
  unsigned char read[4];
  ASSERT_EQ(0, string_to_bytes("009AbCfF", 8, read, 4));
  EXPECT_EQ("009abcff", EncodeHex(read, 4));
  ASSERT_EQ(0, bytes_to_string(octets, 0, text, 1));
  EXPECT_STREQ("", text);
}

TEST(HexText, RefusesAndLeavesTheResultAlone) {
  constexpr struct { const char *text; int textLen; int dataLen; } kCases[] = {
      {"0102", 3, 2}, {"0102", 4, 1}, {"01 2", 4, 2}, {"010g", 4, 2}, {"01/2", 4, 2},
      {"01:2", 4, 2}, {"01@2", 4, 2}, {"01`2", 4, 2}, {"01", -2, -1}, {nullptr, 2, 1}};
  for (const auto &c : kCases) {
    unsigned char read[2] = {7, 7};
    EXPECT_EQ(-1, string_to_bytes(c.text, c.textLen, read, c.dataLen)) << c.text;
    EXPECT_EQ("0707", EncodeHex(read, 2));
  }
  char text[5] = "keep";
  const unsigned char octets[2] = {};
  EXPECT_EQ(-1, bytes_to_string(octets, 2, text, 4));
  EXPECT_EQ(-1, bytes_to_string(octets, -1, text, 5));
  EXPECT_EQ(-1, bytes_to_string(octets, INT_MAX, text, 5));   // twice that is no int
  EXPECT_EQ(-1, bytes_to_string(nullptr, 1, text, 5));
  EXPECT_STREQ("keep", text);
}

}  // namespace
