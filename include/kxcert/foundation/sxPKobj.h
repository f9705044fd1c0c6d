/// @file
/// Shared objects: a handle with one pointer to a reference-counted implementation.
///
/// A new object has one reference, its creator's. sxSavePKobj adds one, sxFreePKobj drops one and the
/// last drop destroys handle and implementation. One process-wide recursive mutex guards all counts
/// once UseMutex() was called; everything else about an object is used from one thread at a time.
///
/// A handle without implementation (null was adopted) counts nothing: it has its creator's reference,
/// sxSavePKobj adds none and the first sxFreePKobj destroys it.
#ifndef KXCERT_FOUNDATION_SXPKOBJ_H_
#define KXCERT_FOUNDATION_SXPKOBJ_H_

#include "kxcert/platform/export.h"

class sxPKobj_imp;

class KXCERT_EXPORT sxPKobj {
 public:
  explicit sxPKobj(sxPKobj_imp *imp) : m_imp(imp) {}  ///< adopts
  ~sxPKobj();                                         ///< deletes it, whatever its count
  sxPKobj(const sxPKobj &) = delete;
  sxPKobj &operator=(const sxPKobj &) = delete;

  void IncRef();
  int DecRef();           ///< the new count; 0 without implementation
  int UsingMutex();       ///< 1 once UseMutex() has made the mutex
  static int UseMutex();  ///< 0, or -1 when it cannot be made
  static int Lock();      ///< always 0: a failure is reported and survived
  static int Unlock();

  sxPKobj_imp *GetP() const { return m_imp; }  ///< the library's own use; lent, may be null

 protected:
  sxPKobj_imp *m_imp;  // owned, may be null
};

KXCERT_EXPORT void sxSavePKobj(sxPKobj *obj);  ///< null is ignored
KXCERT_EXPORT void sxFreePKobj(sxPKobj *obj);  ///< null is ignored

#endif
