#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/modules/PKIX1Implicit88.h"
#include "support/asnHex.h"
#include "support/hexOctets.h"
#include "support/logCapture.h"

namespace {

constexpr char kUtcTime[] = "170d3236303130313030303030305a";
constexpr char kGeneralTime[] = "180f32303530303130313030303030305a";

TEST(sxAsnChoice, TagSelectsTheAlternative) {
  sxASN_Time time;
  ASSERT_EQ(0, DecodeHex(kUtcTime, time));
  EXPECT_EQ(sxASN_Time::utcTimeCid, time.ChoiceId());
  EXPECT_EQ(kUtcTime, EncodeHex(time));
  ASSERT_EQ(0, DecodeHex(kGeneralTime, time));
  EXPECT_EQ(sxASN_Time::generalTimeCid, time.ChoiceId());
  EXPECT_EQ(nullptr, time.utcTime());
  ASSERT_NE(nullptr, time.generalTime());
  EXPECT_EQ(15, time.generalTime()->Len());
  EXPECT_EQ(kGeneralTime, EncodeHex(time));
  // the constructed form of a string is another spelling of the same alternative
  ASSERT_EQ(0, DecodeHex("37 80 04 01 41 04 01 42 00 00", time));
  EXPECT_EQ("17024142", EncodeHex(time));
  const LogCapture log;
  EXPECT_EQ(-1, DecodeHex("02 01 05", time));
  EXPECT_TRUE(log.Has("sxASN_Time::BDecContent ERROR - unexpected tag in CHOICE offset = 2"));
  EXPECT_EQ("-", EncodeHex(time)) << "an empty CHOICE has no encoding";
}

// sxASN_Time reports success as 0, every other class as 1.
TEST(sxAsnChoice, ContentResultOfTimeIsZero) {
  const std::vector<unsigned char> octets = DecodeHex("41");
  sxAsnReadBuf buf;
  int count = 0;
  sxASN_Time time;
  buf.Init(octets.data(), 1);
  EXPECT_EQ(0, time.BDecContent(buf, 23, 1, count));
  sxASN_DirectoryString text;
  buf.Init(octets.data(), 1);
  EXPECT_EQ(1, text.BDecContent(buf, 19, 1, count));
}

TEST(sxAsnChoice, SetStoresACopy) {
  sxASN_Time time;
  sxAsnUTCTime value(reinterpret_cast<const unsigned char *>("A"));
  time.Set_utcTime(value);
  value.Set("B");
  EXPECT_EQ("170141", EncodeHex(time));
  time.Set_utcTime(*time.utcTime());   // its own value
  EXPECT_EQ("170141", EncodeHex(time));
  EXPECT_EQ(&time, time.GetType("sxASN_Time"));
  EXPECT_EQ(time.Value(), time.GetType("sxAsnOcts"));
  EXPECT_EQ(nullptr, time.GetType("sxAsnInt"));
  time.Clean();
  EXPECT_EQ(nullptr, time.Value());
}

// A Name is a CHOICE itself, so that the tag of directoryName is explicit in a module of implicit tags.
TEST(sxAsnChoice, DirectoryNameHasAnExplicitTag) {
  constexpr char kName[] = "a4 0e 30 0c 31 0a 30 08 06 03 55 04 03 0c 01 41";
  sxASN_GeneralName name;
  ASSERT_EQ(0, DecodeHex(kName, name));
  ASSERT_NE(nullptr, name.directoryName());
  EXPECT_EQ(1, name.directoryName()->Count());
  EXPECT_EQ(EncodeHex(DecodeHex(kName)), EncodeHex(name));
  ASSERT_EQ(0, DecodeHex("a4 80 30 80 00 00 00 00", name)) << "indefinite lengths";
  EXPECT_EQ("a4023000", EncodeHex(name));

  const LogCapture log;
  for (const auto &[hex, said] : {std::pair("a4 02 31 00", " Unexpected Tag offset = 3"),
                                  std::pair("a4 80 30 00 00 01", ": attempt to decoded Eoc failed"),
                                  std::pair("a4 03 30 00 00", " ERROR - Length discrepancy on choice. offset = 4")}) {
    EXPECT_EQ(-1, DecodeHex(hex, name));
    EXPECT_TRUE(log.Has(std::string("sxASN_GeneralName::BDecContent") + said)) << said;
  }
}

constexpr struct { const char *what; const char *hex; int choiceId; } kFallBackCases[] = {
    {"a list of extensions", "300b3009060355040f04020500", sxASN_AttributeValue::extensionsCid},
    {"another SEQUENCE", "3003020105", sxASN_AttributeValue::otherCid},
    {"another SEQUENCE, indefinite", "30803080020105000000 00", sxASN_AttributeValue::otherCid},
    {"a type without an alternative", "020105", sxASN_AttributeValue::otherCid},
    {"a private tag of four octets", "dfffff7f00", sxASN_AttributeValue::otherCid},
};

TEST(sxAsnChoice, FallsBackToTheRawElement) {
  for (const auto &c : kFallBackCases) {
    SCOPED_TRACE(c.what);
    sxASN_AttributeValue value;
    const std::string expected = EncodeHex(DecodeHex(c.hex));
    EXPECT_EQ(expected, Reencode(c.hex, value));
    EXPECT_EQ(c.choiceId, value.ChoiceId());
    // and behind another element of a list, where the octets do not start the buffer
    sxASN_AttributeSetOf list;
    const std::string two = "0c0141" + expected;
    const unsigned char header[] = {0x31, static_cast<unsigned char>(two.size() / 2)};
    const std::string set = EncodeHex(header, sizeof header) + two;
    ASSERT_EQ(0, DecodeHex(set.c_str(), list));
    EXPECT_EQ(set, EncodeHex(list, 0));
  }
}

// Reading identifier and length is the caller's part then; a raw alternative wants them all the same.
TEST(sxAsnChoice, KeepsTheWholeElementWhenOnlyTheContentIsAskedFor) {
  const std::vector<unsigned char> octets = DecodeHex("0c 01 41 02 01 05");
  sxAsnReadBuf buf;
  buf.Init(octets.data(), static_cast<int>(octets.size()));
  int count = 0;
  buf.Skip(3);
  const int tag = BDecTag(buf, count);
  const int len = BDecLen(buf, count);
  sxASN_AttributeValue value;
  ASSERT_EQ(1, value.BDecContent(buf, static_cast<unsigned>(tag), len, count));
  EXPECT_EQ(3, count);
  EXPECT_EQ("020105", EncodeHex(value));
}

// What does not decode is tried within its own octets: otherwise each of many short elements could
// have all that follows copied before it is kept raw.
TEST(sxAsnChoice, TriesWithinTheElement) {
  constexpr char kPastTheEnd[] = "310c" "30083007" "06022a030401" "4100";
  constexpr char kClaimsTheRest[] = "3114" "30093007" "06012a04820009" "0c07" "41424344454647";
  for (const char *hex : {kPastTheEnd, kClaimsTheRest}) {
    SCOPED_TRACE(hex);
    const LogCapture log;
    sxASN_AttributeSetOf set;
    ASSERT_EQ(0, DecodeHex(hex, set));
    EXPECT_EQ(hex, EncodeHex(set, 0));
    EXPECT_EQ(sxASN_AttributeValue::otherCid, (*set.begin()).ChoiceId());
    EXPECT_TRUE(log.Has("BDecLen: length exceeds buffer"));
  }
}

TEST(sxAsnChoice, PrintsTheAlternative) {
  sxASN_Time time;
  EXPECT_EQ("    utcTime  -- void --\n", Printed(time, 1));
  time.Set_generalTime(sxAsnGeneralizedTime(reinterpret_cast<const unsigned char *>("20")));
  EXPECT_EQ("    generalTime   Octet String\n  32 30 \n  20\n", Printed(time, 1));
}

}  // namespace
