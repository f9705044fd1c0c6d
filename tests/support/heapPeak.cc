#include "support/heapPeak.h"

#include <malloc.h>

#include <atomic>
#include <cerrno>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define KXCERT_COUNTS false
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define KXCERT_COUNTS false
#endif
#endif
#ifndef KXCERT_COUNTS
#define KXCERT_COUNTS true
#endif

namespace {

std::atomic<long> g_held{0};
std::atomic<long> g_peak{0};

}  // namespace

HeapPeak::HeapPeak() : m_before(g_held) { g_peak = m_before; }

size_t HeapPeak::Bytes() const { return static_cast<size_t>(g_peak - m_before); }
long HeapPeak::HeldNow() const { return g_held - m_before; }

#if KXCERT_COUNTS

extern "C" {
void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *block, size_t size);
void *__libc_memalign(size_t alignment, size_t size);
void __libc_free(void *block);
}

namespace {

void *Count(void *block) {
  const long held = g_held += static_cast<long>(malloc_usable_size(block));
  for (long peak = g_peak; held > peak && !g_peak.compare_exchange_weak(peak, held);) {
  }
  return block;
}
void Discount(void *block) { g_held -= static_cast<long>(malloc_usable_size(block)); }

}  // namespace

// The program's own definitions come first for every library that it loads. What the C library aligns
// for itself comes by other names and is rare.
extern "C" void *malloc(size_t size) { return Count(__libc_malloc(size)); }
extern "C" void *calloc(size_t count, size_t size) { return Count(__libc_calloc(count, size)); }
extern "C" void *memalign(size_t alignment, size_t size) { return Count(__libc_memalign(alignment, size)); }
extern "C" void *aligned_alloc(size_t alignment, size_t size) { return Count(__libc_memalign(alignment, size)); }
extern "C" int posix_memalign(void **block, size_t alignment, size_t size) {
  *block = Count(__libc_memalign(alignment, size));
  return *block == nullptr ? ENOMEM : 0;
}
extern "C" void *realloc(void *block, size_t size) {
  if (block != nullptr) Discount(block);
  void *const moved = __libc_realloc(block, size);
  return moved != nullptr || size == 0 ? Count(moved) : (Count(block), nullptr);
}
extern "C" void free(void *block) {
  if (block != nullptr) Discount(block);
  __libc_free(block);
}

#endif
