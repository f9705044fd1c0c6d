#include "progressLine.h"

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <system_error>
#include <utility>

ProgressLine::ProgressLine(std::string what) : m_what(std::move(what)) {
  if (isatty(STDERR_FILENO) == 0) return;
  try {
    m_thread = std::thread([this] { Run(); });
  } catch (const std::system_error &) {
    // Without a thread there is no line.
  }
}

ProgressLine::~ProgressLine() {
  if (!m_thread.joinable()) return;
  {
    const std::lock_guard lock(m_mutex);
    m_isEnded = true;
  }
  m_ended.notify_one();
  m_thread.join();
}

void ProgressLine::Run() {
  std::unique_lock lock(m_mutex);
  int seconds = 0;
  while (!m_ended.wait_for(lock, std::chrono::seconds(1), [this] { return m_isEnded; })) {
    std::fprintf(stderr, "\rkxcert: %s, %d s", m_what.c_str(), ++seconds);
    std::fflush(stderr);
  }
  if (seconds > 0) std::fputs("\r\x1b[K", stderr);
}
