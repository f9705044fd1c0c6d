// A mutex of the process that is made at its first use, and a hold on it.
#ifndef KXCERT_SRC_KEYS_LAZYMUTEX_H_
#define KXCERT_SRC_KEYS_LAZYMUTEX_H_

#include <atomic>

#include "platform/guarded.h"

struct MtMutex;

// Of static storage; the mutex lives as long as the process.
class KXCERT_THREADS(capability("mutex")) LazyMutex {
 public:
  // From any thread. False when it cannot be made, with one line that names func.
  [[nodiscard]] bool Create(const char *func);
  MtMutex *Get() const { return m_mutex.load(std::memory_order_acquire); }  // null before Create

 private:
  std::atomic<MtMutex *> m_mutex{nullptr};
};

// Clang takes the mutex for held; whoever goes on asks Held first.
class KXCERT_THREADS(scoped_lockable) LazyLock {
 public:
  LazyLock(const LazyMutex &mutex, const char *func) KXCERT_THREADS(acquire_capability(mutex));
  ~LazyLock() KXCERT_THREADS(release_capability());
  LazyLock(const LazyLock &) = delete;
  LazyLock &operator=(const LazyLock &) = delete;
  bool Held() const { return m_mutex != nullptr; }  // else one line is logged

 private:
  MtMutex *m_mutex;
  const char *const m_func;
};

#endif
