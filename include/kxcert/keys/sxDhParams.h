/// @file
/// sxDhParams: a copy of one Diffie-Hellman group, for making keys.
///
/// Taken under the table's lock and independent of it from then on: loading other groups changes
/// nothing here. Constant once built, so any thread may read it.
#ifndef KXCERT_KEYS_SXDHPARAMS_H_
#define KXCERT_KEYS_SXDHPARAMS_H_

#include "kxcert/platform/export.h"

class sxDhParams_imp;

class KXCERT_EXPORT sxDhParams {
 public:
  /// @param groupName  a row of the table (dhGroups.h); see OK()
  /// @param privBits   length of private values; the group's configured length is used instead of one
  ///                   that is shorter than 16 octets or longer than the modulus, so also of 0
  explicit sxDhParams(const char *groupName, int privBits = 0);
  ~sxDhParams();
  sxDhParams(const sxDhParams &) = delete;
  sxDhParams &operator=(const sxDhParams &) = delete;

  int OK() const;            ///< 1 when the group was found, else 0 (one line logged)
  const char *Name() const;  ///< as given; "" for null
  // Lent as long as the object lives. Null and 0 when it is not OK.
  const unsigned char *Mod() const;  ///< big-endian
  int ModLen() const;
  const unsigned char *Gen() const;  ///< big-endian
  int GenLen() const;
  int PrivBits() const;
  int PrivBytes() const;  ///< octets that hold so many bits

 private:
  sxDhParams_imp *m_imp;  // owned, never null
};

constexpr int kMinDhPrivBytes = 16;  ///< octets of the shortest private value that can be asked for

#endif
