/// @file
/// SharedRef: one reference of a shared object, dropped with the holder.
#ifndef KXCERT_SRC_TRUST_SHAREDREF_H_
#define KXCERT_SRC_TRUST_SHAREDREF_H_

#include <utility>

#include "kxcert/cert/sxCert.h"
#include "kxcert/cert/sxCerts.h"
#include "kxcert/foundation/sxPKobj.h"

/// While one lives, no other thread drops a reference: what a look-up lends stays until it was saved.
///
/// The lock of the counts comes before the locks of sets and caches, and is never waited for under one
/// of them, so that programs may hold it around a look-up, too.
class CountsLock {
 public:
  CountsLock() { sxPKobj::Lock(); }
  ~CountsLock() { sxPKobj::Unlock(); }
  CountsLock(const CountsLock &) = delete;
  CountsLock &operator=(const CountsLock &) = delete;
};

template <class T>
class SharedRef {
 public:
  SharedRef() = default;
  explicit SharedRef(T *obj) : m_obj(obj) { sxSavePKobj(obj); }  ///< takes a reference of its own
  SharedRef(SharedRef &&other) noexcept : m_obj(other.Release()) {}
  SharedRef &operator=(SharedRef &&other) noexcept {
    std::swap(m_obj, other.m_obj);
    return *this;
  }
  ~SharedRef() { sxFreePKobj(m_obj); }

  /// Of what @p lookUp lends, which another thread may be about to remove.
  template <class LookUp>
  static SharedRef To(const LookUp &lookUp) {
    const CountsLock lock;
    return SharedRef(lookUp());
  }

  static SharedRef Adopt(T *obj) {  ///< the caller's reference
    SharedRef ref;
    ref.m_obj = obj;
    return ref;
  }

  T *get() const { return m_obj; }
  T *operator->() const { return m_obj; }
  T &operator*() const { return *m_obj; }
  explicit operator bool() const { return m_obj != nullptr; }
  bool operator==(const T *obj) const { return m_obj == obj; }
  T *Release() { return std::exchange(m_obj, nullptr); }  ///< hands the reference over

 private:
  T *m_obj = nullptr;
};

/// Adds a certificate that stays its lender's too.
inline void AddReference(sxCerts &chain, sxCert *cert) { chain.Add(SharedRef<sxCert>(cert).Release()); }

#endif
