#include "kxcert/foundation/cache.h"

#include <list>

#include "kxcert/platform/clock.h"
#include "platform/guarded.h"
#include "platform/owned.h"

namespace {

struct Entry {
  void *key;
  void *data;
  int64_t storedAt;
  unsigned liveSec;                 // 0: no limit
  std::list<Entry>::iterator self;  // leads from the table back into the list
};

// The shorter of two limits, where 0 is none.
unsigned ShorterLimit(unsigned a, unsigned b) {
  if (a == 0 || b == 0) return a | b;
  return a < b ? a : b;
}

bool IsExpired(const Entry &entry) {
  if (entry.liveSec == 0) return false;
  const int64_t age = kxClock_Now() - entry.storedAt;
  // A clock that was set back must not lengthen a life.
  return age < 0 || age >= entry.liveSec;
}

}  // namespace

struct Cache::Rep {
  // Entries on their way out. Declared before the lock is taken, so that the caller's destructors run
  // after it was given back and may use the cache themselves.
  class Leaving {
   public:
    explicit Leaving(const Rep &rep) : m_rep(rep) {}
    ~Leaving() {
      for (const Entry &entry : entries) {
        if (m_rep.destroyKey != nullptr && entry.key != nullptr) m_rep.destroyKey(entry.key);
        if (m_rep.destroyData != nullptr && entry.data != nullptr) m_rep.destroyData(entry.data);
      }
    }
    Leaving(const Leaving &) = delete;
    Leaving &operator=(const Leaving &) = delete;

    std::list<Entry> entries;

   private:
    const Rep &m_rep;
  };

  Entry *Find(const void *key) const REQUIRES(lock) { return static_cast<Entry *>(hash_lookup(table.get(), key)); }

  void MoveOut(Entry *entry, Leaving *leaving) REQUIRES(lock) {
    hash_remove(table.get(), entry->key);
    leaving->entries.splice(leaving->entries.end(), entries, entry->self);
  }

  sxMutex lock;
  unsigned maxEntries = 0;
  unsigned timeoutSec = 0;
  kxHashDestructor destroyKey = nullptr;
  kxHashDestructor destroyData = nullptr;
  std::list<Entry> entries GUARDED_BY(lock);  // most recently used first
  sxOwned<kxHashTable, hash_destroy> table;   // key to Entry; owns neither; guarded like the entries
};

Cache::Cache(unsigned maxEntries, unsigned timeoutSec, kxHashFunc hash, kxHashCompare compare,
             kxHashDestructor destroyKey, kxHashDestructor destroyData)
    : m_rep(std::make_unique<Rep>()) {
  m_rep->maxEntries = maxEntries;
  m_rep->timeoutSec = timeoutSec;
  m_rep->destroyKey = destroyKey;
  m_rep->destroyData = destroyData;
  m_rep->table.reset(_hash_create_with_destr(0, hash, compare, nullptr, nullptr));
}

Cache::~Cache() { Clear(); }

bool Cache::Put(void *key, void *data, unsigned entrySec) {
  bool wasHere = false;
  Rep::Leaving leaving(*m_rep);
  const sxLock guard(m_rep->lock);
  if (Entry *old = m_rep->Find(key)) {
    m_rep->MoveOut(old, &leaving);
    // What is put again must not be destroyed.
    if (old->key == key) old->key = nullptr;
    wasHere = old->data == data;
    if (wasHere) old->data = nullptr;
  }
  const unsigned liveSec = ShorterLimit(m_rep->timeoutSec, entrySec);
  std::list<Entry> fresh{{key, data, kxClock_Now(), liveSec, {}}};
  if (key == nullptr || m_rep->maxEntries == 0 || !m_rep->table) {
    leaving.entries.splice(leaving.entries.end(), fresh);
    return wasHere;
  }
  if (m_rep->entries.size() >= m_rep->maxEntries) m_rep->MoveOut(&m_rep->entries.back(), &leaving);
  fresh.front().self = fresh.begin();  // a splice keeps iterators valid
  hash_insert(m_rep->table.get(), key, &fresh.front());
  m_rep->entries.splice(m_rep->entries.begin(), fresh);
  return wasHere;
}

void *Cache::Get(const void *key, void (*onHit)(void *data)) {
  Rep::Leaving leaving(*m_rep);
  const sxLock guard(m_rep->lock);
  Entry *found = m_rep->Find(key);
  if (found == nullptr) return nullptr;
  if (IsExpired(*found)) {
    m_rep->MoveOut(found, &leaving);
    return nullptr;
  }
  m_rep->entries.splice(m_rep->entries.begin(), m_rep->entries, found->self);
  if (onHit != nullptr) onHit(found->data);
  return found->data;
}

int Cache::Delete(const void *key) {
  Rep::Leaving leaving(*m_rep);
  const sxLock guard(m_rep->lock);
  Entry *found = m_rep->Find(key);
  if (found == nullptr) return -1;
  m_rep->MoveOut(found, &leaving);
  return 0;
}

void Cache::Clear() {
  Rep::Leaving leaving(*m_rep);
  const sxLock guard(m_rep->lock);
  while (!m_rep->entries.empty()) m_rep->MoveOut(&m_rep->entries.front(), &leaving);
}

int Cache::Count() const {
  const sxLock guard(m_rep->lock);
  return static_cast<int>(m_rep->entries.size());
}
