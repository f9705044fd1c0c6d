#include "logLines.h"

#include <algorithm>

#include "kxcert/platform/log.h"

LogLines::LogLines() : m_debug(dodebugprt.exchange(1)) { kxLog_SetSink(&LogLines::Take, this); }

LogLines::~LogLines() {
  kxLog_SetSink(nullptr, nullptr);
  dodebugprt = m_debug;
}

std::string LogLines::Reason() const {
  std::string text;
  for (const std::string &line : m_lines) text += (text.empty() ? ": " : "; ") + line;
  return text;
}

void LogLines::Take(void *opaque, const char *line, size_t lineLen) {
  auto &lines = static_cast<LogLines *>(opaque)->m_lines;
  if (lines.size() < kMaxLines) lines.emplace_back(line, std::min(lineLen, kMaxLineLen));
}
