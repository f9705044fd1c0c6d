// What decodes, as what it is encoded again, and what refusals leave in the log: rows of octets.
#include <gtest/gtest.h>

#include "asn1/modules/TESTTYPES.h"
#include "kxcert/asn1/sxAsnBool.h"
#include "kxcert/asn1/sxAsnEXTERNAL.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "support/asnChecks.h"
#include "support/asnClasses.h"
#include "support/asnHex.h"
#include "support/caseFile.h"
#include "support/hexOctets.h"
#include "support/logCapture.h"

namespace {

using Value = std::unique_ptr<sxAsnType>;

template <class T>
const T *As(const sxAsnType &value) { return dynamic_cast<const T *>(&value); }

// What a value tells beside its encoding: a number, a number of bits, the alternative or the open type.
std::string Told(const sxAsnType &value) {
  if (const auto *number = As<sxAsnInt>(value)) return std::to_string(number->GetShortVal());
  if (const auto *bits = As<sxAsnBits>(value)) return std::to_string(bits->BitLen());
  if (const auto *choice = As<sxAsnChoice>(value)) return choice->Info()->elems[choice->ChoiceId()].name;
  if (const auto *external = As<sxAsnEXTERNAL>(value)) return Told(*external->encoding);
  if (const auto *set = As<sxASN_AttributeSetOf>(value)) return Told(*set->begin());
  if (const auto *byInt = As<sxASN_TestByInt>(value)) return byInt->value->Value()->TypeName();
  return "";
}

std::string Expected(const CaseRow &row) {
  return row[3] == "-" ? "-" : EncodeHex(CaseOctets(row[3] == "=" ? row[2] : row[3]));
}

void CheckDecodes(const CaseRow &row, sxAsnType &value) {
  const LogCapture log;
  EXPECT_EQ(Expected(row), DecodeOctets(CaseOctets(row[2]), value) < 0 ? "-" : EncodeHex(value));
  EXPECT_EQ(row[4], row[4].empty() ? "" : Told(value));
  const bool silent = row[3] != "-" && row[5].empty();
  EXPECT_TRUE(silent ? log.Lines().empty() : log.Has(row[5]) && log.Has(row[6])) << testing::PrintToString(log.Lines());
}

TEST(Decode, GivesTheValueOrSaysWhyNot) {
  std::map<std::string, Value> old;
  for (const CaseRow &row : CaseRows("asn1/decode.txt", 7, 4)) {
    SCOPED_TRACE(row.where + ": " + row[0] + " " + row[1]);
    const sxAsnTypeInfo &info = AsnClass(row[0]);
    const Value fresh(info.create());
    CheckDecodes(row, *fresh);
    Value &over = old[row[0]];
    if (over == nullptr) over.reset(info.create());
    CheckDecodes(row, *over);
    const Value copy(over->Dup());
    EXPECT_EQ(-1, copy->CopyFrom(info.tag == sxAsnBool::kInfo.tag ? *Value(new sxAsnNull) : *Value(new sxAsnBool)));
    EXPECT_EQ(EncodeHex(*over), EncodeHex(*copy));
    if (row[3] == "=") CheckSample(info, CaseOctets(row[2]));
  }
}

TEST(Print, WritesTheTree) {
  for (const CaseBlock &block : CaseBlocks("asn1/print.txt", {"class", "octets", "indent", "prints"})) {
    SCOPED_TRACE(testing::PrintToString(block));
    const Value value(AsnClass(block["class"]).create());
    EXPECT_TRUE(!block.Has("octets") || DecodeOctets(CaseOctets(block["octets"]), *value) == 0);
    std::string expected;
    for (const std::string &line : block.All("prints")) expected += CaseText(line);
    EXPECT_EQ(expected, Printed(*value, std::stoi(block["indent"])));
  }
}

// An area that is too small names the step that did not fit.
TEST(Encode, SaysWhatDidNotFit) {
  for (const CaseRow &row : CaseRows("asn1/tooSmall.txt", 4)) {
    SCOPED_TRACE(testing::PrintToString(row));
    const Octets octets = CaseOctets(row[1]);
    const Value value(AsnClass(row[0]).create());
    ASSERT_EQ(0, DecodeOctets(octets, *value));
    char area[64];
    int len = 0;
    EXPECT_EQ(0, sxASN_EncodeBuf(*value, nullptr, 0, len, 1));   // measures
    EXPECT_EQ(LenOf(octets), len);
    EXPECT_EQ(0, sxASN_EncodeBuf(*value, area, LenOf(octets), len, 1));
    EXPECT_EQ(octets, Octets(area, area + len));
    const LogCapture log;
    EXPECT_EQ(-1, sxASN_EncodeBuf(*value, area, std::stoi(row[2]), len, 1));
    EXPECT_EQ(-1, len);
    EXPECT_TRUE(log.Has(CaseText(row[3]))) << testing::PrintToString(log.Lines());
  }
}

}  // namespace
