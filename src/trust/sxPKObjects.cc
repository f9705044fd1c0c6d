#include "kxcert/trust/sxPKObjects.h"

#include <algorithm>
#include <unordered_map>
#include <vector>

#include "kxcert/foundation/sxPKobj.h"
#include "kxcert/trust/sxCertifiedKey.h"
#include "kxcert/trust/sxOcspServer.h"
#include "kxcert/trust/sxRootCA.h"
#include "platform/guarded.h"

namespace {

constexpr size_t kGrowSlots = 5;

}  // namespace

class sxPKObjects_imp {
 public:
  explicit sxPKObjects_imp(sxPKObjects::HashFunc hashOf) : m_hashOf(hashOf) {}
  ~sxPKObjects_imp() {
    for (sxPKobj *obj : m_slots) sxFreePKobj(obj);
  }
  sxPKObjects_imp(const sxPKObjects_imp &) = delete;
  sxPKObjects_imp &operator=(const sxPKObjects_imp &) = delete;

  // The lock of the reference counts is never waited for under the set's own.
  void Add(sxPKobj *obj) {
    sxSavePKobj(obj);
    const sxWriteLock guard(m_lock);
    if (m_count == m_slots.size()) m_slots.resize(m_count + kGrowSlots);
    m_slots[m_count] = obj;
    Enter(m_count);
    ++m_count;
  }

  int Delete(sxPKobj *obj) {
    if (!TakeOut(obj)) return -1;
    sxFreePKobj(obj);
    return 0;
  }

  sxPKobj *Get(int i) const {
    const sxReadLock guard(m_lock);
    return IsSlot(i) ? m_slots[static_cast<size_t>(i)] : nullptr;
  }

  bool IsInRange(int i) const {
    const sxReadLock guard(m_lock);
    return IsSlot(i);
  }

  int Count() const {
    const sxReadLock guard(m_lock);
    return static_cast<int>(m_count);
  }

  sxPKobj *Find(uint64_t hash, sxPKObjects::MatchFunc matches, const void *wanted) const {
    const sxReadLock guard(m_lock);
    const auto bucket = m_index.find(hash);
    if (bucket == m_index.end()) return nullptr;
    for (const size_t slot : bucket->second) {
      if (matches(m_slots[slot], wanted)) return m_slots[slot];
    }
    return nullptr;
  }

  sxPKobj *FindFirst(sxPKObjects::MatchFunc matches, const void *wanted) const {
    const sxReadLock guard(m_lock);
    const auto end = m_slots.begin() + static_cast<ptrdiff_t>(m_count);
    const auto found = std::find_if(m_slots.begin(), end, [=](sxPKobj *obj) { return matches(obj, wanted); });
    return found != end ? *found : nullptr;
  }

 private:
  bool IsSlot(int i) const REQUIRES_SHARED(m_lock) { return i >= 0 && static_cast<size_t>(i) < m_slots.size(); }

  bool TakeOut(const sxPKobj *obj) {
    const sxWriteLock guard(m_lock);
    const auto found = std::find(m_slots.begin(), m_slots.end(), obj);
    if (found == m_slots.end()) return false;
    const auto hole = static_cast<size_t>(found - m_slots.begin());
    const size_t last = m_count - 1;
    Leave(hole);
    if (hole != last) {
      Leave(last);
      m_slots[hole] = m_slots[last];
      Enter(hole);
    }
    m_slots[last] = nullptr;
    m_count = last;
    return true;
  }

  void Enter(size_t slot) REQUIRES(m_lock) {
    if (m_hashOf == nullptr) return;
    std::vector<size_t> &bucket = m_index[m_hashOf(m_slots[slot])];
    bucket.insert(std::lower_bound(bucket.begin(), bucket.end(), slot), slot);
  }

  void Leave(size_t slot) REQUIRES(m_lock) {
    if (m_hashOf == nullptr) return;
    const auto bucket = m_index.find(m_hashOf(m_slots[slot]));
    std::vector<size_t> &slots = bucket->second;
    slots.erase(std::lower_bound(slots.begin(), slots.end(), slot));
    if (slots.empty()) m_index.erase(bucket);
  }

  mutable sxSharedMutex m_lock;
  std::vector<sxPKobj *> m_slots GUARDED_BY(m_lock);  // the first m_count are occupied, the others null
  size_t m_count GUARDED_BY(m_lock) = 0;
  const sxPKObjects::HashFunc m_hashOf;                                          // null: no index
  std::unordered_map<uint64_t, std::vector<size_t>> m_index GUARDED_BY(m_lock);  // slots of each hash, ascending
};

class sxPKObjects_iterator_imp {
 public:
  explicit sxPKObjects_iterator_imp(const sxPKObjects &objects) : m_objects(objects) {}

  sxPKobj *Curr() const { return m_objects.Get(m_index); }
  void Next() {
    if (!m_objects.IsInRange(m_index)) return;
    do { ++m_index; } while (m_objects.IsInRange(m_index) && m_objects.Get(m_index) == nullptr);
  }

 private:
  const sxPKObjects &m_objects;
  int m_index = 0;
};

sxPKObjects::sxPKObjects(HashFunc hashOf) : m_imp(new sxPKObjects_imp(hashOf)) {}
sxPKObjects::~sxPKObjects() { delete m_imp; }

int sxPKObjects::Add(sxPKobj *obj) {
  if (obj == nullptr) return -1;
  m_imp->Add(obj);
  return 0;
}

int sxPKObjects::Delete(sxPKobj *obj) { return obj != nullptr ? m_imp->Delete(obj) : -1; }
sxPKobj *sxPKObjects::Get(int i) const { return m_imp->Get(i); }
bool sxPKObjects::IsInRange(int i) const { return m_imp->IsInRange(i); }
int sxPKObjects::Count() const { return m_imp->Count(); }
sxPKobj *sxPKObjects::Find(uint64_t hash, MatchFunc matches, const void *wanted) const {
  return m_imp->Find(hash, matches, wanted);
}
sxPKobj *sxPKObjects::FindFirst(MatchFunc matches, const void *wanted) const {
  return m_imp->FindFirst(matches, wanted);
}

sxRootCA_iterator::sxRootCA_iterator(const sxPKObjects &objects) : m_imp(new sxPKObjects_iterator_imp(objects)) {}
sxRootCA_iterator::~sxRootCA_iterator() { delete m_imp; }
sxRootCA *sxRootCA_iterator::Curr() const { return static_cast<sxRootCA *>(m_imp->Curr()); }
void sxRootCA_iterator::Next() { m_imp->Next(); }

sxCertKey_iterator::sxCertKey_iterator(const sxPKObjects &objects) : m_imp(new sxPKObjects_iterator_imp(objects)) {}
sxCertKey_iterator::~sxCertKey_iterator() { delete m_imp; }
sxCertifiedKey *sxCertKey_iterator::Curr() const { return static_cast<sxCertifiedKey *>(m_imp->Curr()); }
void sxCertKey_iterator::Next() { m_imp->Next(); }

sxOCSP_iterator::sxOCSP_iterator(const sxPKObjects &objects) : m_imp(new sxPKObjects_iterator_imp(objects)) {}
sxOCSP_iterator::~sxOCSP_iterator() { delete m_imp; }
sxOcspServer *sxOCSP_iterator::Curr() const { return static_cast<sxOcspServer *>(m_imp->Curr()); }
void sxOCSP_iterator::Next() { m_imp->Next(); }
