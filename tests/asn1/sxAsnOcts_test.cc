#include "kxcert/asn1/sxAsnOcts.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <utility>

#include "kxcert/asn1/sxAsnPrint.h"
#include "support/asnClasses.h"
#include "support/asnHex.h"
#include "support/caseFile.h"
#include "support/hexOctets.h"
#include "support/logCapture.h"

namespace {

// The nesting of constructed strings: 64 levels decode, 65 do not.
TEST(sxAsnOcts, NestsToTheLimit) {
  for (const auto &[name, innermost] : {std::pair("sxAsnOcts", "040141"), std::pair("sxAsnBits", "03020041")}) {
    Octets octets = CaseOctets(innermost);
    for (int levels = 1; levels <= kMaxNesting + 1; ++levels) {
      octets = Der(innermost[1] - '0' + 0x20, octets);
      const std::unique_ptr<sxAsnType> value(AsnClass(name).create());
      EXPECT_EQ(levels <= kMaxNesting ? 0 : -1, DecodeOctets(octets, *value)) << name << " " << levels;
    }
  }
}

TEST(sxAsnOcts, StringClassesDifferInNameAndTagOnly) {
  for (const CaseRow &row : CaseRows("asn1/stringClasses.txt", 2)) {
    SCOPED_TRACE(testing::PrintToString(row));
    const std::unique_ptr<sxAsnType> value(AsnClass(row[0]).create());
    EXPECT_EQ(row[0], value->TypeName());
    EXPECT_EQ(value.get(), value->GetType(row[0].c_str()));
    EXPECT_EQ(value.get(), value->GetType("sxAsnOcts"));
    EXPECT_EQ(nullptr, value->GetType("sxAsnBits"));
    const int tag = std::stoi(row[1], nullptr, 16);
    const std::string expected = EncodeHex(Der(tag, {0x00, 0xFF}));
    EXPECT_EQ(expected, Reencode(expected.c_str(), *value));
    EXPECT_EQ(expected, Reencode(EncodeHex(Der(tag | 32, CaseOctets("0402 00ff"))).c_str(), *value));
    const std::unique_ptr<sxAsnType> copy(value->Dup());
    EXPECT_EQ(expected, EncodeHex(*copy));
    EXPECT_EQ(row[0], copy->TypeName());
  }
}

TEST(sxAsnOcts, WholeElementCountsAndReturnsOddly) {
  const std::vector<unsigned char> octets = DecodeHex("0401410c01410400");
  sxAsnReadBuf buf;
  buf.Init(octets.data(), 8);
  int count = 0;
  sxAsnOcts string;
  sxAsnUTF8String text;
  EXPECT_EQ(1, string.BDec(buf, count));
  EXPECT_EQ(0, text.BDec(buf, count));   // 0 for a string type
  EXPECT_TRUE(string.OctsEquiv(text));
  count = 0;
  EXPECT_EQ(1, string.BDec(buf, count));
  EXPECT_EQ(1, count) << "a length of 0 is not counted";
  EXPECT_EQ(8, buf.GetOffset());
  EXPECT_EQ(0, string.Len());
}

TEST(sxAsnOcts, CopiesItsOwnOctets) {
  sxAsnOcts string;
  sxAsnUTF8String text;
  text.ReSet("long enough to leave the object itself");
  EXPECT_FALSE(string.OctsEquiv(text));
  string.Set(text);
  EXPECT_TRUE(string.OctsEquiv(text));
  string.Set(string.Data() + 5, 6);
  EXPECT_EQ("0406656e6f756768", EncodeHex(string));
  string.Set(static_cast<const char *>(nullptr));
  EXPECT_EQ(0, string.Len());
}

TEST(sxAsnOcts, PrintsToTheLogAsWell) {
  sxAsnOcts value;
  const LogCapture log;
  value.Set("AB");
  value.Herror(1);
  const unsigned char octets[] = {0x41, 0x42};
  HexPrint(nullptr, octets, 2, 0, 1);
  PrintStr(nullptr, octets, 2, 2, 1);
  EXPECT_EQ((std::vector<std::string>{"Octet String", "  41 42 ", "  AB", "41 42 ", "    AB"}), log.Lines());
}

TEST(Print, LimitsIndentAndHexOctets) {
  char spaces[40];
  StrIndent(3, spaces, sizeof spaces);
  EXPECT_STREQ("      ", spaces);
  StrIndent(100, spaces, sizeof spaces);
  EXPECT_EQ(38U, std::string(spaces).size());
  StrIndent(-1, spaces, sizeof spaces);
  EXPECT_STREQ("", spaces);

  // 1600 octets are 80 rows of hexadecimal; the characters are all shown, in 81
  sxAsnOcts value(std::vector<unsigned char>(1601, 'x').data(), 1601);
  const std::string text = Printed(value);
  EXPECT_EQ(1 + 80 + 81, std::count(text.begin(), text.end(), '\n'));
  char shown[4];
  ToStr(reinterpret_cast<const unsigned char *>("\x1f~\xff"), shown, 3);
  EXPECT_STREQ(".~.", shown);
}

}  // namespace
