#include <ctime>
#include <functional>
#include <sstream>

#include "asn1/modules/TESTTYPES.h"
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "support/asnHex.h"
#include "support/caseFile.h"

namespace {

// A list of numbers, as text: "1 2 3 at 1", the cursor last.
std::string Shown(const sxASN_TestNumbers &list) {
  std::string text;
  for (const sxASN_TestNumber &number : list) text += std::to_string(number.GetShortVal()) + " ";
  return text + "at " + std::to_string(list.GetCurrElmtIndex());
}

std::istringstream &operator>>(std::istringstream &in, sxASN_TestNumbers &list) {
  std::string word;
  while (in >> word && word != "at") {
    sxASN_TestNumber number;
    number.Set(std::stoi(word));
    EXPECT_EQ(&list, &list.AppendCopy(number));
  }
  int cursor = 0;
  in >> cursor;
  if (cursor < list.Count()) list.SetCurrElmt(cursor);
  return in;
}

using Edit = std::function<void(sxASN_TestNumbers &list, const sxASN_TestNumber &number)>;
const std::map<std::string, Edit> kEdits = {
    {"Append", [](auto &list, auto &number) { *list.Append() = number; }},
    {"Prepend", [](auto &list, auto &number) { *list.Prepend() = number; }},
    {"InsertAfter", [](auto &list, auto &number) { *list.InsertAfter() = number; }},
    {"InsertBefore", [](auto &list, auto &number) { *list.InsertBefore() = number; }},
    {"AppendCopy", [](auto &list, auto &number) { list.AppendCopy(number); }},
    {"PrependCopy", [](auto &list, auto &number) { list.PrependCopy(number); }},
    {"InsertAfterAndCopy", [](auto &list, auto &number) { list.InsertAfterAndCopy(number); }},
    {"InsertBeforeAndCopy", [](auto &list, auto &number) { list.InsertBeforeAndCopy(number); }},
    {"SetCurrElmt", [](auto &list, auto &number) { list.SetCurrElmt(number.GetShortVal()); }},
    {"RemoveCurrFromList", [](auto &list, auto &) { list.RemoveCurrFromList(); }},
};

TEST(sxAsnList, CursorFollowsWhatIsDone) {
  for (const CaseRow &row : CaseRows("asn1/listEdits.txt", 3)) {
    SCOPED_TRACE(testing::PrintToString(row) + " " + row[1]);
    std::istringstream before(row[0]), edit(row[1]), after(row[2]);
    sxASN_TestNumbers list, expected;
    before >> list;
    std::string name;
    int number = 0;
    edit >> name >> number;
    sxASN_TestNumber value;
    value.Set(number);
    kEdits.at(name)(list, value);
    after >> expected;
    EXPECT_EQ(Shown(expected), Shown(list));
    EXPECT_EQ(expected.Count(), list.Count());
    EXPECT_EQ(list.GetCurrElmtIndex() == list.Count(), list.CurrElmt() == nullptr);
    if (list.CurrElmt() != nullptr) {
      EXPECT_EQ(expected.CurrElmt()->GetShortVal(), list.CurrElmt()->GetShortVal());
    }
  }
}

TEST(sxAsnList, IsAQueueEitherWay) {
  sxASN_TestNumbers list;
  for (int i = 0; i < 100; ++i) list.Prepend()->Set(i);
  for (int i = 0; i < 99; ++i) {
    list.SetCurrElmt(100);
    list.RemoveCurrFromList();
  }
  EXPECT_EQ("99 at 0", Shown(list));
  for (int i = 0; i < 100; ++i) {
    list.Append()->Set(i);
    list.SetCurrElmt(0);
    list.RemoveCurrFromList();
  }
  EXPECT_EQ("99 at 0", Shown(list));
}

// Moving all others each time takes tens of seconds.
TEST(sxAsnList, GrowsAtBothEndsInLittleTime) {
  constexpr int kNumEach = 150000;
  sxASN_TestNumbers list;
  const std::clock_t start = std::clock();
  for (int i = 0; i < kNumEach; ++i) {
    list.Append()->Set(i);
    list.Prepend()->Set(-1 - i);
  }
  EXPECT_LT(std::clock() - start, 5 * CLOCKS_PER_SEC);
  int expected = -kNumEach;
  for (const sxASN_TestNumber &number : list) ASSERT_EQ(expected++, number.GetShortVal());
}

// A length that is negative, the indefinite form's number excepted, reads as an empty list.
TEST(sxAsnList, IsEmptyForANegativeLength) {
  sxAsnReadBuf buf;
  int count = 0;
  sxASN_Extensions list;
  list.Append();
  EXPECT_EQ(1, list.BDecContent(buf, 48, -3, count));
  EXPECT_EQ(0, list.Count());
}

TEST(sxAsnList, SortingLeavesItsOrder) {
  sxASN_RelativeDistinguishedName name;
  constexpr char kUnsorted[] = "3114" "3008060355040b0c0142" "3008060355040b0c0141";
  ASSERT_EQ(0, DecodeHex(kUnsorted, name));
  EXPECT_NE(kUnsorted, EncodeHex(name, 1));
  EXPECT_EQ(kUnsorted, EncodeHex(name, 0));
}

}  // namespace
