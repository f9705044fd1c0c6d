/// @file
/// Cache: a bounded, least-recently-used map of untyped keys and data with seconds to live.
///
/// Every operation takes the cache's own lock; destructors run without it. What Get returns is lent:
/// it stays valid until the entry is replaced, deleted, evicted or the cache goes, so a caller that
/// shares a cache between threads takes its own reference through @p onHit, which runs under the lock.
#ifndef KXCERT_FOUNDATION_CACHE_H_
#define KXCERT_FOUNDATION_CACHE_H_

#include <memory>

#include "kxcert/foundation/hashTable.h"

class KXCERT_EXPORT Cache {
 public:
  /// @param maxEntries  bound; the entry used longest ago goes first (0 holds nothing)
  /// @param timeoutSec  seconds each entry lives, 0 for no limit
  Cache(unsigned maxEntries, unsigned timeoutSec, kxHashFunc hash, kxHashCompare compare, kxHashDestructor destroyKey,
        kxHashDestructor destroyData);
  ~Cache();
  Cache(const Cache &) = delete;
  Cache &operator=(const Cache &) = delete;

  /// Takes over key and data in every case (an entry that cannot be held is destroyed at once) and
  /// replaces an equal key. @p entrySec limits this entry in addition to the cache's own limit; 0
  /// sets no limit of its own.
  /// @return true when that very data was held under the key already: it stands for one reference, so
  ///         that a caller who took another one for it drops that
  bool Put(void *key, void *data, unsigned entrySec);

  /// The data of an equal, living key, which becomes the most recently used; null otherwise. An
  /// expired entry is destroyed on the way.
  void *Get(const void *key, void (*onHit)(void *data) = nullptr);
  int Delete(const void *key);  ///< 0, or -1 when there is none
  void Clear();
  int Count() const;  ///< living and expired entries that are still held

 private:
  struct Rep;
  std::unique_ptr<Rep> m_rep;
};

#endif
