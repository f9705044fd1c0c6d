#include "peerText.h"

#include <cstring>

#include "kxcert/platform/log.h"
#include "platform/textForms.h"

bool sxHoldsNul(std::string_view octets) { return octets.find('\0') != std::string_view::npos; }

std::string sxOneLine(std::string_view text) {
  std::string line;
  line.reserve(text.size());
  for (const char c : text) {
    const auto octet = static_cast<unsigned char>(c);
    if (octet >= 0x20 && octet != 0x7F) {
      line += c;
    } else {
      line += "\\x";
      kxAppendHex(&line, octet);
    }
  }
  return line;
}

int sxHandOut(const char *func, std::string_view text, char *out, int outLen) {
  if (out == nullptr) return -1;
  if (outLen < 0 || text.size() >= static_cast<size_t>(outLen)) {
    return herror_func(0, 0, "%s: %zu characters do not fit %d", func, text.size(), outLen), -1;
  }
  return sxHandOutCut(func, text, out, outLen);
}

int sxHandOutCut(const char *func, std::string_view text, char *out, int outLen) {
  if (sxHoldsNul(text)) { return herror_func(0, 0, "%s: NUL within a text of %zu characters", func, text.size()), -1; }
  const std::string_view fits = text.substr(0, static_cast<size_t>(outLen) - 1);
  std::memcpy(out, fits.data(), fits.size());
  out[fits.size()] = '\0';
  return 0;
}
