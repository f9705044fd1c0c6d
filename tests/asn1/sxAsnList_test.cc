#include <ctime>

#include "asn1/modules/TESTTYPES.h"
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "support/asnHex.h"
#include "support/hexOctets.h"
#include "support/logCapture.h"

namespace {

// A list of numbers, as text: "[1 2 3] at 1", the cursor last.
std::string Shown(const sxASN_TestNumbers &list) {
  std::string text = "[";
  for (const sxASN_TestNumber &number : list) text += std::to_string(number.GetShortVal()) + " ";
  return text + "] of " + std::to_string(list.Count()) + " at " + std::to_string(list.GetCurrElmtIndex());
}

TEST(sxAsnList, CursorFollowsWhatIsMade) {
  sxASN_TestNumbers list;
  EXPECT_EQ("[] of 0 at 0", Shown(list));
  list.InsertAfter()->Set(2);
  list.Append()->Set(4);
  list.Prepend()->Set(1);
  EXPECT_EQ("[1 2 4 ] of 3 at 0", Shown(list));
  list.InsertBefore()->Set(0);
  EXPECT_EQ("[0 1 2 4 ] of 4 at 0", Shown(list));
  list.SetCurrElmt(2);
  list.InsertAfter()->Set(3);
  EXPECT_EQ("[0 1 2 3 4 ] of 5 at 3", Shown(list));
  EXPECT_EQ(3, list.CurrElmt()->GetShortVal());
  list.SetCurrElmt(100);
  EXPECT_EQ(4, list.GetCurrElmtIndex());
  list.SetCurrElmt(-1);
  EXPECT_EQ(0, list.GetCurrElmtIndex());
}

TEST(sxAsnList, CopiesLeaveTheCursor) {
  sxASN_TestNumbers list;
  sxASN_TestNumber number;
  const auto value = [&number](int n) -> const sxASN_TestNumber & { return number.Set(n), number; };
  EXPECT_EQ(&list, &list.AppendCopy(value(5)));
  EXPECT_EQ("[5 ] of 1 at 1", Shown(list)) << "no cursor";
  list.InsertAfterAndCopy(value(6));
  list.InsertBeforeAndCopy(value(1));
  EXPECT_EQ("[1 5 6 ] of 3 at 3", Shown(list));
  list.SetCurrElmt(1);
  list.InsertAfterAndCopy(value(7));
  list.InsertBeforeAndCopy(value(3));
  list.PrependCopy(value(0));
  EXPECT_EQ("[0 1 3 5 7 6 ] of 6 at 3", Shown(list));
}

TEST(sxAsnList, RemovesAtTheCursor) {
  sxASN_TestNumbers list;
  list.RemoveCurrFromList();
  for (int i = 0; i < 5; ++i) list.Append()->Set(i);
  list.RemoveCurrFromList();
  EXPECT_EQ("[0 1 2 3 ] of 4 at 3", Shown(list)) << "the last: its predecessor";
  list.SetCurrElmt(0);
  list.RemoveCurrFromList();
  EXPECT_EQ("[1 2 3 ] of 3 at 0", Shown(list)) << "the first: its successor";
  list.SetCurrElmt(1);
  list.RemoveCurrFromList();
  EXPECT_EQ("[1 3 ] of 2 at 2", Shown(list)) << "a middle one: none";
  EXPECT_EQ(nullptr, list.CurrElmt());
  list.RemoveCurrFromList();
  EXPECT_EQ(2, list.Count());
  list.SetCurrElmt(1);
  list.RemoveCurrFromList();
  list.RemoveCurrFromList();
  EXPECT_EQ("[] of 0 at 0", Shown(list));

  for (int i = 0; i < 100; ++i) list.Prepend()->Set(i);   // a queue: in at the front, out at the end
  for (int i = 0; i < 99; ++i) {
    list.SetCurrElmt(100);
    list.RemoveCurrFromList();
  }
  EXPECT_EQ("[99 ] of 1 at 0", Shown(list));
  for (int i = 0; i < 100; ++i) {                          // and the other way round
    list.Append()->Set(i);
    list.SetCurrElmt(0);
    list.RemoveCurrFromList();
  }
  EXPECT_EQ("[99 ] of 1 at 0", Shown(list));
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

constexpr struct { const char *what; const char *hex; const char *again; const char *log; } kListCases[] = {
    {"empty", "3000", "3000", nullptr},
    {"two", "3012 3007 06022a03 040141 3007 06022a04 040142", "3012300706022a03040141300706022a04040142", nullptr},
    {"indefinite", "3080 3007 06022a03 040141 0000", "3009300706022a03040141", nullptr},
    {"empty, indefinite", "30800000", "3000", nullptr},
    {"zero in a definite length", "300b 3007 06022a03 040141 0000", "-",
     "sxASN_Extensions::BDecContent Unexpected Tag"},
    {"another type", "3003 020105", "-", "sxASN_Extensions::BDecContent Unexpected Tag"},
    {"a bad length", "3003 30ff05", "-", "sxASN_Extensions::BDecContent attempt to decocded length failed"},
    {"a bad element", "3005 3003 020105", "-", "sxASN_Extensions::BDecContent: attempt to decoded contnet failed"},
    {"half an end of contents", "3080 0001", "-", "sxASN_Extensions::BDecContent: attempt to decoded Eoc failed"},
    {"no end of contents", "3080 3007 06022a03 040141", "-", "sxASN_Extensions::BDecContent Unexpected Tag"},
    {"an element past the end goes unnoticed", "3008 3007 06022a03 040141", "3009300706022a03040141", nullptr},
    {"a SET", "3100", "-", "sxASN_Extensions::BDec: ERROR - wrong tag offset = 1"},
};

TEST(sxAsnList, DecodesAndEncodes) {
  for (const auto &c : kListCases) {
    SCOPED_TRACE(c.what);
    const LogCapture log;
    sxASN_Extensions value;
    value.Append();
    EXPECT_EQ(c.again, Reencode(c.hex, value));
    EXPECT_TRUE(c.log == nullptr || log.Has(c.log)) << testing::PrintToString(log.Lines());
  }
  // A length that is negative, the indefinite form's number excepted, reads as an empty list.
  sxAsnReadBuf buf;
  int count = 0;
  sxASN_Extensions list;
  list.Append();
  EXPECT_EQ(1, list.BDecContent(buf, 48, -3, count));
  EXPECT_EQ(0, list.Count());
}

TEST(sxAsnList, SortsSetsWhenAsked) {
  sxASN_RelativeDistinguishedName name;
  constexpr char kUnsorted[] = "3114" "3008060355040b0c0142" "3008060355040b0c0141";
  ASSERT_EQ(0, DecodeHex(kUnsorted, name));
  EXPECT_EQ(kUnsorted, EncodeHex(name, 0));
  EXPECT_EQ("3114" "3008060355040b0c0141" "3008060355040b0c0142", EncodeHex(name, 1));
  EXPECT_EQ(kUnsorted, EncodeHex(name, 0)) << "the list itself keeps its order";

  sxASN_TestSets sets;   // sets in a set: the inner ones sort first
  EXPECT_EQ("310e" "3103020103" "3107" "020101" "02020102", Reencode("310e 3107 02020102 020101 3103020103", sets));
  sxASN_TestNumbers numbers;
  EXPECT_EQ("310a" "020107" "020109" "02020100", Reencode("310a 02020100 020109 020107", numbers));
}

TEST(sxAsnList, SaysWhichStepDidNotEncode) {
  const LogCapture log;
  sxASN_TestNumbers list;
  list.Append()->Set(5);
  char area[8];
  int len = 0;
  EXPECT_EQ(0, sxASN_EncodeBuf(list, area, 5, len, 1));
  constexpr const char *kTexts[] = {
      "sxASN_TestNumbers::BEncContent: attempt to encoded TestNumber failed",
      "sxASN_TestNumbers:EncContent attempt to encoded length failed",
      " sxASN_TestNumbers::BEncContent attempt to encoded tag failed",
      "sxASN_TestNumbers::BEnc: attempt to encoded length failed",
      "sxASN_TestNumbers::BEnc: attempt to encoded tag failed"};
  for (int size = 0; size < 5; ++size) {
    EXPECT_EQ(-1, sxASN_EncodeBuf(list, area, size, len, 1));
    EXPECT_TRUE(log.Has(kTexts[size])) << kTexts[size];
  }
  EXPECT_TRUE(log.Has("sxASN_TestNumbers::BEnc: attempt to encoded  content failed"));
}

TEST(sxAsnList, PrintsItsElements) {
  sxASN_TestNumbers list;
  list.Append()->Set(1);
  list.Append()->Set(2);
  EXPECT_EQ("  SET OF { \n"
            "    TestNumber   int = 1\n"
            "    TestNumber   int = 2\n"
            "\n"
            "  }\n", Printed(list, 1));
}

}  // namespace
