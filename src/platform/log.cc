#include "kxcert/platform/log.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>

#include "platform/guarded.h"
#include "platform/textForms.h"

std::atomic<int> dodebugprt{0};
std::atomic<int> g_MsgTypeThr{0};
std::atomic<int> g_MsgTypeMaxThr{0};

namespace {

struct Sink {
  kxLogSink func = nullptr;
  void *opaque = nullptr;
};
constinit sxMutex g_sinkMutex;  // ready before static constructors, which may write lines
Sink g_sink GUARDED_BY(g_sinkMutex);

void AppendErrno(std::string *line, int errnum) {
  char text[128] = "";
  // The GNU form may return a text of its own instead of filling the area.
  *line += ": ";
  *line += strerror_r(errnum, text, sizeof text);
}

void WriteLine(std::string *line) {
  Sink sink;
  {
    const sxLock lock(g_sinkMutex);
    sink = g_sink;
  }
  if (sink.func != nullptr) {
    sink.func(sink.opaque, line->data(), line->size());
    return;
  }
  line->push_back('\n');
  std::fwrite(line->data(), 1, line->size(), stderr);  // one call: lines of threads do not mix
}

}  // namespace

void kxLog_SetSink(kxLogSink sink, void *opaque) {
  const sxLock lock(g_sinkMutex);
  g_sink = {sink, opaque};
}

int herror_func(int, int, const char *fmt, ...) {
  if (!kxLog_DebugOn()) return 0;
  std::string line;
  va_list args;
  va_start(args, fmt);
  kxAppendFormat(&line, fmt, args);
  va_end(args);
  WriteLine(&line);
  return 0;
}

void hex_herror(const unsigned char *data, int dataLen) {
  if (!kxLog_DebugOn() || data == nullptr) return;
  constexpr int kPerLine = 16;
  for (int start = 0; start < dataLen; start += kPerLine) {
    std::string line;
    kxAppendHex(&line, {data + start, static_cast<size_t>(std::min(kPerLine, dataLen - start))}, " ");
    WriteLine(&line);
  }
}

void tderrorFunc(const char *topic, int level, int err, const char *fmt, ...) {
  if (!kxLog_TraceOn()) return;
  std::string line = "[";
  line += topic;
  line += "] ";
  va_list args;
  va_start(args, fmt);
  kxAppendFormat(&line, fmt, args);
  va_end(args);
  if (level == 1 && err != 0) AppendErrno(&line, err);
  WriteLine(&line);
}

void error(int, int errnum, const char *fmt, ...) {
  std::string line;
  va_list args;
  va_start(args, fmt);
  kxAppendFormat(&line, fmt, args);
  va_end(args);
  if (errnum != 0) AppendErrno(&line, errnum);
  WriteLine(&line);
}
