/// @file
/// The entries of a CRL: in order, and found by number at once, a million of them as well.
///
/// A removed entry leaves a hole that the next compaction closes; the table still leads there until
/// then, and searches pass over it. Reading may be shared; changing is for one thread alone.
#ifndef KXCERT_SRC_CERT_REVOKEDENTRIES_H_
#define KXCERT_SRC_CERT_REVOKEDENTRIES_H_

#include <cstddef>
#include <cstdint>
#include <vector>

#include "kxcert/cert/sxCRL.h"

class sxRevokedEntries {
 public:
  void Reserve(int num);                                 ///< a hint
  bool Add(const sxAsnInt &serial, int64_t revokedSec);  ///< false: the number is there already
  bool Remove(const sxAsnInt &serial);                   ///< false: it was not there
  int Count() const { return static_cast<int>(m_entries.size() - m_numHoles); }
  const sxRevokedEntry *Find(const sxAsnInt &serial) const;  ///< lent until a change, or null
  const sxRevokedEntry *Next(const sxRevokedEntry *prev) const;

 private:
  struct Slot : sxRevokedEntry {
    bool isHole = false;
  };

  Slot *FindSlot(const sxAsnInt &serial) const;
  void Rebuild(size_t numSlots);  // without the holes
  void Enter(size_t index);

  std::vector<Slot> m_entries;  // in the order of addition
  size_t m_numHoles = 0;
  std::vector<uint32_t> m_table;  // open addressing: index + 1, or 0
};

#endif
