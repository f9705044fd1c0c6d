/// @file
/// kxDhKey: a Diffie-Hellman key that is kept: it has a hash to be found by and a set form to be stored
/// in. docs/formats/dhGroups.md shows the set.
#ifndef KXCERT_KEYS_KXDHKEY_H_
#define KXCERT_KEYS_KXDHKEY_H_

#include "kxcert/keys/kxSDH.h"

class kxBinBuf;
class kxDhKey_imp;
class sxString;
class sxset;

constexpr int kDhKeyHashLen = 32;

// Export also gives the set form (sxPK_set).
class KXCERT_EXPORT kxDhKey : public kxSDH {
 public:
  kxDhKey(const sxDhParams &params, int privBits);  ///< as kxSDH
  explicit kxDhKey(kxDhKey_imp *imp);               ///< adopts; for this library

  /// SHA-256 over the public octets (sxPK_public), so over group and public value, never x. Our choice.
  /// @param[out] hash  kDhKeyHashLen octets; untouched on failure
  /// @return 0, or -1 for a key that is not OK
  int GetHash(kxBinBuf &hash) const;
  /// Group, y and, when the key has it, x. @return a new set for delete; null for a key that is not OK
  sxset *ToSet() const;
  /// Another pair in the same group, with private values of the same length.
  /// @return a new key for DhKey_destroy, or null
  kxDhKey *GenKey() const;

 private:
  kxDhKey_imp *Imp() const;
};

// The same as plain functions. A null key or set is a failure; DhKey_destroy ignores it.

/// @return a new key for DhKey_destroy; null for a group that is not loaded
KXCERT_EXPORT kxDhKey *DhKey_create(const char *groupName, int privBits);
KXCERT_EXPORT kxDhKey *DhKey_genkey(const kxDhKey *key);
/// The hash as lower-case hexadecimal text. @return 0 or -1
KXCERT_EXPORT int DhKey_gethash(const kxDhKey *key, sxString &hash);
KXCERT_EXPORT sxset *DhKey_toset(const kxDhKey *key);
/// Needs no table of groups: the set holds p and g. Whether x belongs to y is checked.
/// @return a new key for DhKey_destroy; null when the set holds no usable key (one line logged)
KXCERT_EXPORT kxDhKey *DhKey_fromset(const sxset *set);
/// The same out of the octets that Export writes (kxSDH.h), and those of keys with the parameters of RFC 3279, 2.3.3.
/// The group has no name. @return a new key for DhKey_destroy; null for anything else (one line logged)
KXCERT_EXPORT kxDhKey *DhKey_fromder(sxPK_Format format, const unsigned char *der, int derLen);
/// GetHash of the key in a set. @return 0 or -1
KXCERT_EXPORT int DhKey_binaryhash_fromset(const sxset *set, kxBinBuf &hash);
KXCERT_EXPORT void DhKey_destroy(kxDhKey *key);  ///< drops one reference

#endif
