#include "kxcert/foundation/hexText.h"

#include <cstdint>

#include "platform/textForms.h"

namespace {

int DigitValue(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
  if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
  return -1;
}

}  // namespace

int string_to_bytes(const char *text, int textLen, unsigned char *data, int dataLen) {
  if (text == nullptr || data == nullptr || dataLen < 0 || textLen != int64_t{2} * dataLen) return -1;
  for (int i = 0; i < textLen; ++i) {
    if (DigitValue(text[i]) < 0) return -1;
  }
  for (int i = 0; i < dataLen; ++i) {
    data[i] = static_cast<unsigned char>(DigitValue(text[2 * i]) * 16 + DigitValue(text[2 * i + 1]));
  }
  return 0;
}

int bytes_to_string(const unsigned char *data, int dataLen, char *text, int textLen) {
  if (data == nullptr || text == nullptr || dataLen < 0 || textLen < int64_t{2} * dataLen + 1) return -1;
  // Straight to where it goes: it may be a key, and nobody wipes a copy on the way.
  for (int i = 0; i < dataLen; ++i) {
    *text++ = kHexDigits[data[i] >> 4];
    *text++ = kHexDigits[data[i] & 15];
  }
  *text = '\0';
  return 0;
}
