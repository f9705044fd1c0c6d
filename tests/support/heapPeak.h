/// @file
/// HeapPeak: how much memory the process held at most while the object lives, above what it held before.
#ifndef KXCERT_TESTS_SUPPORT_HEAPPEAK_H_
#define KXCERT_TESTS_SUPPORT_HEAPPEAK_H_

#include <cstddef>

/// One at a time; counts what malloc and its kin hand out, to any thread.
class HeapPeak {
 public:
  HeapPeak();
  HeapPeak(const HeapPeak &) = delete;
  HeapPeak &operator=(const HeapPeak &) = delete;

  // Both are 0 under the sanitizers, which have their own malloc.
  size_t Bytes() const;
  long HeldNow() const;                   ///< above what was held before; may be negative

 private:
  const long m_before;
};

#endif
