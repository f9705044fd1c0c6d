/// @file
/// Finds entries by serial number: a table of 32-bit slots over octets that are kept elsewhere.
///
/// A slot is an entry's offset; the bits that no offset needs hold some of its hash, so that a search hardly ever
/// looks into octets in vain. The process draws the key of the hash: who chooses the numbers of a CRL cannot choose
/// which of them meet in the table.
#ifndef KXCERT_SRC_CERT_SERIALINDEX_H_
#define KXCERT_SRC_CERT_SERIALINDEX_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "asn1/integerDigits.h"

/// Stands for the name of a certificate's issuer: equal names have equal ones, and nobody finds two others that do.
using sxIssuerId = std::array<unsigned char, 16>;

/// @param issuer  null: numbers alone are compared
uint64_t sxSerialHash(const sxAsnDigits &number, const sxIssuerId *issuer);

inline bool sxSameDigits(const sxAsnDigits &a, const sxAsnDigits &b) {
  return a.negative == b.negative &&
         sxEqual({a.octets, static_cast<size_t>(a.len)}, {b.octets, static_cast<size_t>(b.len)});
}

class sxSerialIndex {
 public:
  /// Empties it. Of the octets at most @p maxOffset go before an entry; none is the first octet.
  void Reset(size_t numEntries, size_t maxOffset);
  bool HasRoomFor(size_t numEntries, size_t maxOffset) const {
    return numEntries <= m_maxEntries && maxOffset <= m_offsetMask;
  }

  size_t MaxEntries() const { return m_maxEntries; }

  /// @param isIt  whether the entry at an offset is the one
  /// @return its slot, or null
  template <class IsIt>
  const uint32_t *Find(uint64_t hash, IsIt isIt) const {
    if (m_slots.empty()) return nullptr;
    const uint32_t *const slot = Probe(hash, isIt);
    return *slot != 0 ? slot : nullptr;
  }
  /// The same; the entry at @p offset is entered when there is none.
  template <class IsIt>
  const uint32_t *FindOrEnter(uint64_t hash, uint32_t offset, IsIt isIt) {
    const uint32_t *const slot = Probe(hash, isIt);
    if (*slot != 0) return slot;
    m_slots[static_cast<size_t>(slot - m_slots.data())] = TagOf(hash) | offset;
    return nullptr;
  }
  uint32_t OffsetOf(const uint32_t *slot) const { return *slot & m_offsetMask; }
  void Replace(const uint32_t *slot, uint32_t offset) {
    m_slots[static_cast<size_t>(slot - m_slots.data())] = (*slot & ~m_offsetMask) | offset;
  }
  /// Fetches what a search for that hash begins with.
  void Prefetch(uint64_t hash) const { __builtin_prefetch(&m_slots[PlaceOf(hash)], 1); }

 private:
  // Where it is, or the free slot where it would be.
  template <class IsIt>
  const uint32_t *Probe(uint64_t hash, IsIt isIt) const {
    const uint32_t tag = TagOf(hash), mask = m_offsetMask;
    const uint32_t *const end = m_slots.data() + m_slots.size();
    const uint32_t *slot = m_slots.data() + PlaceOf(hash);
    while (*slot != 0 && ((*slot & ~mask) != tag || !isIt(*slot & mask))) {
      if (++slot == end) slot = m_slots.data();
    }
    return slot;
  }
  size_t PlaceOf(uint64_t hash) const { return static_cast<size_t>((hash >> 32) * m_slots.size() >> 32); }
  uint32_t TagOf(uint64_t hash) const { return static_cast<uint32_t>(hash) & ~m_offsetMask; }

  std::vector<uint32_t> m_slots;  // open addressing; 0: free. Some always are
  size_t m_maxEntries = 0;
  uint32_t m_offsetMask = 0;
};

#endif
