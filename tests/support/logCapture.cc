#include "support/logCapture.h"

#include <algorithm>

#include "kxcert/platform/log.h"

LogCapture::LogCapture() : m_oldDebugPrint(dodebugprt), m_oldTraceThreshold(g_MsgTypeMaxThr) {
  kxLog_SetSink(Take, this);
  dodebugprt = 1;
  g_MsgTypeMaxThr = 6;
}

LogCapture::~LogCapture() {
  dodebugprt = m_oldDebugPrint;
  g_MsgTypeMaxThr = m_oldTraceThreshold;
  kxLog_SetSink(nullptr, nullptr);
}

bool LogCapture::Has(const std::string &text) const {
  const std::vector<std::string> lines = Lines();
  return std::any_of(lines.begin(), lines.end(), [&text](const std::string &line) {
    return line.find(text) != std::string::npos;
  });
}

std::vector<std::string> LogCapture::Lines() const {
  const std::lock_guard<std::mutex> guard(m_lock);
  return m_lines;
}

void LogCapture::Clear() {
  const std::lock_guard<std::mutex> guard(m_lock);
  m_lines.clear();
}

void LogCapture::Take(void *opaque, const char *line, size_t lineLen) {
  auto *self = static_cast<LogCapture *>(opaque);
  const std::lock_guard<std::mutex> guard(self->m_lock);
  self->m_lines.emplace_back(line, lineLen);
}
