/// @file
/// Diagnostic log: two gated channels, one whole line per call.
///
/// The debug channel (herror_func, hex_herror) writes while dodebugprt is not 0 or g_MsgTypeThr is 4
/// or more. The trace channel (tderrorFunc) writes while g_MsgTypeMaxThr is above 3. The gate is asked
/// before anything is formatted, so a silent log costs a comparison. Lines go to standard error or to
/// the installed sink; whether one is written changes no result anywhere. All functions may be called
/// from any thread; the switches are atomics.
#ifndef KXCERT_PLATFORM_LOG_H_
#define KXCERT_PLATFORM_LOG_H_

#include <atomic>
#include <cstddef>

#include "kxcert/platform/export.h"

extern KXCERT_EXPORT std::atomic<int> dodebugprt;       ///< not 0: the debug channel writes
extern KXCERT_EXPORT std::atomic<int> g_MsgTypeThr;     ///< 4 or more: the debug channel writes
extern KXCERT_EXPORT std::atomic<int> g_MsgTypeMaxThr;  ///< above 3: the trace channel writes

/// Receives each line without its line feed. @p line is borrowed for the call.
using kxLogSink = void (*)(void *opaque, const char *line, size_t lineLen);

/// Sends all further lines to @p sink; null goes back to standard error. Returns nothing lost: a line
/// in progress on another thread still reaches the sink that was installed when it began, so the
/// opaque object must outlive such calls.
KXCERT_EXPORT void kxLog_SetSink(kxLogSink sink, void *opaque);

inline bool kxLog_DebugOn() {
  return dodebugprt.load(std::memory_order_relaxed) != 0 || g_MsgTypeThr.load(std::memory_order_relaxed) >= 4;
}
inline bool kxLog_TraceOn() { return g_MsgTypeMaxThr.load(std::memory_order_relaxed) > 3; }

/// One line on the debug channel. The first two arguments are kept for the callers' sake and unused.
/// @return always 0
KXCERT_EXPORT int herror_func(int, int, const char *fmt, ...) KXCERT_PRINTF(3, 4);

/// The octets as hexadecimal text on the debug channel, sixteen to a line. Not for secrets.
KXCERT_EXPORT void hex_herror(const unsigned char *data, int dataLen);

/// One line on the trace channel: "[topic] text". Level 1 is an error, 2 a warning, 3 a notice, 4 to
/// 6 detail; at level 1 with @p err not 0, ": " and the text of that errno value follow.
KXCERT_EXPORT void tderrorFunc(const char *topic, int level, int err, const char *fmt, ...) KXCERT_PRINTF(4, 5);

/// One line that is written whatever the switches say, followed by the text of @p errnum unless it is
/// 0. The process goes on: @p status is kept for the callers' sake and unused.
KXCERT_EXPORT void error(int status, int errnum, const char *fmt, ...) KXCERT_PRINTF(3, 4);

#endif
