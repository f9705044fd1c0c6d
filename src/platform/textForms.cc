#include "platform/textForms.h"

#include <cstdio>

void kxAppendFormat(std::string *text, const char *fmt, va_list args) {
  char fixed[512];
  va_list again;
  va_copy(again, args);
  const int len = std::vsnprintf(fixed, sizeof fixed, fmt, args);
  if (len >= static_cast<int>(sizeof fixed)) {
    std::string longer(static_cast<size_t>(len) + 1, '\0');  // apart: the arguments may lie in the text
    std::vsnprintf(longer.data(), longer.size(), fmt, again);
    text->append(longer, 0, static_cast<size_t>(len));
  } else if (len > 0) {
    text->append(fixed, static_cast<size_t>(len));
  }
  va_end(again);
}
