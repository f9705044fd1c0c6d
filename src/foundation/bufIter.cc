#include "kxcert/foundation/bufIter.h"

#include <cstring>

namespace {

constexpr uint32_t kAlign = 8;  // of both halves of a pkxl_len_and_buf_t

// Rounds up, checks the room and advances; null when there is none.
unsigned char *Reserve(pkxl_buf_iter *iter, uint32_t size, uint32_t align) {
  if (iter->overflow) return nullptr;
  if (align != 0 && iter->pos % align != 0) {
    const uint32_t step = align - iter->pos % align;
    if (step > UINT32_MAX - iter->pos) {
      iter->overflow = true;
      return nullptr;
    }
    iter->pos += step;  // kept even when the size then does not fit
  }
  if (iter->pos > iter->len || size > iter->len - iter->pos) {
    iter->overflow = true;
    return nullptr;
  }
  unsigned char *area = iter->base + iter->pos;
  iter->pos += size;
  return area;
}

}  // namespace

void pkxl_buf_iter_init(pkxl_buf_iter *iter, void *base, uint32_t len) {
  *iter = {static_cast<unsigned char *>(base), len, 0, len == 0};
}

bool pkxl_buf_iter_get_ptr(pkxl_buf_iter *iter, void **ptr, uint32_t size, uint32_t align) {
  *ptr = Reserve(iter, size, align);
  return *ptr != nullptr;
}

bool pkxl_buf_iter_get(pkxl_buf_iter *iter, void *dst, uint32_t size, uint32_t align) {
  const unsigned char *area = Reserve(iter, size, align);
  if (area == nullptr) return false;
  if (size != 0) std::memcpy(dst, area, size);
  return true;
}

bool pkxl_buf_iter_put(pkxl_buf_iter *iter, const void *src, uint32_t size, uint32_t align) {
  unsigned char *area = Reserve(iter, size, align);
  if (area == nullptr) return false;
  if (size != 0) std::memcpy(area, src, size);
  return true;
}

bool pkxl_buf_iter_is_at_end(const pkxl_buf_iter *iter) { return iter->pos == iter->len; }

bool pkxl_get_buf_ptr_and_len_from_iter(pkxl_buf_iter *iter, pkxl_len_and_buf_t *item) {
  void *ptr = nullptr;
  if (!pkxl_buf_iter_get(iter, &item->len, sizeof item->len, kAlign) ||
      !pkxl_buf_iter_get_ptr(iter, &ptr, item->len, kAlign)) {
    return false;
  }
  item->buf = static_cast<unsigned char *>(ptr);
  return true;
}

bool pkxl_put_len_and_buf_on_iter(pkxl_buf_iter *iter, const pkxl_len_and_buf_t *item) {
  return pkxl_buf_iter_put(iter, &item->len, sizeof item->len, kAlign) &&
         pkxl_buf_iter_put(iter, item->buf, item->len, kAlign);
}
