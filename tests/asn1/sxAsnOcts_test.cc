#include "kxcert/asn1/sxAsnOcts.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <utility>

#include "kxcert/asn1/sxAsnBits.h"
#include "kxcert/asn1/sxAsnPrint.h"
#include "support/asnHex.h"
#include "support/hexOctets.h"
#include "support/logCapture.h"

namespace {

// log may be null.
constexpr struct { const char *what; const char *hex; const char *again; const char *log; } kOctsCases[] = {
    {"primitive", "04024142", "04024142", nullptr},
    {"longer length than needed", "0481024142", "04024142", nullptr},
    {"length 0 in two octets", "048100", "0400", nullptr},
    {"constructed", "2406 040141 040142", "04024142", nullptr},
    {"constructed in constructed", "2408 2406 040141 040142", "04024142", nullptr},
    {"indefinite", "2480 040141 040142 0000", "04024142", nullptr},
    {"indefinite without segments", "2480 0000", "0400", nullptr},
    {"indefinite in definite", "2408 2480 040141 0000 00", "-", nullptr},
    {"length 0 counts one octet short", "0400", "-", "sxASN_DecodeBuf not all the buffer was decoded"},
    {"cut short", "040241", "-", "BDecLen: length exceeds buffer"},
    {"indefinite, primitive", "0480 410000", "-",
     "sxAsnOcts::BDecContent indefinite length is not permitted for non-constructed octet"},
    {"indefinite in indefinite", "2480 2480 040141 0000 0000", "-",
     "sxAsnOcts::BDEcConsOcts failed to get the length of octet for indefinite length"},
    {"no end of contents", "2480 040141", "-",
     "sxAsnOcts::BDEcConsOcts failed to get the length of octet for indefinite length"},
    {"a segment longer than the whole", "2403 040441 424344", "-",
     "sxAsnOcts::BDecConsOcts included string length (4) is too big"},
    {"a segment past the end of contents", "2480 2403 040341 0000", "-",
     "sxAsnOcts:BDecConsOcts attempt to decoded Eoc of indefifnite octet failed"},
    {"a segment of another type", "2403 0c0141", "-", "sxAsnOcts::BDec wrong tag before offset = 3"},
    {"another type", "0c0141", "-", "sxAsnOcts::BDec wrong tag before offset = 1"},
};

TEST(sxAsnOcts, DecodesBothForms) {
  for (const auto &c : kOctsCases) {
    SCOPED_TRACE(c.what);
    const LogCapture log;
    sxAsnOcts value(reinterpret_cast<const unsigned char *>("longer than what stays within the object"));
    EXPECT_EQ(c.again, Reencode(c.hex, value));
    EXPECT_TRUE(c.log == nullptr || log.Has(c.log));
  }
}

// The nesting of constructed strings: 64 levels decode, 65 do not.
TEST(sxAsnOcts, NestsToTheLimit) {
  for (const auto &[levels, rc] : {std::pair(kMaxNesting, 0), std::pair(kMaxNesting + 1, -1)}) {
    for (const bool bits : {false, true}) {
      std::vector<unsigned char> octets = DecodeHex(bits ? "03020041" : "040141");
      for (int i = 0; i < levels; ++i) {
        const size_t len = octets.size();
        octets.insert(octets.begin(), {0x82, static_cast<unsigned char>(len >> 8), static_cast<unsigned char>(len)});
        octets.insert(octets.begin(), bits ? 0x23 : 0x24);
      }
      sxAsnOcts string;
      sxAsnBits bitString;
      EXPECT_EQ(rc, DecodeOctets(octets, bits ? static_cast<sxAsnType &>(bitString) : string)) << levels;
    }
  }
}

constexpr struct { const sxAsnTypeInfo *info; int tag; } kStringCases[] = {
    {&sxAsnObjectDescriptor::kInfo, 7}, {&sxAsnUTF8String::kInfo, 12}, {&sxAsnNumericString::kInfo, 18},
    {&sxAsnPrintableString::kInfo, 19}, {&sxAsnTeletexString::kInfo, 20}, {&sxAsnT61String::kInfo, 20},
    {&sxAsnVideotexString::kInfo, 21}, {&sxAsnIA5String::kInfo, 22}, {&sxAsnUTCTime::kInfo, 23},
    {&sxAsnGeneralizedTime::kInfo, 24}, {&sxAsnGraphicString::kInfo, 25}, {&sxAsnVisibleString::kInfo, 26},
    {&sxAsnISO646String::kInfo, 26}, {&sxAsnGeneralString::kInfo, 27}, {&sxAsnUniversalString::kInfo, 28},
    {&sxAsnBMPString::kInfo, 30},
};

TEST(sxAsnOcts, StringClassesDifferInNameAndTagOnly) {
  for (const auto &c : kStringCases) {
    const std::string name = c.info->name;
    SCOPED_TRACE(name);
    const std::unique_ptr<sxAsnType> value(c.info->create());
    EXPECT_EQ(name, value->TypeName());
    EXPECT_EQ(value.get(), value->GetType(name.c_str()));
    EXPECT_EQ(value.get(), value->GetType("sxAsnOcts"));
    EXPECT_EQ(nullptr, value->GetType("sxAsnBits"));
    const unsigned char primitive[] = {static_cast<unsigned char>(c.tag), 2, 0x00, 0xFF};
    const unsigned char constructed[] = {static_cast<unsigned char>(c.tag | 32), 4, 4, 2, 0x00, 0xFF};
    const std::string expected = EncodeHex(primitive, sizeof primitive);
    EXPECT_EQ(expected, Reencode(expected.c_str(), *value));
    EXPECT_EQ(expected, Reencode(EncodeHex(constructed, sizeof constructed).c_str(), *value));
    const std::unique_ptr<sxAsnType> copy(value->Dup());
    EXPECT_EQ(expected, EncodeHex(*copy));
    EXPECT_EQ(name, copy->TypeName());
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

TEST(sxAsnOcts, Prints) {
  sxAsnOcts value;
  EXPECT_EQ("sxAsnOcts::Print no octet to print, buffer empty", Printed(value));
  value.Set("a line of 20 letters\x7f\x80");
  EXPECT_EQ("Octet String\n"
            "  61 20 6c 69 6e 65 20 6f 66 20 32 30 20 6c 65 74 74 65 72 73 \n"
            "  7f 80 \n"
            "  a line of 20 letters\n"
            "  ..\n", Printed(value, 1));

  const LogCapture log;   // Herror writes the same lines there
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
