/// @file
/// How long an answer says that it is (RFC 9110, 8.6).
#ifndef KXCERT_SRC_FETCH_CONTENTLENGTH_H_
#define KXCERT_SRC_FETCH_CONTENTLENGTH_H_

#include <cstdint>
#include <string_view>

/// The header lines of one answer after the other.
class ContentLength {
 public:
  /// @param line  a status line or a header; others than that of the length are passed over
  /// @return false: it is no number below 2^63, or another one than stood before
  bool Take(std::string_view line);

 private:
  int64_t m_len = -1;  // until there is one
};

#endif
