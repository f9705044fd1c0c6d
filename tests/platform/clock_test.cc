#include "kxcert/platform/clock.h"

#include <gtest/gtest.h>

#include <ctime>

#include "support/fixedClock.h"
#include "support/scopedEnv.h"

namespace {

TEST(Clock, IsTheSystemsUntilItIsReplaced) {
  const int64_t before = std::time(nullptr);
  EXPECT_LE(before, kxClock_Now());
  {
    FixedClock clock(5'000'000'000);   // beyond 32 bits
    clock.Advance(-1);
    EXPECT_EQ(4'999'999'999, kxClock_Now());
  }
  EXPECT_GE(std::time(nullptr), kxClock_Now());
}

struct CtimeCase { int64_t timeSec; const char *text; };   // null: refused
constexpr CtimeCase kCtimeCases[] = {
    {0, "Thu Jan  1 00:00:00 1970"},           {-1, "Wed Dec 31 23:59:59 1969"},
    {951782400, "Tue Feb 29 00:00:00 2000"},   {253402300799, "Fri Dec 31 23:59:59 9999"},
    {253402300800, nullptr},                   {INT64_MAX, nullptr},
    {-30641760000, "Tue Jan  1 00:00:00 999"},
};

TEST(Clock, CtimeHasNoLineFeed) {
  {
    const ScopedEnv zone("TZ", "UTC0");
    tzset();
    for (const CtimeCase &c : kCtimeCases) {
      SCOPED_TRACE(c.timeSec);
      char text[26] = "untouched and long enough";
      EXPECT_EQ(c.text != nullptr ? 0 : -1, sxCtime_no_nl(c.timeSec, text, sizeof text));
      EXPECT_STREQ(c.text != nullptr ? c.text : "untouched and long enough", text);
      EXPECT_EQ(-1, sxCtime_no_nl(c.timeSec, text, 25));
    }
  }
  tzset();
}

}  // namespace
