/// @file
/// UTF-8, one code point after the other (RFC 3629).
#ifndef KXCERT_SRC_FOUNDATION_UTF8_H_
#define KXCERT_SRC_FOUNDATION_UTF8_H_

#include <cstddef>
#include <cstdint>
#include <string_view>

struct kxCodePoint {
  uint32_t value;
  size_t len;  ///< octets; 0: not UTF-8
};

/// The first one: in the shortest form, no surrogate, nothing above 10FFFF. @param text  not empty
kxCodePoint kxFirstOfUtf8(std::string_view text);

/// Code points in all of it. @return -1: it is not UTF-8
int64_t kxCountUtf8(std::string_view text);

#endif
