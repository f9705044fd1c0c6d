#include "kxcert/foundation/sxPKobj.h"

#include "kxcert/foundation/sxPKobj_imp.h"
#include "kxcert/platform/log.h"
#include "kxcert/platform/mutex.h"

MtMutex *sxPKobj_imp::m_Mutex = nullptr;

sxPKobj_imp::~sxPKobj_imp() {
  // An object on the stack or owned by one holder goes with the count it was born with.
  if (refcount > 1) herror_func(0, 0, "sxPKobj_imp::~sxPKobj_imp: non zero refcount");
}

int sxPKobj_imp::UseMutex() {
  if (m_Mutex != nullptr) return 0;
  m_Mutex = MtMutexCreateRecursive("sxPKobj_imp");
  if (m_Mutex != nullptr) return 0;
  herror_func(0, 0, "%s: Failed to create Mutex", "sxPKobj_imp::UseMutex");
  return -1;
}

int sxPKobj_imp::Lock() {
  if (m_Mutex != nullptr && MtMutexLock(m_Mutex) != 0) {
    error(0, 1, "%s: Failed to Lock Mutex", "sxPKobj_imp::Lock");
  }
  return 0;
}

int sxPKobj_imp::Unlock() {
  if (m_Mutex != nullptr && MtMutexUnLock(m_Mutex) != 0) {
    error(0, 1, "%s: Failed to Unlock Mutex", "sxPKobj_imp::Unlock");
  }
  return 0;
}

sxPKobj::~sxPKobj() { delete m_imp; }

void sxPKobj::IncRef() { m_imp->IncRef(); }
int sxPKobj::DecRef() { return m_imp->DecRef(); }
int sxPKobj::UsingMutex() { return m_imp->UsingMutex(); }
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
