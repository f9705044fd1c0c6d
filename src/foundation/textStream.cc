#include "kxcert/foundation/textStream.h"

#include <cstdarg>

#include "platform/textForms.h"

void SxStream::Printf(const char *fmt, ...) {
  va_list args;
  va_start(args, fmt);
  kxAppendFormat(&m_text, fmt, args);
  va_end(args);
}

void SxStream::Indent(int numTabs) {
  if (numTabs > 0) m_text.append(static_cast<size_t>(numTabs), '\t');
}
