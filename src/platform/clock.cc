// On 32 bits the plain calls end in 2038.
#define _FILE_OFFSET_BITS 64
#define _TIME_BITS 64

#include "kxcert/platform/clock.h"

#include <atomic>
#include <cstring>
#include <ctime>
#include <utility>

namespace {

std::atomic<int64_t (*)()> g_source{nullptr};

constexpr size_t kMaxCtimeLen = 25;  // with the line feed and a year of four digits

}  // namespace

int64_t kxClock_Now() {
  int64_t (*const source)() = g_source.load(std::memory_order_relaxed);
  return source == nullptr ? static_cast<int64_t>(std::time(nullptr)) : source();
}

void kxClock_SetSource(int64_t (*now)()) { g_source = now; }

int sxCtime_no_nl(int64_t timeSec, char *text, int textLen) {
  if (text == nullptr || textLen < static_cast<int>(kMaxCtimeLen + 1)) return -1;
  if (!std::in_range<time_t>(timeSec)) return -1;
  const auto when = static_cast<time_t>(timeSec);
  std::tm parts{};
  char line[64] = "";
  if (localtime_r(&when, &parts) == nullptr || asctime_r(&parts, line) == nullptr) return -1;
  const size_t len = std::strlen(line);
  if (len > kMaxCtimeLen) return -1;  // glibc has refused such a year above, other libraries write on
  std::memcpy(text, line, len - 1);
  text[len - 1] = '\0';
  return 0;
}
