/// @file
/// Mutexes that clang watches: a member says which one guards it, and -Wthread-safety refuses code that
/// touches it without. Other compilers see plain mutexes.
#ifndef KXCERT_SRC_PLATFORM_GUARDED_H_
#define KXCERT_SRC_PLATFORM_GUARDED_H_

#include <mutex>
#include <shared_mutex>

#ifdef __clang__
#define KXCERT_THREADS(x) __attribute__((x))
#else
#define KXCERT_THREADS(x)
#endif

#define GUARDED_BY(mutex) KXCERT_THREADS(guarded_by(mutex))             ///< of a member
#define REQUIRES(...) KXCERT_THREADS(requires_capability(__VA_ARGS__))  ///< of a function: the caller holds it
#define REQUIRES_SHARED(...) KXCERT_THREADS(requires_shared_capability(__VA_ARGS__))

class KXCERT_THREADS(capability("mutex")) sxMutex {
 public:
  constexpr sxMutex() = default;
  sxMutex(const sxMutex &) = delete;
  sxMutex &operator=(const sxMutex &) = delete;

 private:
  friend class sxLock;
  std::mutex m_mutex;
};

/// Holds a mutex as long as it lives, but for what is between Unlock and Lock.
class KXCERT_THREADS(scoped_lockable) sxLock {
 public:
  explicit sxLock(sxMutex &mutex) KXCERT_THREADS(acquire_capability(mutex)) : m_lock(mutex.m_mutex) {}
  ~sxLock() KXCERT_THREADS(release_capability()) = default;
  sxLock(const sxLock &) = delete;
  sxLock &operator=(const sxLock &) = delete;

  void Unlock() KXCERT_THREADS(release_capability()) { m_lock.unlock(); }
  void Lock() KXCERT_THREADS(acquire_capability()) { m_lock.lock(); }
  /// For a condition variable, in a loop that asks: a predicate would be looked at as a function without the lock.
  std::unique_lock<std::mutex> &ForWaiting() { return m_lock; }

 private:
  std::unique_lock<std::mutex> m_lock;
};

/// Many readers, or one writer.
class KXCERT_THREADS(capability("shared mutex")) sxSharedMutex {
 public:
  sxSharedMutex() = default;
  sxSharedMutex(const sxSharedMutex &) = delete;
  sxSharedMutex &operator=(const sxSharedMutex &) = delete;

 private:
  friend class sxWriteLock;
  friend class sxReadLock;
  std::shared_mutex m_mutex;
};

class KXCERT_THREADS(scoped_lockable) sxWriteLock {
 public:
  explicit sxWriteLock(sxSharedMutex &mutex) KXCERT_THREADS(acquire_capability(mutex)) : m_lock(mutex.m_mutex) {}
  ~sxWriteLock() KXCERT_THREADS(release_capability()) = default;
  sxWriteLock(const sxWriteLock &) = delete;
  sxWriteLock &operator=(const sxWriteLock &) = delete;

 private:
  const std::lock_guard<std::shared_mutex> m_lock;
};

class KXCERT_THREADS(scoped_lockable) sxReadLock {
 public:
  explicit sxReadLock(sxSharedMutex &mutex) KXCERT_THREADS(acquire_shared_capability(mutex)) : m_lock(mutex.m_mutex) {}
  ~sxReadLock() KXCERT_THREADS(release_generic_capability()) = default;
  sxReadLock(const sxReadLock &) = delete;
  sxReadLock &operator=(const sxReadLock &) = delete;

 private:
  const std::shared_lock<std::shared_mutex> m_lock;
};

#endif
