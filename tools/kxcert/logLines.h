/// @file
/// LogLines: what the library logs while the object lives, as the reason for a failure.
#ifndef KXCERT_TOOLS_KXCERT_LOGLINES_H_
#define KXCERT_TOOLS_KXCERT_LOGLINES_H_

#include <string>
#include <vector>

/// Opens the debug channel and takes its lines. One at a time; the program has one thread.
class LogLines {
 public:
  LogLines();
  ~LogLines();
  LogLines(const LogLines &) = delete;
  LogLines &operator=(const LogLines &) = delete;

  /// The first lines, as ": line; line"; "" when there is none. The cause comes first.
  std::string Reason() const;

 private:
  static constexpr size_t kMaxLines = 3;
  static constexpr size_t kMaxLineLen = 300;  ///< characters

  static void Take(void *opaque, const char *line, size_t lineLen);

  std::vector<std::string> m_lines;
  const int m_debug;  // the switch as it was
};

#endif
