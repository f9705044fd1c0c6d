#include "kxcert/keys/dhGroupRules.h"

#include <gtest/gtest.h>

#include "kxcert/keys/dhGroups.h"
#include "support/dhTestGroups.h"
#include "support/hexOctets.h"
#include "support/logCapture.h"

namespace {

std::vector<DhGrpParams> Groups() {
  std::vector<DhGrpParams> list;
  for (const int number : {1, 2, 5, 14}) {
    const auto mod = DecodeHex(DhModulusHex(768).c_str());
    list.push_back({"g" + std::to_string(number), number, 160, 768, 2, mod, {2}});
  }
  return list;
}

TEST(GrpNumOutOfLegalRange, KnowsBothEndsOfEachRange) {
  for (const int n : {1, 2, 5, 14, 18, 19, 20, 22, 24, 32768, 65535}) EXPECT_EQ(0, GrpNumOutOfLegalRange(n));
  for (const int n : {0, 3, 4, 6, 13, 21, 25, 32767, 65536}) EXPECT_EQ(1, GrpNumOutOfLegalRange(n));
}

TEST(VerifyDhGrpNum, AnswersTheFirstBrokenRule) {
  const std::vector<DhGrpParams> list = Groups();
  struct { int oldNumber, newNumber, rule; const char *line; } const cases[] = {
      {14, 22, 0, nullptr},
      {14, 14, 0, nullptr},
      {5, 5, 8, "VerifyDhGrpNum: Can't change group number since it's predefined"},
      {14, 21, 2, "GrpNumOutOfLegalRange: grpNum is out of legal range"},
      {15, 14, 3, "VerifyDhGrpNum: new group number is not unique"},
      {15, 16, 7, "VerifyDhGrpNum: old group number does not exist in group list"},
  };
  for (const auto &c : cases) {
    const LogCapture log;
    EXPECT_EQ(c.rule, VerifyDhGrpNum(4, list.data(), c.oldNumber, c.newNumber)) << c.oldNumber;
    EXPECT_EQ(c.line == nullptr ? std::vector<std::string>() : std::vector<std::string>{c.line}, log.Lines());
  }
}

TEST(VerifyDhPrivLen, ReportsItsBounds) {
  const DhGrpParams group = Groups()[0];
  int least = 0, most = 0;
  EXPECT_EQ(9, VerifyDhPrivLen(&group, 127, &least, &most));
  EXPECT_EQ(128, least);
  EXPECT_EQ(768, most);
  EXPECT_EQ(0, VerifyDhPrivLen(&group, 768, nullptr, nullptr));
  EXPECT_EQ(9, VerifyDhPrivLen(&group, 769, nullptr, nullptr));
}

TEST(ValidateDhGrpList, NamesWhatIsBroken) {
  struct { int rule; const char *line; void (*make)(std::vector<DhGrpParams> &); } const faults[] = {
      {10, "ValidateDhGrpList: missing predefined group", [](auto &list) { list.erase(list.begin() + 1); }},
      {4, "ValidateDhGrpList: group not unique", [](auto &list) { list[3].name = list[0].name; }},
      {3, "ValidateDhGrpList: group number not unique", [](auto &list) { list[3].grpNum = 5; }},
      {2, "GrpNumOutOfLegalRange: grpNum is out of legal range", [](auto &list) { list[3].grpNum = 21; }},
      {5, "ValidateDhGrpList: modsize is not correct", [](auto &list) { list[3].modSize = 769; }},
      {6, "ValidateDhGrpList: gensize is not correct", [](auto &list) { list[3].gen.clear(); }},
      {9, "VerifyDhPrivLen: Private key length is out of range", [](auto &list) { list[3].privLen = 127; }},
  };
  std::vector<DhGrpParams> list = Groups();
  EXPECT_EQ(0, ValidateDhGrpList(4, list.data()));
  for (const auto &fault : faults) {
    list = Groups();
    fault.make(list);
    const LogCapture log;
    EXPECT_EQ(fault.rule, ValidateDhGrpList(static_cast<int>(list.size()), list.data()));
    EXPECT_EQ(std::vector<std::string>{fault.line}, log.Lines());
  }
}

TEST(GetDhParams, GivesTheNumberedGroups) {
  DhGrpParams *list = nullptr;
  DestroyDHP();
  EXPECT_EQ(-1, GetDhParams(&list));
  const DhTable table(UsualDhGroups());
  ASSERT_EQ(3, GetDhParams(&list));
  EXPECT_EQ(14, list[1].grpNum);
  EXPECT_EQ(320, list[1].privLen);
  EXPECT_EQ(DecodeHex(DhModulusHex(2048).c_str()), list[1].mod);
  DestroyDhGrpParams(list);
}

}  // namespace
