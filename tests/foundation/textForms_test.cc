// Forms of text: addresses, Base64, hexadecimal, and the stream that texts are written to.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>

#include "kxcert/foundation/address.h"
#include "kxcert/foundation/base64.h"
#include "kxcert/foundation/hexText.h"
#include "kxcert/foundation/textStream.h"
#include "support/caseFile.h"

namespace {

in6_addr_kxt Address(const std::string &octets) {
  in6_addr_kxt address;
  EXPECT_EQ(sizeof address.octets, CaseText(octets).copy(reinterpret_cast<char *>(address.octets), sizeof address.octets));
  return address;
}

TEST(Address, PrintsTheOneRecommendedText) {
  for (const CaseRow &row : CaseRows("foundation/addresses.txt", 2)) {
    SCOPED_TRACE(row.where);
    char text[kAddr6TextLen];
    EXPECT_EQ(row[1], praddr6(Address(row[0]), text, sizeof text));
    EXPECT_EQ(nullptr, praddr6(Address(row[0]), text, sizeof text - 1));
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

using Base64Buffer = std::unique_ptr<void, decltype(&Base64FreeBuffer)>;

std::string Base64Of(const std::string &octets) {
  const auto *data = reinterpret_cast<const unsigned char *>(octets.data());
  const Base64Buffer text(Base64Encode(data, static_cast<int>(octets.size())), Base64FreeBuffer);
  return text != nullptr ? static_cast<char *>(text.get()) : "-";
}

std::string FromBase64(const std::string &text) {   // "-" when it is refused
  int len = -7;
  const Base64Buffer octets(Base64Decode(text.data(), static_cast<int>(text.size()), &len), Base64FreeBuffer);
  EXPECT_TRUE(octets != nullptr || len == 0);
  return octets != nullptr ? std::string(static_cast<char *>(octets.get()), static_cast<size_t>(len)) : "-";
}

TEST(Base64, WritesAndReadsLines) {
  for (const CaseRow &row : CaseRows("foundation/base64.txt", 2)) {
    EXPECT_EQ(CaseText(row[1]), Base64Of(CaseText(row[0]))) << row.where;
    EXPECT_EQ(CaseText(row[0]), FromBase64(CaseText(row[1]))) << row.where;
  }
}

TEST(Base64, DecodesStrictly) {
  for (const CaseRow &row : CaseRows("foundation/base64Strict.txt", 3)) {
    EXPECT_EQ(row[2] == "-" ? "-" : CaseText(row[2]), FromBase64(CaseText(row[1]))) << row.where << " " << row[0];
  }
  int len = 0;
  EXPECT_EQ(nullptr, Base64Encode(nullptr, 1));
  EXPECT_EQ(nullptr, Base64Encode(reinterpret_cast<const unsigned char *>("a"), -1));
  EXPECT_EQ(nullptr, Base64Decode("Zm9v", -1, &len));
  EXPECT_EQ(nullptr, Base64Decode("Zm9v", 4, nullptr));
}

TEST(HexText, WritesLowerCaseAndReadsEither) {
  const unsigned char octets[] = {0x00, 0x9a, 0xBC, 0xff};
  char text[9];
  ASSERT_EQ(0, bytes_to_string(octets, 4, text, 9));
  EXPECT_STREQ("009abcff", text);
  unsigned char read[4];
  ASSERT_EQ(0, string_to_bytes("009AbCfF", 8, read, 4));
  EXPECT_EQ(0, std::memcmp(octets, read, 4));
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
    EXPECT_TRUE(read[0] == 7 && read[1] == 7);
  }
  char text[5] = "keep";
  const unsigned char octets[2] = {};
  EXPECT_EQ(-1, bytes_to_string(octets, 2, text, 4));
  EXPECT_EQ(-1, bytes_to_string(octets, -1, text, 5));
  EXPECT_EQ(-1, bytes_to_string(octets, INT_MAX, text, 5));   // twice that is no int
  EXPECT_EQ(-1, bytes_to_string(nullptr, 1, text, 5));
  EXPECT_STREQ("keep", text);
}

TEST(SxStream, AppendsTextOfAnyLength) {
  SxStream out;
  out.Indent(2);
  out.Indent(-1);
  out.Puts("a");
  out.Puts(nullptr);
  out.Put({"bcd", 2});
  std::string expected = "\t\tabc";
  for (const size_t len : {511U, 512U, 3000U}) {   // about the fixed area that most texts fit
    const std::string text(len, 'y');
    out.Printf("%s|", text.c_str());
    expected += text + "|";
    EXPECT_EQ(expected, out.Text());
  }
  EXPECT_EQ(static_cast<int>(expected.size()), out.Length());
}

}  // namespace
