#include "lazyMutex.h"

#include "kxcert/platform/log.h"
#include "kxcert/platform/mutex.h"

bool LazyMutex::Create(const char *func) {
  if (Get() != nullptr) return true;
  MtMutex *const made = MtMutexCreate();
  if (made == nullptr) {
    herror_func(0, 0, "%s: Can't create mutex, operation failed", func);
    return false;
  }
  MtMutex *first = nullptr;  // of two threads that get here the first one's stays
  if (!m_mutex.compare_exchange_strong(first, made, std::memory_order_acq_rel)) MtMutexDestroy(made);
  return true;
}

LazyLock::LazyLock(const LazyMutex &mutex, const char *func) : m_mutex(mutex.Get()), m_func(func) {
  if (MtMutexLock(m_mutex) == 0) return;
  herror_func(0, 0, "%s: Can't lock mutex, operation failed", func);
  m_mutex = nullptr;
}

LazyLock::~LazyLock() {
  if (m_mutex != nullptr && MtMutexUnLock(m_mutex) != 0) {
    herror_func(0, 0, "%s: Can't Unlock mutex, operation failed", m_func);
  }
}
