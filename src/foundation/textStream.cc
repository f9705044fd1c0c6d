#include "kxcert/foundation/textStream.h"

#include <cstdarg>
#include <cstdio>

void SxStream::Printf(const char *fmt, ...) {
  char fixed[512];
  va_list args;
  va_list again;
  va_start(args, fmt);
  va_copy(again, args);
  const int len = std::vsnprintf(fixed, sizeof fixed, fmt, args);
  va_end(args);
  if (len >= static_cast<int>(sizeof fixed)) {
    std::string longer(static_cast<size_t>(len) + 1, '\0');  // apart: arguments may be this stream's own text
    std::vsnprintf(longer.data(), longer.size(), fmt, again);
    m_text.append(longer, 0, static_cast<size_t>(len));
  } else if (len > 0) {
    m_text.append(fixed, static_cast<size_t>(len));
  }
  va_end(again);
}

void SxStream::Indent(int numTabs) {
  if (numTabs > 0) m_text.append(static_cast<size_t>(numTabs), '\t');
}
