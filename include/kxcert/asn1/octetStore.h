/// @file
/// sxOctets: owned octets with room for short ones inside the object, so that most values of a
/// certificate (times, names, object identifiers) need no block of their own.
#ifndef KXCERT_ASN1_OCTETSTORE_H_
#define KXCERT_ASN1_OCTETSTORE_H_

#include <cstring>
#include <new>
#include <utility>

#include "kxcert/platform/export.h"

class sxOctets {
 public:
  static constexpr int kInline = 24;

  constexpr sxOctets() = default;
  /// Short octets (kInline at most) known when compiling, written by @p fill, which returns their
  /// number: such objects are ready before any static constructor runs.
  template <class Fill>
  explicit constexpr sxOctets(Fill fill) : m_len(fill(m_area.here)) {}
  sxOctets(const sxOctets &other) { Assign(other.Data(), other.m_len); }
  sxOctets(sxOctets &&other) noexcept : m_area(other.m_area), m_len(std::exchange(other.m_len, 0)) {}
  sxOctets &operator=(const sxOctets &other) {
    if (this != &other) Assign(other.Data(), other.m_len);
    return *this;
  }
  sxOctets &operator=(sxOctets &&other) noexcept {  ///< leaves the other one empty
    if (this == &other) return *this;
    if (m_len > kInline) delete[] m_area.heap.octets;
    m_area = other.m_area;
    m_len = std::exchange(other.m_len, 0);
    return *this;
  }
  ~sxOctets() {
    if (m_len > kInline) delete[] m_area.heap.octets;
  }

  int Len() const { return m_len; }
  const unsigned char *Data() const { return m_len > kInline ? m_area.heap.octets : m_area.here; }
  unsigned char *Data() { return m_len > kInline ? m_area.heap.octets : m_area.here; }

  /// Replaces the octets by a copy; @p data may lie within the old ones. A negative length is 0, and
  /// @p data may then be null.
  void Assign(const unsigned char *data, int len) {
    if (len <= kInline && m_len <= kInline) {
      m_len = len > 0 ? len : 0;
      CopyShort(m_area.here, data, static_cast<size_t>(m_len));
      return;
    }
    AssignLong(data, len);
  }
  /// Replaces the octets by @p len undefined ones and returns them.
  unsigned char *Resize(int len);
  void Clear() { Resize(0); }

  bool Equals(const sxOctets &other) const {
    return m_len == other.m_len && std::memcmp(Data(), other.Data(), static_cast<size_t>(m_len)) == 0;
  }

 private:
  void AssignLong(const unsigned char *data, int len);

  // Up to kInline octets, which may overlap, as two moves that meet in the middle: most values are
  // this short, and a call costs more than the copy.
  static void CopyShort(unsigned char *to, const unsigned char *from, size_t len) {
    if (len >= 16) return Move<16>(to, from, len);
    if (len >= 8) return Move<8>(to, from, len);
    if (len >= 4) return Move<4>(to, from, len);
    if (len >= 2) return Move<2>(to, from, len);
    if (len == 1) *to = *from;
  }
  template <size_t kStep>
  static void Move(unsigned char *to, const unsigned char *from, size_t len) {
    static_assert(kInline <= 2 * 16);
    unsigned char head[kStep];
    unsigned char tail[kStep];
    std::memcpy(head, from, kStep);
    std::memcpy(tail, from + len - kStep, kStep);
    std::memcpy(to, head, kStep);
    std::memcpy(to + len - kStep, tail, kStep);
  }

  // The pointer is packed, so that the object asks for no more alignment than its length does: values
  // with a number beside their octets are eight octets shorter for it.
  struct __attribute__((packed, aligned(4))) Block {
    unsigned char *octets;
  };
  union Area {
    constexpr Area() : here{} {}
    unsigned char here[kInline];
    Block heap;  // owned while m_len > kInline
  } m_area;
  int m_len = 0;
};

inline void sxOctets::AssignLong(const unsigned char *data, int len) {
  if (len <= 0) return Clear();
  if (len <= m_len && m_len > kInline && len > kInline) {
    std::memmove(m_area.heap.octets, data, static_cast<size_t>(len));
    m_len = len;
    return;
  }
  unsigned char *const old = m_len > kInline ? m_area.heap.octets : nullptr;
  if (len > kInline) {
    auto *block = new unsigned char[static_cast<size_t>(len)];
    std::memcpy(block, data, static_cast<size_t>(len));  // before the old block goes
    m_area.heap.octets = block;
    m_len = len;
  } else {
    unsigned char copy[kInline];
    m_len = len;
    std::memcpy(copy, data, static_cast<size_t>(m_len));
    std::memcpy(m_area.here, copy, static_cast<size_t>(m_len));
  }
  delete[] old;
}

inline unsigned char *sxOctets::Resize(int len) {
  if (m_len > kInline) delete[] m_area.heap.octets;
  m_len = 0;
  if (len > kInline) m_area.heap.octets = new unsigned char[static_cast<size_t>(len)];
  m_len = len > 0 ? len : 0;
  return Data();
}

#endif
