/// @file
/// Base of the implementations of shared objects.
#ifndef KXCERT_FOUNDATION_SXPKOBJ_IMP_H_
#define KXCERT_FOUNDATION_SXPKOBJ_IMP_H_

#include <atomic>
#include <cstdint>

#include "kxcert/platform/export.h"

struct MtMutex;

class KXCERT_EXPORT sxPKobj_imp {
 public:
  sxPKobj_imp() = default;
  sxPKobj_imp(const sxPKobj_imp &) = delete;
  sxPKobj_imp &operator=(const sxPKobj_imp &) = delete;
  virtual ~sxPKobj_imp();

  void IncRef() { ++refcount; }
  int DecRef() { return --refcount; }
  static int UsingMutex() { return m_Mutex.load() != nullptr ? 1 : 0; }

  static int UseMutex();
  static int Lock();
  static int Unlock();

 private:
  int32_t refcount = 1;
  static std::atomic<MtMutex *> m_Mutex;  // null until UseMutex(); lives for the process
};

#endif
