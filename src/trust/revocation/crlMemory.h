/// @file
/// CrlMemory: the CRLs of the process, by the place that they come from and the root that they are used under.
#ifndef KXCERT_SRC_TRUST_REVOCATION_CRLMEMORY_H_
#define KXCERT_SRC_TRUST_REVOCATION_CRLMEMORY_H_

#include <atomic>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/guarded.h"
#include "trust/revocation/heldCrl.h"

class sxGeneralName;

/// Sets are replaced, never changed. Look-ups share a lock with replacing them, and with nothing that takes long;
/// each thread keeps what it looked up last, and takes no lock at all while nothing was replaced.
class CrlMemory {
 public:
  static std::string KeyOf(const sxGeneralName &place, std::string_view rootName);

  void SetBounds(size_t maxCrls, size_t maxOctets);
  /// Null: none. What is counted is the thread's own hold of it, so that threads do not meet there either.
  std::shared_ptr<const CrlSet> Find(const std::string &key) const;

  struct PutResult {
    std::shared_ptr<const CrlSet> set;  // what stands there now; null: nothing of it was taken
    sxValidationRC code = sxValidation_OK;
    const char *refusal = "";  // static
  };
  /// A CRL takes the place of an older one of the same issuer, key and scope, and of no other: what else stands there
  /// stays beside it.
  PutResult Put(const std::string &key, const std::shared_ptr<const CrlSet> &set);
  /// Nothing stands there, so that nobody looks on disk again; until something is put there.
  void NoteAbsent(const std::string &key);
  /// The set is still the newest: what is known of it is taken over (version, time).
  std::shared_ptr<const CrlSet> Renew(const std::string &key, const CrlSet &asKnown);  ///< that stands there; or null

  enum class Bringer { kProgram, kPeer };
  /// One that nobody knows a place of: found by its issuer's name until newer ones push it out. Peers may bring
  /// anything: theirs are few, those that verified once stay longer, and they take no place of the program's own.
  /// @return false: it is too large, or there are too many of the program's
  bool Push(const std::shared_ptr<const HeldCrl> &crl, Bringer bringer);
  std::vector<std::shared_ptr<const HeldCrl>> PushedBy(const sxDN &issuer) const;
  /// A peer brought it, and nobody who may signed it.
  void Forget(const HeldCrl &crl);

  struct Used {
    std::string key;
    std::shared_ptr<const CrlSet> set;
    int64_t usedSec;
  };
  std::vector<Used> All() const;
  void Clear();
  size_t NumCrls() const;
  size_t NumOctets() const;

 private:
  struct Slot {
    std::shared_ptr<const CrlSet> set;
    size_t numOctets = 0;
    mutable std::atomic<int64_t> usedSec{0};
    mutable std::atomic<int64_t> usedMs{0};  // on a clock of its own, to some milliseconds
  };
  using Slots = std::map<std::string, std::shared_ptr<const Slot>, std::less<>>;
  struct LastUsed;
  struct PushedList {
    std::vector<std::shared_ptr<const HeldCrl>> ofProgram;
    std::vector<std::shared_ptr<const HeldCrl>> ofPeers;  // the newest first
    size_t numOctetsOfProgram = 0, numOctetsOfPeers = 0;
  };

  std::shared_ptr<const Slot> Share(const std::string &key) const;
  void Replace(const std::string &key, const std::shared_ptr<const CrlSet> &set) REQUIRES(m_mutex);
  void Drop(Slots::iterator slot) REQUIRES(m_mutex);
  void MakeRoom(const std::string &but) REQUIRES(m_mutex);
  void LimitPeers(PushedList &list) const REQUIRES(m_mutex);

  mutable sxSharedMutex m_mutex;
  Slots m_slots GUARDED_BY(m_mutex);
  std::shared_ptr<const PushedList> m_pushed GUARDED_BY(m_mutex);
  size_t m_maxCrls GUARDED_BY(m_mutex) = 0;
  size_t m_maxOctets GUARDED_BY(m_mutex) = 0;
  size_t m_numOctets GUARDED_BY(m_mutex) = 0;
  // Of no two states the same, whatever memory they are of. 0: nothing is there.
  std::atomic<uint64_t> m_generation{0};
  std::atomic<uint64_t> m_pushedGeneration{0};
};

#endif
