// A mutex of the process that is made at its first use, and a hold on it.
#ifndef KXCERT_SRC_KEYS_LAZYMUTEX_H_
#define KXCERT_SRC_KEYS_LAZYMUTEX_H_

#include <atomic>

struct MtMutex;

// Of static storage; the mutex lives as long as the process.
class LazyMutex {
 public:
  // From any thread. False when it cannot be made, with one line that names func.
  [[nodiscard]] bool Create(const char *func);
  MtMutex *Get() const { return m_mutex.load(std::memory_order_acquire); }  // null before Create

 private:
  std::atomic<MtMutex *> m_mutex{nullptr};
};

class LazyLock {
 public:
  LazyLock(const LazyMutex &mutex, const char *func);
  ~LazyLock();
  LazyLock(const LazyLock &) = delete;
  LazyLock &operator=(const LazyLock &) = delete;
  bool Held() const { return m_mutex != nullptr; }  // else one line is logged

 private:
  MtMutex *m_mutex;
  const char *const m_func;
};

#endif
