/// @file
/// SxStream: a growable text that printing code appends to. A value; no locking.
#ifndef KXCERT_FOUNDATION_TEXTSTREAM_H_
#define KXCERT_FOUNDATION_TEXTSTREAM_H_

#include <cstddef>
#include <string>
#include <string_view>

#include "kxcert/platform/export.h"

class KXCERT_EXPORT SxStream {
 public:
  void Puts(const char *text) {
    if (text != nullptr) m_text += text;
  }
  void Put(std::string_view text) { m_text += text; }
  void Reserve(size_t len) { m_text.reserve(len); }       ///< as many characters are then appended without moving any
  void Printf(const char *fmt, ...) KXCERT_PRINTF(2, 3);  ///< appends; no length limit
  void Indent(int numTabs);                               ///< appends that many TABs (none below 1)

  int Length() const { return static_cast<int>(m_text.size()); }
  const char *GetBuf() const { return m_text.c_str(); }  ///< borrowed until the next append
  const std::string &Text() const { return m_text; }

 private:
  std::string m_text;
};

#endif
