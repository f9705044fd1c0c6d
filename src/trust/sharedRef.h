/// @file
/// SharedRef: one reference of a shared object, dropped with the holder.
#ifndef KXCERT_SRC_TRUST_SHAREDREF_H_
#define KXCERT_SRC_TRUST_SHAREDREF_H_

#include "kxcert/foundation/sxPKobj.h"

template <class T>
class SharedRef {
 public:
  explicit SharedRef(T *obj) : m_obj(obj) { sxSavePKobj(obj); }   ///< takes a reference of its own
  ~SharedRef() { sxFreePKobj(m_obj); }
  SharedRef(const SharedRef &) = delete;
  SharedRef &operator=(const SharedRef &) = delete;

  T *get() const { return m_obj; }

 private:
  T *const m_obj;
};

#endif
