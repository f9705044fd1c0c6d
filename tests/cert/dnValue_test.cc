// Values of attributes: how each string type prints, and which are equal.
#include <gtest/gtest.h>

#include "kxcert/cert/sxDN.h"
#include "support/derOctets.h"
#include "support/hexOctets.h"
#include "support/logCapture.h"

namespace {

sxDN NameWith(int tag, const Octets &value) {
  const Octets der = NameOf({Ava(kCN, tag, value)});
  return sxDN(der.data(), LenOf(der));
}
sxDN NameWith(int tag, const char *hex) { return NameWith(tag, DecodeHex(hex)); }

std::string OrNull(const char *text) { return text == nullptr ? "(null)" : text; }

// text is GetStr's and ascii GetStr_ascii's; null is the same.
struct PrintCase { const char *what; int tag; const char *hex; const char *text; const char *ascii; };
constexpr PrintCase kPrintCases[] = {
    {"PrintableString", 0x13, "61", "CN=a", nullptr},
    {"TeletexString", 0x14, "E4", "CN=\xE4", "CN=#e4"},
    {"UTF8String", 0x0C, "C3A4", "CN=\xC3\xA4", "CN=#c3a4"},
    {"IA5String", 0x16, "7E7F", "CN=~\x7F", nullptr},
    {"a control character", 0x0C, "611F", "CN=a\x1F", "CN=#611f"},
    {"eight characters are escaped", 0x0C, "2C2B3D0A3C3E233B", "CN=\\,\\+\\=\\\n\\<\\>\\#\\;", "CN=#2c2b3d0a3c3e233b"},
    {"backslash, quote and spaces at the ends are not", 0x0C, "205C22612020", "CN= \\\"a  ", nullptr},
    {"an empty value", 0x0C, "", "CN=", nullptr},
    {"a NUL would end the text", 0x0C, "61002E62", "CN=#61002e62", nullptr},
    {"as a unit, too", 0x1E, "00610000", "CN=#6100", nullptr},
    {"BMPString of one, two and three octets", 0x1E, "006100E420AC", "CN=a\xC3\xA4\xE2\x82\xAC", "CN=#61c3a4e282ac"},
    {"its limits", 0x1E, "007F008007FF0800", "CN=\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80", "CN=#7fc280dfbfe0a080"},
    {"surrogates are units", 0x1E, "D83DDE00", "CN=\xED\xA0\xBD\xED\xB8\x80", "CN=#eda0bdedb880"},
    {"BMPString of odd length", 0x1E, "0061AB", "CN=#0061ab", nullptr},
    {"UniversalString", 0x1C, "00000061", "CN=#00000061", nullptr},
    {"BIT STRING", 0x03, "04A5F0", "CN=#a5f0", nullptr},
    {"an empty one", 0x03, "00", "CN=#", nullptr},
    {"OCTET STRING", 0x04, "61", "(null)", nullptr},
    {"extensions", 0x30, "", "(null)", nullptr},
    {"OBJECT IDENTIFIER", 0x06, "55", "(null)", nullptr},
    {"any other type", 0x02, "01", "(null)", nullptr},
};

TEST(DnValue, PrintsEveryStringType) {
  for (const PrintCase &c : kPrintCases) {
    SCOPED_TRACE(c.what);
    const sxDN dn = NameWith(c.tag, c.hex);
    EXPECT_EQ(1, dn.Count());
    EXPECT_EQ(c.text, OrNull(dn.GetStr()));
    EXPECT_EQ(c.ascii == nullptr ? c.text : c.ascii, OrNull(dn.GetStr_ascii()));
    char cn[32];
    EXPECT_EQ(OrNull(dn.GetStr()), dn.GetCN(cn, sizeof cn) == 0 ? std::string("CN=") + cn : "(null)");
  }
}

TEST(DnValue, LogsWhatIsOdd) {
  LogCapture log;
  NameWith(0x1E, "616263").GetStr();
  EXPECT_TRUE(log.Has("sxBMPString2UTF8 odd length 3"));
  NameWith(0x03, "00A5").GetStr();
  EXPECT_TRUE(log.Has("sxAvaStr: choice type bitStringCid: 7"));
  NameWith(0x04, "61").GetStr();
  EXPECT_TRUE(log.Has("sxAvaStr: unknown choice type 6"));
  NameWith(0x06, "55").GetStr();
  EXPECT_TRUE(log.Has("sxAvaStr: unknown choice type 9"));
}

// One value without text takes the whole name's text away, wherever it stands.
TEST(DnValue, AValueWithoutTextLeavesNoTextAndNoEqual) {
  const Octets der = NameOf({Ava(kO, kPrintable, Text("o")), Ava(kC, 0x04, Text("x")), Ava(kCN, kUtf8, Text("a"))});
  const sxDN dn(der.data(), LenOf(der));
  EXPECT_EQ(3, dn.Count());
  EXPECT_EQ(nullptr, dn.GetStr());
  EXPECT_FALSE(dn.Equal(dn));
  char cn[8];
  EXPECT_EQ(0, dn.GetCN(cn, sizeof cn));
  EXPECT_STREQ("a", cn);
  EXPECT_TRUE(dn.IsSub(sxDN("O=o")));
}

struct EqualCase { const char *what; int tagA; const char *hexA; int tagB; const char *hexB; bool equal; };
constexpr EqualCase kEqualCases[] = {
    {"the same", 0x13, "6162", 0x13, "6162", true},
    {"another string type", 0x13, "6162", 0x0C, "6162", true},
    {"all four text types", 0x14, "6162", 0x16, "6162", true},
    {"BMPString by its characters", 0x1E, "00610062", 0x0C, "6162", true},
    {"case", 0x0C, "615A", 0x0C, "417A", true},
    {"case of ASCII only", 0x14, "C4", 0x14, "E4", false},
    {"neighbours of the letters", 0x0C, "40", 0x0C, "60", false},
    {"spaces at the ends", 0x0C, "20206120", 0x0C, "61", true},
    {"runs of spaces", 0x0C, "6120202062", 0x0C, "612062", true},
    {"a space needs a space", 0x0C, "612062", 0x0C, "6162", false},
    {"no other blank counts", 0x0C, "610962", 0x0C, "612062", false},
    {"a prefix", 0x0C, "61", 0x0C, "6162", false},
    {"what follows a NUL counts", 0x0C, "610062", 0x0C, "610063", false},
    {"nothing but spaces is empty", 0x0C, "2020", 0x0C, "", true},
    {"raw octets of one type", 0x1C, "00000041", 0x1C, "00000061", true},
    {"raw octets keep their spaces", 0x1C, "20202061", 0x1C, "61202020", false},
    {"raw octets of two types", 0x1C, "6162", 0x03, "006162", false},
    {"raw and text", 0x1C, "6162", 0x0C, "6162", false},
    {"odd BMPStrings are raw", 0x1E, "414243", 0x1E, "616263", true},
    {"values without text", 0x04, "61", 0x04, "61", false},
};

TEST(DnValue, ComparesByMeaning) {
  for (const EqualCase &c : kEqualCases) {
    SCOPED_TRACE(c.what);
    const sxDN a = NameWith(c.tagA, c.hexA), b = NameWith(c.tagB, c.hexB);
    EXPECT_EQ(c.equal, a.Equal(b));
    EXPECT_EQ(c.equal, b == a);
    EXPECT_EQ(!c.equal, a != b);
    EXPECT_EQ(c.equal, a.Hash() == b.Hash() && a.IsSub(b));
  }
}

}  // namespace
