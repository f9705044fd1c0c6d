#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/modules/PKIX1Implicit88.h"
#include "support/asnHex.h"
#include "support/caseFile.h"

namespace {

TEST(sxAsnChoice, GivesTheChosenAlternativeOnly) {
  sxASN_Time time;
  ASSERT_EQ(0, DecodeOctets(CaseOctets("18{\"20500101000000Z\"}"), time));
  EXPECT_EQ(nullptr, time.utcTime());
  ASSERT_NE(nullptr, time.generalTime());
  EXPECT_EQ(15, time.generalTime()->Len());
  EXPECT_EQ(-1, DecodeHex("02 01 05", time));
  EXPECT_EQ("-", EncodeHex(time)) << "an empty CHOICE has no encoding";
  sxASN_GeneralName name;
  ASSERT_EQ(0, DecodeHex("a4 0e 30 0c 31 0a 30 08 06 03 55 04 03 0c 01 41", name));
  ASSERT_NE(nullptr, name.directoryName());
  EXPECT_EQ(1, name.directoryName()->Count());
}

// sxASN_Time reports success as 0, every other class as 1.
TEST(sxAsnChoice, ContentResultOfTimeIsZero) {
  const unsigned char octet = 'A';
  sxAsnReadBuf buf;
  int count = 0;
  sxASN_Time time;
  buf.Init(&octet, 1);
  EXPECT_EQ(0, time.BDecContent(buf, 23, 1, count));
  sxASN_DirectoryString text;
  buf.Init(&octet, 1);
  EXPECT_EQ(1, text.BDecContent(buf, 19, 1, count));
  const Octets element = CaseOctets("13 01 41");
  buf.Init(element.data(), LenOf(element));
  EXPECT_EQ(1, text.BDec(buf, count));
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

// Reading identifier and length is the caller's part then; a raw alternative wants them all the same.
TEST(sxAsnChoice, KeepsTheWholeElementWhenOnlyTheContentIsAskedFor) {
  const Octets octets = CaseOctets("0c 01 41 02 01 05");
  sxAsnReadBuf buf;
  buf.Init(octets.data(), LenOf(octets));
  int count = 0;
  buf.Skip(3);
  const int tag = BDecTag(buf, count);
  const int len = BDecLen(buf, count);
  sxASN_AttributeValue value;
  ASSERT_EQ(1, value.BDecContent(buf, static_cast<unsigned>(tag), len, count));
  EXPECT_EQ(3, count);
  EXPECT_EQ("020105", EncodeHex(value));
}

}  // namespace
