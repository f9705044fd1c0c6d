#include "kxcert/platform/clock.h"

#include <gtest/gtest.h>

#include <ctime>
#include <utility>

#include "support/caseFile.h"
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

TEST(Clock, CtimeHasNoLineFeed) {
  {
    const ScopedEnv zone("TZ", "UTC0");
    tzset();
    for (const CaseRow &row : CaseRows("platform/times.txt", 2)) {
      SCOPED_TRACE(row.where);
      char text[26] = "untouched and long enough";
      const int64_t timeSec = std::stoll(row[0]);
      const bool hasText = row[1] != "-" && std::in_range<std::time_t>(timeSec);
      EXPECT_EQ(hasText ? 0 : -1, sxCtime_no_nl(timeSec, text, sizeof text));
      EXPECT_EQ(hasText ? row[1] : "untouched and long enough", text);
      EXPECT_EQ(-1, sxCtime_no_nl(timeSec, text, 25));
    }
  }
  tzset();
}

}  // namespace
