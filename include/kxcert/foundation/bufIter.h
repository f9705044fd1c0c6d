/// @file
/// pkxl_buf_iter: walks a caller-owned area and places or picks aligned items.
///
/// Used on both sides of the local key-operation channel. Plain records; no ownership, no locking.
#ifndef KXCERT_FOUNDATION_BUFITER_H_
#define KXCERT_FOUNDATION_BUFITER_H_

#include <cstdint>

#include "kxcert/platform/export.h"

struct pkxl_buf_iter {
  unsigned char *base;
  uint32_t len;   ///< bytes of the area
  uint32_t pos;   ///< bytes used so far
  bool overflow;  ///< once set, every call fails
};

struct pkxl_len_and_buf_t {
  uint32_t len;
  unsigned char *buf;  ///< not owned; after reading it points into the area
};

/// An area of length 0 overflows at once.
KXCERT_EXPORT void pkxl_buf_iter_init(pkxl_buf_iter *iter, void *base, uint32_t len);

/// Each rounds the position up to a multiple of @p align (0: none; kept even when the call then
/// fails), takes @p size bytes and returns true, or sets the overflow flag and returns false.
KXCERT_EXPORT bool pkxl_buf_iter_get_ptr(pkxl_buf_iter *iter, void **ptr, uint32_t size, uint32_t align);
KXCERT_EXPORT bool pkxl_buf_iter_get(pkxl_buf_iter *iter, void *dst, uint32_t size, uint32_t align);
KXCERT_EXPORT bool pkxl_buf_iter_put(pkxl_buf_iter *iter, const void *src, uint32_t size, uint32_t align);
KXCERT_EXPORT bool pkxl_buf_iter_is_at_end(const pkxl_buf_iter *iter);

/// A 4-byte length aligned to 8, then the bytes aligned to 8.
KXCERT_EXPORT bool pkxl_get_buf_ptr_and_len_from_iter(pkxl_buf_iter *iter, pkxl_len_and_buf_t *item);
KXCERT_EXPORT bool pkxl_put_len_and_buf_on_iter(pkxl_buf_iter *iter, const pkxl_len_and_buf_t *item);

#endif
