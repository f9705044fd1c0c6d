/// @file
/// A line on standard error that says that something is under way, while it takes long.
#ifndef KXCERT_TOOLS_KXCERT_PROGRESSLINE_H_
#define KXCERT_TOOLS_KXCERT_PROGRESSLINE_H_

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

/// From its first second on and until it goes, when standard error is a terminal; else nothing.
class ProgressLine {
 public:
  explicit ProgressLine(std::string what);  ///< printable ASCII: "making an RSA key of 8192 bits"
  ~ProgressLine();
  ProgressLine(const ProgressLine &) = delete;
  ProgressLine &operator=(const ProgressLine &) = delete;

 private:
  void Run();

  const std::string m_what;
  std::mutex m_mutex;
  std::condition_variable m_ended;
  bool m_isEnded = false;  // under the mutex
  std::thread m_thread;
};

#endif
