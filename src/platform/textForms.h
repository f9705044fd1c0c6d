/// @file
/// Forms of text that every room writes: printf's, hexadecimal.
#ifndef KXCERT_SRC_PLATFORM_TEXTFORMS_H_
#define KXCERT_SRC_PLATFORM_TEXTFORMS_H_

#include <cstdarg>
#include <span>
#include <string>

/// Appends what printf would write, however long. The arguments may be the text's own octets.
void kxAppendFormat(std::string *text, const char *fmt, va_list args);

constexpr char kHexDigits[] = "0123456789abcdef";

/// Two lower-case digits.
inline void kxAppendHex(std::string *text, unsigned char octet) {
  *text += {kHexDigits[octet >> 4], kHexDigits[octet & 15]};
}
/// @param behindEach  stands behind each octet
inline void kxAppendHex(std::string *text, std::span<const unsigned char> octets, const char *behindEach = "") {
  for (const unsigned char octet : octets) {
    kxAppendHex(text, octet);
    *text += behindEach;
  }
}

#endif
