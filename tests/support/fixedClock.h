/// @file
/// FixedClock: the time of day as a test says it.
#ifndef KXCERT_TESTS_SUPPORT_FIXEDCLOCK_H_
#define KXCERT_TESTS_SUPPORT_FIXEDCLOCK_H_

#include <atomic>
#include <cstdint>

#include "kxcert/platform/clock.h"

/// Stands until it is told otherwise; the system's clock is back when it goes. One at a time.
class FixedClock {
 public:
  explicit FixedClock(int64_t nowSec) {
    Set(nowSec);
    kxClock_SetSource([] { return s_nowSec.load(); });
  }
  ~FixedClock() { kxClock_SetSource(nullptr); }
  FixedClock(const FixedClock &) = delete;
  FixedClock &operator=(const FixedClock &) = delete;

  void Set(int64_t nowSec) { s_nowSec = nowSec; }
  void Advance(int64_t sec) { s_nowSec += sec; }

 private:
  static inline std::atomic<int64_t> s_nowSec{0};
};

#endif
