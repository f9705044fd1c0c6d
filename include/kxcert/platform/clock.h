/// @file
/// The time of day, behind a function that tests replace.
#ifndef KXCERT_PLATFORM_CLOCK_H_
#define KXCERT_PLATFORM_CLOCK_H_

#include <cstdint>

#include "kxcert/platform/export.h"

/// Seconds since 1970-01-01 00:00 UTC. Any thread.
KXCERT_EXPORT int64_t kxClock_Now();

/// Makes kxClock_Now call @p now instead of the system; null goes back.
KXCERT_EXPORT void kxClock_SetSource(int64_t (*now)());

/// The text of ctime ("Thu Jan  1 00:00:00 1970", local time) without its line feed.
/// @param[out] text  ended by NUL; untouched on failure
/// @retval  0  done
/// @retval -1  null, fewer than 26 bytes, a year above 9999, or a time that time_t cannot hold (32 bits: after 2038)
KXCERT_EXPORT int sxCtime_no_nl(int64_t timeSec, char *text, int textLen);

#endif
