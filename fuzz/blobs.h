/// @file
/// Inputs that are several blobs.
#ifndef KXCERT_FUZZ_BLOBS_H_
#define KXCERT_FUZZ_BLOBS_H_

#include <cstddef>
#include <cstdint>
#include <utility>

/// Two octets of length, high first, then that many octets or what is left.
inline std::pair<const uint8_t *, size_t> NextBlob(const uint8_t **pos, const uint8_t *end) {
  if (end - *pos < 2) {  // half a length ends the input
    *pos = end;
    return {nullptr, 0};
  }
  size_t len = static_cast<size_t>((*pos)[0]) << 8 | (*pos)[1];
  *pos += 2;
  if (len > static_cast<size_t>(end - *pos)) len = static_cast<size_t>(end - *pos);
  const uint8_t *const blob = *pos;
  *pos += len;
  return {blob, len};
}

#endif
