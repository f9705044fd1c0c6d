#include "kxcert/foundation/textStream.h"

#include <algorithm>
#include <cstdarg>

#include "platform/textForms.h"

namespace {

constexpr int kMaxTabs = 1024;  // no text is nested so deep

}  // namespace

void SxStream::Printf(const char *fmt, ...) {
  va_list args;
  va_start(args, fmt);
  kxAppendFormat(&m_text, fmt, args);
  va_end(args);
}

void SxStream::Indent(int numTabs) {
  if (numTabs > 0) m_text.append(static_cast<size_t>(std::min(numTabs, kMaxTabs)), '\t');
}
