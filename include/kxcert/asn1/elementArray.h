/// @file
/// sxAsnElemArray: the elements of a list, in order and owned.
///
/// One element takes no block of its own, as most sets of a name hold one; more stand in a block that
/// grows by half. Adding and removing at either end costs the same on average, in the middle it moves
/// the pointers behind. No locking.
#ifndef KXCERT_ASN1_ELEMENTARRAY_H_
#define KXCERT_ASN1_ELEMENTARRAY_H_

#include <memory>

#include "kxcert/platform/export.h"

class sxAsnType;

class sxAsnElemArray {
 public:
  sxAsnElemArray() = default;
  sxAsnElemArray(const sxAsnElemArray &) = delete;
  sxAsnElemArray &operator=(const sxAsnElemArray &) = delete;
  ~sxAsnElemArray();

  int Count() const { return m_count; }
  sxAsnType *operator[](int index) const { return begin()[index]; }  ///< lent; 0 to Count() - 1
  sxAsnType *const *begin() const { return (m_capacity == kInPlace ? &m_only : m_block) + m_start; }
  sxAsnType *const *end() const { return begin() + m_count; }

  /// Puts @p elem before the element @p at, 0 to Count(). Throws std::bad_alloc; nothing has changed then.
  void Insert(int at, std::unique_ptr<sxAsnType> elem);
  void Remove(int at);  ///< deletes the element
  void Clear();
  void Swap(sxAsnElemArray &other) noexcept;  ///< exchanges the elements

 private:
  static constexpr int kInPlace = 1;  // the capacity of an array without a block
  static constexpr int kSmallestBlock = 4;

  sxAsnType **Area() { return m_capacity == kInPlace ? &m_only : m_block; }
  void MakeRoom(bool inFront);  // at the end, or in front of the first

  union {
    sxAsnType *m_only = nullptr;
    sxAsnType **m_block;  // from malloc
  };
  int m_start = 0;  // where the first element stands
  int m_count = 0;
  int m_capacity = kInPlace;
};

#endif
