// INTEGER and OBJECT IDENTIFIER, beside what they decode from.
#include <gtest/gtest.h>

#include <climits>

#include "kxcert/asn1/oids.h"
#include "kxcert/asn1/sxAsnInt.h"
#include "kxcert/asn1/sxAsnOid.h"
#include "support/asnHex.h"
#include "support/caseFile.h"
#include "support/hexOctets.h"
#include "support/logCapture.h"

namespace {

TEST(sxAsnInt, BigOctetsComeOutAsTheyWentIn) {
  const Octets octets = CaseOctets("01 02 03 04 05 06");
  sxAsnInt value(7);
  unsigned char out[6] = {};
  EXPECT_EQ(-1, value.GetBuf(out, 1)) << "a small value has none";
  value.Set(octets.data(), 6);
  EXPECT_EQ(0x03040506, value.GetShortVal());
  EXPECT_EQ(-1, value.GetBuf(out, 5));
  EXPECT_EQ(0, value.GetBuf(out, 6));
  EXPECT_EQ(octets, Octets(out, out + 6));
  value.Set(nullptr, 6);
  EXPECT_EQ("int = 0\n", Printed(value));
}

sxAsnInt NumberOf(const std::string &cell) {
  sxAsnInt number;
  const Octets octets = CaseOctets(cell.find(' ') == std::string::npos ? "" : cell.substr(cell.find(' ')));
  if (octets.empty()) {
    number.Set(std::stoi(cell));
  } else if (cell.starts_with("set")) {
    number.Set(octets.data(), LenOf(octets));
  } else {
    EXPECT_EQ(0, DecodeOctets(octets, number));
  }
  return number;
}

TEST(sxAsnInt, EqualNumbersAreEqualHoweverStored) {
  for (const CaseRow &row : CaseRows("asn1/equalNumbers.txt", 3)) {
    SCOPED_TRACE(testing::PrintToString(row));
    const sxAsnInt a = NumberOf(row[0]), b = NumberOf(row[1]);
    EXPECT_EQ(row[2] == "yes", a.intEquiv(b));
    EXPECT_EQ(row[2] == "yes", b.intEquiv(sxAsnInt(a)));
    EXPECT_TRUE(a.intEquiv(sxAsnInt(a)) && b.intEquiv(sxAsnInt(b)));
  }
}

TEST(sxAsnOid, PrintsDottedText) {
  for (const CaseRow &row : CaseRows("asn1/oids.txt", 6)) {
    SCOPED_TRACE(testing::PrintToString(row));
    const LogCapture log;
    const std::string hex = EncodeHex(CaseOctets(row[1]));
    sxAsnOid oid;
    EXPECT_EQ(hex, Reencode(hex.c_str(), oid));
    char text[64] = "untouched";
    EXPECT_EQ(row[3], std::to_string(oid.GetStr(text, std::stoi(row[2]))));
    EXPECT_EQ(row[5], text);
    EXPECT_EQ(!row[4].empty(), log.Has("sxAsnOid::GetStr " + row[4]));
    EXPECT_EQ(-1, oid.GetStr(nullptr, 100));
  }
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
