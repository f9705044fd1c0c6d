/// @file
/// LogCapture: every log line of a test, with both channels switched on.
#ifndef KXCERT_TESTS_SUPPORT_LOGCAPTURE_H_
#define KXCERT_TESTS_SUPPORT_LOGCAPTURE_H_

#include <cstddef>
#include <mutex>
#include <string>
#include <vector>

/// Installs a sink while it lives; then restores the switches and goes back to standard error. One at
/// a time. Lines may come from any thread.
class LogCapture {
 public:
  LogCapture();
  ~LogCapture();
  LogCapture(const LogCapture &) = delete;
  LogCapture &operator=(const LogCapture &) = delete;

  bool Has(const std::string &text) const;   ///< whether a line contains it
  std::vector<std::string> Lines() const;
  void Clear();

 private:
  static void Take(void *opaque, const char *line, size_t lineLen);

  mutable std::mutex m_lock;
  std::vector<std::string> m_lines;
  const int m_oldDebugPrint;
  const int m_oldTraceThreshold;
};

#endif
