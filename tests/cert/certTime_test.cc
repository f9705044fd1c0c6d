// ASN.1 times to seconds.
#include <gtest/gtest.h>

#include <cstring>
#include <ctime>
#include <random>
#include <sstream>

#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/cert/certTime.h"
#include "support/runCommand.h"
#include "support/scopedEnv.h"

namespace {

int UtcTime(const std::string &text) {
  return sxUTCTime2time(reinterpret_cast<const unsigned char *>(text.data()), static_cast<int>(text.size()));
}
int GeneralTime(const std::string &text) {
  return sxGeneralTime2time(reinterpret_cast<const unsigned char *>(text.data()), static_cast<int>(text.size()));
}

struct TimeCase { const char *what; const char *text; int seconds; };
constexpr TimeCase kUtcCases[] = {
    {"the first second of the second day", "700102000000Z", 86400},
    {"the first day is 0 at any hour", "700101120000Z", 0},
    {"also its last second", "700101235959Z", 0},
    {"also without seconds", "7001012359Z", 0},
    {"the second before", "691231235959Z", -1},
    {"the second before that", "691231235958Z", -2},
    {"1950 is the first year", "500101000000Z", -631152000},
    {"49 is 2049, clamped with its time of day", "491231235959Z", 2145916800 + 86399},
    {"37 is not clamped", "371231235959Z", 2145916799},
    {"38 is", "380615120000Z", 2145916800 + 43200},
    {"without seconds", "0002291234Z", 951827640},
    {"with seconds", "000229123456Z", 951827696},
    {"fields beyond their range carry over", "001332250000Z", 981075600},
    {"month 0 is the December before", "000001000000Z", 944006400},
    {"twelve characters", "00022912345Z", -1},
    {"no Z", "000229123456", -1},
    {"a small one", "000229123456z", -1},
    {"an offset", "0002291234+0000", -1},
    {"no digit", "0002291234x6Z", -1},
    {"a sign", "-10229123456Z", -1},
    {"nothing", "", -1},
};
constexpr TimeCase kGeneralCases[] = {
    {"the first day is 0 at any hour", "19700101235959Z", 0},
    {"the second day", "19700102000000Z", 86400},
    {"a century that has no leap day", "21000301000000Z", 2145916800},
    {"2038 starts as it is", "20380101000000Z", 2145916800},
    {"years are clamped with their time of day", "20500704010203Z", 2145916800 + 3723},
    {"the last year", "99991231235959Z", 2145916800 + 86399},
    {"hours carry over after that", "20500704990000Z", 2145916800 + 99 * 3600},
    {"before what 32 bits hold", "19011213204551Z", -1},
    {"the first second that they hold", "19011213204552Z", INT32_MIN},
    {"year 0", "00000000000000Z", -1},
    {"two digits of the year", "000229123456Z", -1},
    {"fractions", "20000229123456.5Z", -1},
    {"without seconds", "200002291234Z", -1},
    {"no Z", "200002291234560", -1},
    {"no digit", "2000022912345xZ", -1},
    {"no digit on the first day", "19700101xxxxxxZ", -1},
};

void CheckAll() {
  for (const TimeCase &c : kUtcCases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(c.seconds, UtcTime(c.text));
  }
  for (const TimeCase &c : kGeneralCases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(c.seconds, GeneralTime(c.text));
  }
  EXPECT_EQ(-1, sxUTCTime2time(nullptr, 13));
  EXPECT_EQ(-1, sxGeneralTime2time(nullptr, 15));
  sxASN_Time time;
  EXPECT_EQ(-1, sxASN_Time2time(nullptr));
  EXPECT_EQ(-1, sxASN_Time2time(&time));
  time.Set_utcTime(sxAsnUTCTime(reinterpret_cast<const unsigned char *>("000229123456Z")));
  EXPECT_EQ(951827696, sxASN_Time2time(&time));
  time.Set_generalTime(sxAsnGeneralizedTime(reinterpret_cast<const unsigned char *>("20000229123456Z")));
  EXPECT_EQ(951827696, sxASN_Time2time(&time));
}

TEST(TimeText, ReadsBothForms) { CheckAll(); }

TEST(TimeText, HasNoTimeZone) {
  for (const char *zone : {"America/New_York", "Asia/Kolkata", "Pacific/Apia"}) {
    SCOPED_TRACE(zone);
    const ScopedEnv env("TZ", zone);
    tzset();
    CheckAll();
  }
  tzset();
}

// Against the date command, which knows the calendar.
TEST(TimeText, AgreesWithTheCalendar) {
  constexpr unsigned kSeed = 1202;
  SCOPED_TRACE(kSeed);
  std::mt19937 random(kSeed);
  const auto in = [&random](int from, int to) { return from + static_cast<int>(random() % 1000000) % (to - from + 1); };
  std::string input;
  std::vector<std::string> texts;
  for (int i = 0; i < 400; ++i) {
    char line[64];
    const int date[] = {in(1902, 2037), in(1, 12), in(1, 28), in(0, 23), in(0, 59), in(0, 59)};
    std::snprintf(line, sizeof line, "%04d-%02d-%02d %02d:%02d:%02d\n", date[0], date[1], date[2], date[3], date[4],
                  date[5]);
    input += line;
    texts.push_back(line);
    std::erase_if(texts.back(), [](char c) { return c < '0' || c > '9'; });
  }
  std::istringstream output(RunCommand("printf '" + input + "' | date -u -f - +%s"));
  for (const std::string &text : texts) {
    SCOPED_TRACE(text);
    long expected = 0;
    ASSERT_TRUE(output >> expected);
    if (text.compare(0, 8, "19700101") == 0) continue;  // 0 by intent
    EXPECT_EQ(expected, GeneralTime(text + "Z"));
    if (text.compare(0, 4, "1950") < 0) continue;
    EXPECT_EQ(expected, UtcTime(text.substr(2) + "Z"));
  }
}

}  // namespace
