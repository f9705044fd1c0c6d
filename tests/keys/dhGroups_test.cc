#include "kxcert/keys/dhGroups.h"

#include <gtest/gtest.h>

#include <memory>
#include <sstream>

#include "kxcert/keys/dhGroupRules.h"
#include "kxcert/keys/dhModulus.h"
#include "kxcert/keys/sxDhParams.h"
#include "kxcert/platform/mutex.h"
#include "platform/mutexFake.h"
#include "support/caseFile.h"
#include "support/dhTestGroups.h"
#include "support/hexOctets.h"
#include "support/logCapture.h"

namespace {

TEST(LoadAllDHGroups, ReadsTheTextOfAnObject) {
  const std::string modulus = DhModulusHex(1024);
  const std::string text = "(\"Group 2 (1024 bit)\" :type (IKE_DH_parameters) :mod (" + modulus +
      ") :modsize (1024) :root (02) :rootsize (2) :DH_group_number (2) :private_key_length (162))";
  const std::unique_ptr<sxset> object(sio_sread(text.c_str(), nullptr));
  ASSERT_NE(nullptr, object);
  const DhTable table({*object});
  const sxDhParams params("Group 2 (1024 bit)");
  ASSERT_EQ(1, params.OK());
  EXPECT_EQ(modulus, Num(BN_bin2bn(params.Mod(), params.ModLen(), nullptr)).Hex());
  EXPECT_EQ(1, params.GenLen());
  EXPECT_EQ(2, *params.Gen());
  EXPECT_EQ(21, params.PrivBytes());
  for (const auto &[asked, used] : {std::pair{120, 162}, {121, 121}, {0, 162}, {-8, 162}, {1024, 1024}, {1025, 162}}) {
    EXPECT_EQ(used, sxDhParams("Group 2 (1024 bit)", asked).PrivBits()) << asked;
  }
  const LogCapture log;
  const sxDhParams none(nullptr), other("another", 160);
  EXPECT_EQ(0, none.OK() + other.OK() + other.ModLen() + other.GenLen() + other.PrivBits());
  EXPECT_TRUE(other.Mod() == nullptr && other.Gen() == nullptr && log.Has("sxDhParams: there is no group another"));
  EXPECT_STREQ("another", other.Name());
}

TEST(LoadAllDHGroups, LeavesNoTableWhenAnObjectIsBroken) {
  for (const CaseRow &row : CaseRows("keys/dhObjects.txt", 3, 2)) {
    SCOPED_TRACE(testing::PrintToString(row) + ", " + row[1]);
    const sxset good = DhObject("g", 40000, DhModulusHex(1024), 160);
    std::string name = "g", text = row[1] == "-" ? "" : row[1], type;
    int privBits = 160;
    if (const size_t times = text.find('*'); times != std::string::npos) text = std::string(std::stoul(text.substr(times + 1)), text[0]);
    if (row[0] == "name") std::istringstream(text) >> (name = "", name) >> type >> privBits;
    sxset object = DhObject(name, 40000, DhModulusHex(1024), 160);
    if (!type.empty()) object.SetText("type", type.c_str());
    if (row[0] != "name") object.SetText(row[0].c_str(), text.c_str());
    if (row[0] != "name" && row[1] == "-") object.Remove(row[0].c_str());
    const DhTable table({good});
    ASSERT_EQ(1, sxDhParams("g").OK());
    const LogCapture log;
    EXPECT_EQ(row[2].empty() ? 0 : -1, LoadDhGroups({good, object}));
    EXPECT_TRUE(log.Has(row[2].empty() ? "LoadAllDHGroups: creating 2 groups" : row[2])) << testing::PrintToString(log.Lines());
    EXPECT_EQ(row[2].empty(), sxDhParams("g").OK() == 1);
    if (row[2].empty() && row[0] == "name") { EXPECT_EQ(privBits, sxDhParams(name.c_str()).PrivBits()); }
    if (!row[2].empty()) { EXPECT_TRUE(log.Has("sxDhParams: Can't create mutex or DHP, DHP was not initialized")); }
  }
}

TEST(FindIKEDHGroup, ByNumberAndBySize) {
  DestroyDHP();
  const std::map<int, int> bits = {{1, 768}, {2, 1024}, {5, 1536}, {14, 2048}, {15, 3072}, {16, 4096}, {17, 6144}, {18, 8192}, {19, 256}, {20, 384}, {51200, 512}};
  for (const auto &[number, size] : bits) {   // nothing is loaded
    EXPECT_EQ("Group " + std::to_string(number) + " (" + std::to_string(size) + " bit)", FindIKEDHGroupByGrpNum(number));
  }
  EXPECT_EQ(nullptr, FindIKEDHGroupByGrpNum(40000));
  EXPECT_EQ(-1, FindIKEDHGroupByModSize(128));
  const std::string p = DhModulusHex(1024);
  const char *name = nullptr;
  {
    const DhTable table({DhObject("group", 40000, p, 160), DhObject("my isakmp", 40000, p, 160), DhObject("Group 40001", 40001, p, 160)});
    name = FindIKEDHGroupByGrpNum(40000);
    EXPECT_STREQ("Group 40001", FindIKEDHGroupByGrpNum(40001));
    EXPECT_EQ(nullptr, FindIKEDHGroupByGrpNum(40002));
    EXPECT_EQ(40000, FindIKEDHGroupByModSize(128));
    for (const int size : {96, 0, -1}) EXPECT_EQ(-1, FindIKEDHGroupByModSize(size));
  }
  EXPECT_STREQ("my isakmp", name);   // lent beyond the table
}

TEST(DhGroups, SayWhenTheMutexFails) {
  const DhTable table(UsualDhGroups());
  LogCapture log;
  MtMutex_SetFake({nullptr, [] { return false; }, nullptr});
  DhGrpParams *list = nullptr;
  EXPECT_EQ(-1, LoadDhGroups({}));
  EXPECT_TRUE(log.Has("LoadAllDHGroups: Can't lock mutex, operation failed"));
  EXPECT_EQ(0, sxDhParams("toy").OK());
  EXPECT_EQ(nullptr, FindIKEDHGroupByGrpNum(40000));
  EXPECT_EQ(-1, FindIKEDHGroupByModSize(128));
  EXPECT_EQ(-1, GetDhParams(&list));
  DestroyDHP();
  MtMutex_SetFake({});
  EXPECT_EQ(1, sxDhParams("toy").OK());   // the table is as it was
  EXPECT_EQ(-1, LoadAllDHGroups(nullptr));
  EXPECT_TRUE(log.Has("LoadAllDHGroups: no array of groups"));
}

// 1, 2, 5 and 14.
std::vector<DhGrpParams> Groups() {
  std::vector<DhGrpParams> list;
  for (const int number : {1, 2, 5, 14}) {
    list.push_back({"g" + std::to_string(number), number, 160, 768, 2, DecodeHex(DhModulusHex(768).c_str()), {2}});
  }
  return list;
}

TEST(DhGroupRules, AnswerTheFirstThatIsBroken) {
  for (const int n : {1, 2, 5, 14, 18, 19, 20, 22, 24, 32768, 65535}) EXPECT_EQ(0, GrpNumOutOfLegalRange(n)) << n;
  for (const int n : {0, 3, 4, 6, 13, 21, 25, 32767, 65536}) EXPECT_EQ(1, GrpNumOutOfLegalRange(n)) << n;
  for (const CaseRow &row : CaseRows("keys/dhRules.txt", 4, 3)) {
    SCOPED_TRACE(testing::PrintToString(row) + ", " + row[1]);
    std::vector<DhGrpParams> list = Groups();
    std::istringstream words(row[1]);
    std::string member;
    int place = 0, value = 0, rule = 0;
    const LogCapture log;
    if (row[0] == "number") {
      words >> place >> value;
      rule = VerifyDhGrpNum(4, list.data(), place, value);
    } else {
      for (; words >> place >> member >> value;) {
        DhGrpParams &group = list.at(static_cast<size_t>(place));
        if (member == "drop") list.erase(list.begin() + place);
        if (member == "name") group.name = list[static_cast<size_t>(value)].name;
        if (member == "number") group.grpNum = value;
        if (member == "modSize") group.modSize = value;
        if (member == "mod") group.mod.resize(static_cast<size_t>(value), 0xFF);
        if (member == "genSize") group.genSize = value;
        if (member == "gen") group.gen.resize(static_cast<size_t>(value));
        if (member == "privLen") group.privLen = value;
      }
      rule = ValidateDhGrpList(static_cast<int>(list.size()), list.data());
    }
    EXPECT_EQ(row[2], std::to_string(rule));
    EXPECT_EQ(row[3].empty() ? std::vector<std::string>() : std::vector<std::string>{row[3]}, log.Lines());
  }
  const DhGrpParams group = Groups()[0];
  int least = 0, most = 0;
  EXPECT_EQ(9, VerifyDhPrivLen(&group, 127, &least, &most));
  EXPECT_EQ(128 * 1000 + 768, least * 1000 + most);
  EXPECT_EQ(0, VerifyDhPrivLen(&group, 128, nullptr, nullptr) + VerifyDhPrivLen(&group, 768, nullptr, nullptr));
  EXPECT_EQ(9, VerifyDhPrivLen(&group, 769, nullptr, nullptr));
  EXPECT_EQ(11, VerifyDhPrivLen(nullptr, 160, &least, &most));
  EXPECT_EQ(11, ValidateDhGrpList(1, nullptr));
  EXPECT_EQ(11, ValidateDhGrpList(-1, &group));
  EXPECT_EQ(10, ValidateDhGrpList(0, nullptr));
  EXPECT_EQ(11, VerifyDhGrpNum(1, nullptr, 14, 15));
  EXPECT_EQ(11, VerifyDhGrpNum(-1, &group, 14, 15));
  EXPECT_EQ(7, VerifyDhGrpNum(0, nullptr, 14, 15));
}

TEST(GetDhParams, GivesTheNumberedGroups) {
  DhGrpParams *list = nullptr;
  DestroyDHP();
  EXPECT_EQ(-1, GetDhParams(&list));
  EXPECT_EQ(-1, GetDhParams(nullptr));
  std::vector<sxset> groups = UsualDhGroups();
  groups.insert(groups.begin() + 1, DhObject("no number", 0, DhModulusHex(768), 160));
  const DhTable table(groups);
  ASSERT_EQ(3, GetDhParams(&list));
  const DhGrpParams &second = list[1];
  EXPECT_EQ("Group 14 (2048 bit) 14 320 2048 8", second.name + " " + std::to_string(second.grpNum) + " " + std::to_string(second.privLen) + " " + std::to_string(second.modSize) + " " + std::to_string(second.genSize));
  EXPECT_EQ(DecodeHex(DhModulusHex(2048).c_str()), second.mod);
  EXPECT_EQ(Octets{2}, second.gen);
  DestroyDhGrpParams(list);
  ASSERT_EQ(0, LoadDhGroups({}));
  EXPECT_EQ(0, GetDhParams(&list));
  EXPECT_EQ(nullptr, list);
}

TEST(DhModulus, WantsAPrimeWithALargeSubgroup) {
  for (const CaseRow &row : CaseRows("keys/dhModuli.txt", 4)) {   // p, result, q and j, 07 and 0 where they stay
    SCOPED_TRACE(row.where);
    const Num p(BN_bin2bn(CaseOctets(row[0]).data(), LenOf(CaseOctets(row[0])), nullptr)), q(7);
    int j = 0;
    const LogCapture log;
    EXPECT_EQ(std::stoi(row[1]), dh_check_legal_modulus(p.n, q.n));
    EXPECT_EQ(row[2], q.Hex());
    EXPECT_EQ(row[1] == "-5", log.Has("dh_check_legal_modulus: p not prime"));
    EXPECT_EQ(row[1] == "-1", log.Has("dh_check_legal_modulus: failed to find q and j"));
    if (row[1] != "-5") { EXPECT_EQ(std::stoi(row[1]), dh_find_p_factor(p.n, nullptr, &j)); }
    EXPECT_EQ(row[3], std::to_string(j));
  }
  EXPECT_EQ(-5, dh_check_legal_modulus(nullptr, nullptr));
  EXPECT_EQ(-1, dh_find_p_factor(nullptr, nullptr, nullptr));
  EXPECT_EQ(-1, dh_find_p_factor(Num(0u).n, nullptr, nullptr));
  EXPECT_EQ(0, dh_check_legal_modulus(Num(0x17u).n, nullptr));
}

}  // namespace
