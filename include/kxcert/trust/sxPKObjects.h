/// @file
/// sxPKObjects: slots of shared objects; and its iterators.
///
/// Occupied slots always stand together at the front: an object is added in the first free slot, and
/// when one is deleted the last one takes its place, so the order is not that of insertion any more.
/// The set holds one reference of each object.
///
/// A set locks itself: any thread may look up, add and delete. What a look-up lends may be dropped by
/// another thread that deletes: a caller that shares a set so looks up and saves between sxPKobj::Lock()
/// and Unlock(), which keeps every reference where it is. Reference counts then need
/// sxPKobj::UseMutex(). An iterator beside a thread that deletes may miss an object that moves.
#ifndef KXCERT_TRUST_SXPKOBJECTS_H_
#define KXCERT_TRUST_SXPKOBJECTS_H_

#include <cstdint>
#include <cstdio>

#include "kxcert/platform/export.h"

class sxCertifiedKey;
class sxOcspServer;
class sxPKObjects_imp;
class sxPKObjects_iterator_imp;
class sxPKobj;
class sxRootCA;
class SxStream;

class KXCERT_EXPORT sxPKObjects {
 public:
  /// What an object is found by; fixed while the object is in the set.
  using HashFunc = uint64_t (*)(const sxPKobj *obj);
  using MatchFunc = bool (*)(const sxPKobj *obj, const void *wanted);

  /// @param hashOf  makes Find possible: the set then keeps an index by it. Null: no index
  explicit sxPKObjects(HashFunc hashOf = nullptr);
  ~sxPKObjects();
  sxPKObjects(const sxPKObjects &) = delete;
  sxPKObjects &operator=(const sxPKObjects &) = delete;

  int Add(sxPKobj *obj);        ///< takes a reference; 0, or -1 for null
  int Delete(sxPKobj *obj);     ///< drops it; 0, or -1 for null or when it is not here
  sxPKobj *Get(int i) const;    ///< lent; null for an empty or no slot
  bool IsInRange(int i) const;  ///< whether there is such a slot, empty or not
  int Count() const;            ///< occupied slots

  /// Every object in slot order, each as its own kind prints. An empty set writes nothing, no title either.
  void Sprint(SxStream *out, const char *title, int indent) const;  ///< title null: none
  void Fprint(FILE *out, const char *title, int indent) const;      ///< out null: standard output
  void Herror(const char *title) const;

  /// The object in the lowest slot that has this hash and matches. Lent; null without an index.
  sxPKobj *Find(uint64_t hash, MatchFunc matches, const void *wanted) const;
  /// The object in the lowest slot that matches. Lent, or null. The set stays as it is until the end:
  /// @p matches must not change it.
  sxPKobj *FindFirst(MatchFunc matches, const void *wanted) const;

 private:
  sxPKObjects_imp *m_imp;  // owned, never null
};

/// Each starts at slot 0 and borrows the set. Visit while Curr() is not null, calling Next() after each.
class KXCERT_EXPORT sxRootCA_iterator {
 public:
  explicit sxRootCA_iterator(const sxPKObjects &objects);
  ~sxRootCA_iterator();
  sxRootCA_iterator(const sxRootCA_iterator &) = delete;
  sxRootCA_iterator &operator=(const sxRootCA_iterator &) = delete;

  sxRootCA *Curr() const;  ///< lent; null for an empty slot or past the end
  void Next();

 private:
  sxPKObjects_iterator_imp *m_imp;  // owned, never null
};

class KXCERT_EXPORT sxCertKey_iterator {
 public:
  explicit sxCertKey_iterator(const sxPKObjects &objects);
  ~sxCertKey_iterator();
  sxCertKey_iterator(const sxCertKey_iterator &) = delete;
  sxCertKey_iterator &operator=(const sxCertKey_iterator &) = delete;

  sxCertifiedKey *Curr() const;
  void Next();

 private:
  sxPKObjects_iterator_imp *m_imp;  // owned, never null
};

class KXCERT_EXPORT sxOCSP_iterator {
 public:
  explicit sxOCSP_iterator(const sxPKObjects &objects);
  ~sxOCSP_iterator();
  sxOCSP_iterator(const sxOCSP_iterator &) = delete;
  sxOCSP_iterator &operator=(const sxOCSP_iterator &) = delete;

  sxOcspServer *Curr() const;
  void Next();

 private:
  sxPKObjects_iterator_imp *m_imp;  // owned, never null
};

#endif
