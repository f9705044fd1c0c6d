#include "kxcert/asn1/elementArray.h"

#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>

#include "kxcert/asn1/sxAsnType.h"

namespace {

void Move(sxAsnType **to, sxAsnType *const *from, int count) {
  std::memmove(to, from, static_cast<size_t>(count) * sizeof *to);
}

}  // namespace

sxAsnElemArray::~sxAsnElemArray() { Clear(); }

void sxAsnElemArray::Insert(int at, std::unique_ptr<sxAsnType> elem) {
  const bool inFront = at == 0 && m_count > 0;
  if (inFront ? m_start == 0 : m_start + m_count == m_capacity) MakeRoom(inFront);
  if (inFront) {
    --m_start;
  } else {
    sxAsnType **const place = Area() + m_start + at;
    Move(place + 1, place, m_count - at);
  }
  Area()[m_start + at] = elem.release();
  ++m_count;
}

// Room is shared between both ends while a quarter is free, so that the next move is far away whichever
// end grows. What is new goes to the end that asked: most lists grow at one.
void sxAsnElemArray::MakeRoom(bool inFront) {
  const int numFree = m_capacity - m_count;
  if (numFree > 0 && numFree >= m_capacity / 4) {
    const int start = (numFree + (inFront ? 1 : 0)) / 2;
    Move(Area() + start, begin(), m_count);
    m_start = start;
    return;
  }
  if (m_capacity > std::numeric_limits<int>::max() / 2) throw std::bad_alloc();
  const int capacity = m_capacity < kSmallestBlock ? kSmallestBlock : m_capacity + m_capacity / 2;
  sxAsnType *const only = m_only;
  auto *const block = static_cast<sxAsnType **>(
      std::realloc(m_capacity == kInPlace ? nullptr : m_block, static_cast<size_t>(capacity) * sizeof *m_block));
  if (block == nullptr) throw std::bad_alloc();
  if (m_capacity == kInPlace) block[0] = only;
  const int start = inFront ? capacity - m_count : 0;
  Move(block + start, block + m_start, m_count);
  m_block = block;
  m_start = start;
  m_capacity = capacity;
}

void sxAsnElemArray::Remove(int at) {
  sxAsnType **const area = Area() + m_start;
  const std::unique_ptr<sxAsnType> gone(area[at]);
  --m_count;
  if (at == 0) {
    m_start = m_count == 0 ? 0 : m_start + 1;
  } else {
    Move(area + at, area + at + 1, m_count - at);
  }
}

// As octets: which of the two pointers of an array is in use does not matter then.
void sxAsnElemArray::Swap(sxAsnElemArray &other) noexcept {
  alignas(sxAsnElemArray) unsigned char held[sizeof *this];
  std::memcpy(held, static_cast<void *>(this), sizeof held);
  std::memcpy(static_cast<void *>(this), static_cast<void *>(&other), sizeof held);
  std::memcpy(static_cast<void *>(&other), held, sizeof held);
}

void sxAsnElemArray::Clear() {
  for (sxAsnType *elem : *this) delete elem;
  if (m_capacity != kInPlace) std::free(m_block);
  m_only = nullptr;
  m_start = m_count = 0;
  m_capacity = kInPlace;
}
