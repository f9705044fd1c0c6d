// INTEGER, ENUMERATED, BOOLEAN, NULL, OBJECT IDENTIFIER.
#include <gtest/gtest.h>

#include <climits>

#include "kxcert/asn1/oids.h"
#include "kxcert/asn1/sxAsnBool.h"
#include "kxcert/asn1/sxAsnInt.h"
#include "kxcert/asn1/sxAsnOid.h"
#include "support/asnHex.h"
#include "support/hexOctets.h"
#include "support/logCapture.h"

namespace {

// Without again it does not decode.
constexpr struct { const char *what; const char *hex; long value; const char *again; } kIntCases[] = {
    {"zero", "020100", 0, "020100"},
    {"largest of one octet", "02017f", 127, "02017f"},
    {"needs a sign octet", "02020080", 128, "02020080"},
    {"largest of two octets", "02027fff", 32767, "02027fff"},
    {"three octets", "0203008000", 32768, "0203008000"},
    {"largest of three octets", "02037fffff", 8388607, "02037fffff"},
    {"four octets", "020400800000", 8388608, "020400800000"},
    {"largest small value", "02047fffffff", INT_MAX, "02047fffffff"},
    {"minus one takes four octets", "0201ff", -1, "0204ffffffff"},
    {"least small value", "020480000000", INT_MIN, "020480000000"},
    {"redundant octets", "0203000001", 1, "020101"},
    {"big, which fits 32 bits", "02050000000005", 5, "020105"},
    {"big zero", "02050000000000", 0, "020100"},
    {"big with a sign octet", "0209 00ffffffffffffffff", -1, "020900ffffffffffffffff"},
    {"big negative becomes positive", "0205ff00000001", 1, "020600ff00000001"},
    {"no content", "0200", 0, nullptr},
    {"content cut short", "020200", 0, nullptr},
    {"an octet after it", "02010000", 0, nullptr},
    {"indefinite length", "0280010000", 0, nullptr},
    {"constructed", "220100", 0, nullptr},
    {"another type", "0a0100", 0, nullptr},
};

TEST(sxAsnInt, DecodesAndEncodes) {
  for (const auto &c : kIntCases) {
    SCOPED_TRACE(c.what);
    sxAsnInt value;
    EXPECT_EQ(c.again == nullptr ? "-" : c.again, Reencode(c.hex, value));
    if (c.again != nullptr) {
      EXPECT_EQ(c.value, value.GetShortVal());
      const sxAsnInt copy(value);
      EXPECT_TRUE(copy.intEquiv(value));
    }
  }
  const LogCapture log;
  sxAsnEnum value;
  EXPECT_EQ("0a0105", Reencode("0a0105", value));
  EXPECT_EQ("-", Reencode("020105", value));
  sxAsnInt number;
  EXPECT_EQ(-1, DecodeHex("0200", number));
  EXPECT_TRUE(log.Has("sxAsnInt::BDecContent: sxAsnInt must not be with INDEFINITE length (0). offset = 2"));
  EXPECT_TRUE(log.Has("BDecPdu failed to decoded"));
  EXPECT_EQ(-1, DecodeHex("02010000", number));
  EXPECT_TRUE(log.Has("sxASN_DecodeBuf not all the buffer was decoded"));
}

TEST(sxAsnInt, BigOctetsComeOutAsTheyWentIn) {
  const std::vector<unsigned char> octets = DecodeHex("01 02 03 04 05 06");
  sxAsnInt value(7);
  unsigned char out[6] = {};
  EXPECT_EQ(-1, value.GetBuf(out, 1)) << "a small value has none";
  value.Set(octets.data(), 6);
  EXPECT_EQ(0x03040506, value.GetShortVal());
  EXPECT_EQ(-1, value.GetBuf(out, 5));
  EXPECT_EQ(0, value.GetBuf(out, 6));
  EXPECT_EQ(octets, std::vector<unsigned char>(out, out + 6));
  EXPECT_EQ("long Int\n  01 02 03 04 05 06 \n", Printed(value, 1));
  value.Set(nullptr, 6);
  EXPECT_EQ("int = 0\n", Printed(value));
}

TEST(sxAsnInt, EqualNumbersAreEqualHoweverStored) {
  const unsigned char padded[] = {0, 0, 0, 0, 9}, larger[] = {1, 0, 0, 0, 9};
  sxAsnInt big;
  big.Set(padded, sizeof padded);
  EXPECT_TRUE(big.intEquiv(sxAsnInt(9)) && sxAsnInt(9).intEquiv(big));
  EXPECT_FALSE(big.intEquiv(sxAsnInt(10)));
  big.Set(larger, sizeof larger);
  EXPECT_FALSE(big.intEquiv(sxAsnInt(9))) << "the low 32 bits alone";

  // What is set is a magnitude, and equals what it is encoded to; what was decoded has a sign.
  const unsigned char high[] = {0x80, 0, 0, 0, 0, 1};
  sxAsnInt decoded, negative;
  big.Set(high, sizeof high);
  ASSERT_EQ(0, DecodeHex(EncodeHex(big).c_str(), decoded));
  ASSERT_EQ(0, DecodeHex("0206800000000001", negative));
  EXPECT_TRUE(big.intEquiv(decoded) && decoded.intEquiv(sxAsnInt(big)));
  EXPECT_FALSE(big.intEquiv(negative) || negative.intEquiv(decoded));
  big.Set(high, 1);
  EXPECT_TRUE(big.intEquiv(sxAsnInt(0x80)));
  EXPECT_FALSE(big.intEquiv(sxAsnInt(-0x80)));
}

TEST(sxAsnBool, AnyOctetButZeroIsTrue) {
  const LogCapture log;
  sxAsnBool value;
  EXPECT_EQ("0101ff", Reencode("010105", value));
  EXPECT_EQ("TRUE\n", Printed(value));
  EXPECT_EQ("010100", Reencode("010100", value));
  EXPECT_EQ("FALSE\n", Printed(value));
  for (const char *hex : {"0100", "01020101", "0101", "018001"}) EXPECT_EQ("-", Reencode(hex, value)) << hex;
  EXPECT_TRUE(log.Has("AsnBool::BDecContent:  boolean value too long."));
}

TEST(sxAsnNull, TakesAnyElementOfLengthZero) {
  const LogCapture log;
  sxAsnNull value;
  EXPECT_EQ("0500", Reencode("0500", value));
  EXPECT_TRUE(log.Lines().empty());
  EXPECT_EQ("0500", Reencode("0400", value));
  EXPECT_TRUE(log.Has("sxAsnNull::Bdec wrong tag before offset = 1"));
  EXPECT_EQ("-", Reencode("050100", value));
  EXPECT_TRUE(log.Has("sxAsnNull::BDec failed to decoded length before  offset = 2"));
  EXPECT_EQ("NULL\n", Printed(value));
}

constexpr struct { const char *what; const char *hex; int bufLen; int rc; const char *text; } kOidCases[] = {
    {"fits", "06062a864886f70d", 20, 0, "1.2.840.113549"},
    {"too long", "06092a864886f70d010101", 20, -1, "1.2.840.113549.1?"},
    {"one more would fit", "06092a864886f70d010101", 21, -1, "1.2.840.113549.1.1?"},
    {"just fits", "06092a864886f70d010101", 23, 0, "1.2.840.113549.1.1.1"},
    {"first arc ends at 2", "0603883703", 20, 0, "2.999.3"},
    {"arc 0 and 39", "060127", 20, 0, "0.39"},
    {"a zero arc", "06025500", 20, 0, "2.5.0"},
    {"largest arc of 32 bits", "060655 8fffffff7f", 20, 0, "2.5.4294967295"},
    {"last arc without end", "06035581 81", 20, 0, "2.5"},
    {"area below the shortest", "06012a", 19, -1, "untouched"},
};

TEST(sxAsnOid, PrintsDottedText) {
  for (const auto &c : kOidCases) {
    SCOPED_TRACE(c.what);
    const LogCapture log;
    sxAsnOid oid;
    ASSERT_EQ(EncodeHex(DecodeHex(c.hex)), Reencode(c.hex, oid));
    char text[32] = "untouched";
    EXPECT_EQ(c.rc, oid.GetStr(text, c.bufLen));
    EXPECT_STREQ(c.text, text);
    EXPECT_EQ(c.rc < 0, log.Has("sxAsnOid::GetStr the buffer is too short buflen = " + std::to_string(c.bufLen)));
    EXPECT_EQ(-1, oid.GetStr(nullptr, 100));
  }
}

TEST(sxAsnOid, RefusesEmptyContentAndPrintsWithinItsLine) {
  const LogCapture log;
  sxAsnOid oid;
  EXPECT_EQ(-1, DecodeHex("0600", oid));
  EXPECT_TRUE(log.Has("sxAsnOid::BDecContent: sxAsnOid must not be with INDEFINITE length (0). offset = 2"));
  EXPECT_EQ("()\n", Printed(oid));
  oid.Set(2, 5, 29, 15);
  EXPECT_EQ("(2.5.29.15)\n", Printed(oid, 3));
  const std::vector<unsigned char> arcs(100, 1);
  oid.Set(arcs.data(), 100);
  EXPECT_EQ("sxAsnOid::Print can't print, buffer to short", Printed(oid));
}

TEST(sxAsnOid, SetEncodesArcs) {
  sxAsnOid oid;
  oid.Set(1, 2, 840, 113549, 0, 127, 128, INT_MAX);
  EXPECT_EQ("060f2a864886f70d007f810087ffffff7f", EncodeHex(oid));
  testing::internal::CaptureStdout();
  oid.Set(1, 3, 6, 1, 4, 1, 9, 21, 1, 2);
  EXPECT_EQ("", testing::internal::GetCapturedStdout());
  testing::internal::CaptureStdout();
  oid.ReSet(1, 3, 6, 1, 4, 1, 9, 21, 1, 2, 3);
  EXPECT_EQ("\n", testing::internal::GetCapturedStdout());
  EXPECT_EQ("060a2b060104010915010203", EncodeHex(oid));
  oid.Set(static_cast<const unsigned char *>(nullptr), 3);
  EXPECT_EQ(0, oid.Len());

  EXPECT_TRUE(sxAsnOid({2, 5, 4, 3}) == sxASN_id_at_commonName);
  EXPECT_FALSE(sxAsnOid({2, 5, 4, 3}).OidEquiv(sxASN_id_at_countryName));
}

}  // namespace
