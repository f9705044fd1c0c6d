#include "kxcert/keys/dhGroups.h"

#include <gtest/gtest.h>

#include <memory>

#include "kxcert/keys/sxDhParams.h"
#include "kxcert/platform/mutex.h"
#include "platform/mutexFake.h"
#include "support/dhTestGroups.h"
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
  EXPECT_EQ(162, sxDhParams("Group 2 (1024 bit)", 120).PrivBits());
  EXPECT_EQ(121, sxDhParams("Group 2 (1024 bit)", 121).PrivBits());
}

struct Change { const char *member, *text, *line; };   // a null text takes the member away

TEST(LoadAllDHGroups, LeavesNoTableWhenAnObjectIsBroken) {
  const std::string tooLong((kMaxDhModulusLen + 1) * 2, 'f'), noDigits = "x" + DhModulusHex(1024).substr(1);
  const Change changes[] = {
      {"mod", nullptr, "mod has 0 "},
      {"mod", noDigits.c_str(), "mod has 256 "},
      {"mod", tooLong.c_str(), "mod has 2050 "},
      {"modsize", "1016", "modsize in DB: 1016 doesn't match actual modsize: 1024"},
      {"modsize", "1025", "modsize in DB: 1025 doesn't match actual modsize: 1024"},
      {"modsize", "9223372036854775807", "modsize in DB: 9223372036854775807 doesn't"},
      {"rootsize", "two", "Error in reading rootsize from DH group"},
      {"rootsize", "9", "gensize in DB: 9 doesn't match actual gensize: 8"},
      {"DH_group_number", "65536", "Failed to get group number from group"},
      {"private_key_length", "1025", "Failed to get private key length from group"},
      {"type", "DH", "group g has type \"DH\", which is not known"},
      {"type", "SKIP_DH_parameters", "SKIP group: g not supported"},
      {"type", "SXZ_DH_parameters", "SXZ group: g not supported"},
  };
  const sxset good = DhObject("g", 40000, DhModulusHex(1024), 160);
  for (const Change &change : changes) {
    SCOPED_TRACE(change.line);
    const DhTable table({good});
    ASSERT_EQ(1, sxDhParams("g").OK());
    sxset broken = good;
    broken.SetText(change.member, change.text);
    if (change.text == nullptr) broken.Remove(change.member);
    const LogCapture log;
    EXPECT_EQ(-1, LoadDhGroups({good, broken}));
    EXPECT_TRUE(log.Has(std::string("LoadDHGroup: ") + change.line)) << testing::PrintToString(log.Lines());
    EXPECT_EQ(0, sxDhParams("g").OK());
    EXPECT_TRUE(log.Has("sxDhParams: Can't create mutex or DHP, DHP was not initialized"));
  }
}

TEST(LoadAllDHGroups, TakesWhatIsOddByIntent) {
  std::vector<sxset> objects = {DhObject("g", 40000, DhModulusHex(1024), 160)};
  objects[0].SetInt("modsize", 1023);
  for (const char *name : {"skip512", "skip1024", "skip2048", "sxz512"}) {
    objects.push_back(DhObject(name, 40000, DhModulusHex(768), 7));
    objects.back().SetText("type", *(name + 1) == 'k' ? "SKIP_DH_parameters" : "SXZ_DH_parameters");
  }
  const DhTable table(objects);
  EXPECT_EQ(128, sxDhParams("g").ModLen());
  EXPECT_EQ(128, sxDhParams("skip512").PrivBits());
  EXPECT_EQ(400, sxDhParams("skip1024").PrivBits());
  EXPECT_EQ(400, sxDhParams("skip2048").PrivBits());
  EXPECT_EQ(128, sxDhParams("sxz512").PrivBits());
  EXPECT_EQ(-1, FindIKEDHGroupByModSize(96));   // no IKE names
}

TEST(FindIKEDHGroup, ByNumberAndBySize) {
  DestroyDHP();
  EXPECT_STREQ("Group 2 (1024 bit)", FindIKEDHGroupByGrpNum(2));   // nothing loaded
  EXPECT_STREQ("Group 51200 (512 bit)", FindIKEDHGroupByGrpNum(51200));
  EXPECT_EQ(nullptr, FindIKEDHGroupByGrpNum(40000));
  const std::string p = DhModulusHex(1024);
  const char *name = nullptr;
  {
    const DhTable table({DhObject("group", 40000, p, 160), DhObject("my isakmp", 40000, p, 160),
                         DhObject("Group 40001", 40001, p, 160)});
    name = FindIKEDHGroupByGrpNum(40000);
    EXPECT_STREQ("Group 40001", FindIKEDHGroupByGrpNum(40001));
    EXPECT_EQ(40000, FindIKEDHGroupByModSize(128));
    EXPECT_EQ(-1, FindIKEDHGroupByModSize(96));
  }
  EXPECT_STREQ("my isakmp", name);   // lent beyond the table
}

TEST(DhGroups, SayWhenTheMutexFails) {
  const DhTable table(UsualDhGroups());
  const LogCapture log;
  MtMutex_SetFake({nullptr, [] { return false; }, nullptr});
  EXPECT_EQ(-1, LoadDhGroups({}));
  EXPECT_TRUE(log.Has("LoadAllDHGroups: Can't lock mutex, operation failed"));
  EXPECT_EQ(0, sxDhParams("toy").OK());
  MtMutex_SetFake({});
  EXPECT_EQ(1, sxDhParams("toy").OK());   // the table is as it was
}

}  // namespace
