#include "support/hexOctets.h"

#include "support/caseFile.h"

// Not the library's own reader and writer: those are under test.
std::vector<unsigned char> DecodeHex(const char *text) { return CaseOctets(text); }

std::string EncodeHex(const unsigned char *data, size_t dataLen) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (size_t i = 0; i < dataLen; ++i) text += {kDigits[data[i] >> 4], kDigits[data[i] & 0xF]};
  return text;
}

std::string EncodeHex(const std::vector<unsigned char> &octets) { return EncodeHex(octets.data(), octets.size()); }
