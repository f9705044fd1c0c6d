#include "kxcert/foundation/sxPKobj.h"

#include "kxcert/foundation/sxPKobj_imp.h"
#include "kxcert/platform/log.h"
#include "kxcert/platform/mutex.h"

std::atomic<MtMutex *> sxPKobj_imp::m_Mutex{nullptr};

sxPKobj_imp::~sxPKobj_imp() {
  // An object on the stack or owned by one holder goes with the count it was born with.
  if (refcount > 1) herror_func(0, 0, "sxPKobj_imp::~sxPKobj_imp: non zero refcount");
}

int sxPKobj_imp::UseMutex() {
  if (m_Mutex.load() != nullptr) return 0;
  // Threads that meet here get the same mutex, because it has a name; its count stays for the process.
  MtMutex *const mutex = MtMutexCreateRecursive("sxPKobj_imp");
  if (mutex != nullptr) {
    m_Mutex.store(mutex);
    return 0;
  }
  herror_func(0, 0, "%s: Failed to create Mutex", "sxPKobj_imp::UseMutex");
  return -1;
}

int sxPKobj_imp::Lock() {
  MtMutex *const mutex = m_Mutex.load(std::memory_order_acquire);
  if (mutex != nullptr && MtMutexLock(mutex) != 0) { error(0, 1, "%s: Failed to Lock Mutex", "sxPKobj_imp::Lock"); }
  return 0;
}

int sxPKobj_imp::Unlock() {
  MtMutex *const mutex = m_Mutex.load(std::memory_order_acquire);
  if (mutex != nullptr && MtMutexUnLock(mutex) != 0) {
    error(0, 1, "%s: Failed to Unlock Mutex", "sxPKobj_imp::Unlock");
  }
  return 0;
}

sxPKobj::~sxPKobj() { delete m_imp; }

void sxPKobj::IncRef() {
  if (m_imp != nullptr) m_imp->IncRef();
}
int sxPKobj::DecRef() { return m_imp != nullptr ? m_imp->DecRef() : 0; }
int sxPKobj::UsingMutex() { return sxPKobj_imp::UsingMutex(); }
int sxPKobj::UseMutex() { return sxPKobj_imp::UseMutex(); }
int sxPKobj::Lock() { return sxPKobj_imp::Lock(); }
int sxPKobj::Unlock() { return sxPKobj_imp::Unlock(); }

void sxSavePKobj(sxPKobj *obj) {
  if (obj == nullptr) return;
  sxPKobj::Lock();
  obj->IncRef();
  sxPKobj::Unlock();
}

void sxFreePKobj(sxPKobj *obj) {
  if (obj == nullptr) return;
  sxPKobj::Lock();
  const int count = obj->DecRef();
  sxPKobj::Unlock();
  if (count > 0) return;
  if (count < 0) herror_func(0, 0, "sxFreePKobj: negative reference count %d", count);
  delete obj;
}
