/// @file
/// Public values of Diffie-Hellman keys from powers of the generator that were computed before: about
/// four times as fast as an exponentiation.
///
/// The process has one list of such tables, at most one per group; key creation (kxSDH.h) looks there
/// first. One mutex of its own guards the list, so its functions may be called from any thread.
#ifndef KXCERT_KEYS_DHPRECOMPUTE_H_
#define KXCERT_KEYS_DHPRECOMPUTE_H_

#include <memory>

#include "kxcert/platform/export.h"

struct bignum_st;
struct kxDHPreCompute_imp;
class sxDhParams;

/// The table of one group. Constant once built: any number of threads may use it at once.
///
/// Private values of B octets take B * 8 / 5 digits of 32 powers each, all as long as the modulus:
/// 512 KiB, built in 4 ms, for 320 bits with a modulus of 2048; 51 MiB for the longest of both.
class KXCERT_EXPORT kxDHPreCompute {
 public:
  /// For private values of up to params.PrivBytes() octets; see OK().
  explicit kxDHPreCompute(const sxDhParams &params);
  ~kxDHPreCompute();
  kxDHPreCompute(const kxDHPreCompute &) = delete;
  kxDHPreCompute &operator=(const kxDHPreCompute &) = delete;

  int OK() const;        ///< 0 for parameters that are not OK or no group (one line logged)
  int NumBytes() const;  ///< octets of the longest private value
  /// Whether the table belongs to this group. Names alone do not tell: groups can be loaded anew.
  bool IsFor(const bignum_st *p, const bignum_st *g) const;

  /// g ^ x mod p. Time and memory access do not depend on the octets, nor on their count.
  /// @param[out] result         undefined on failure
  /// @param      privateOctets  x, big-endian; borrowed
  /// @return 1; 0 when @p len is negative or above NumBytes(), or libcrypto fails
  int GenPub(bignum_st *result, const unsigned char *privateOctets, int len) const;

 private:
  std::unique_ptr<const kxDHPreCompute_imp> m_imp;  // null while not OK
};

/// The process's list.
class KXCERT_EXPORT DHPreCList {
 public:
  /// Makes the mutex at the first call; DHPreCompute_AddGroup does so too. @return 0 or -1
  static int CreateMutex();
  /// Empties the list. Tables that are in use go with their last user.
  static void Destroy();
  /// @return a share of the table; null when the group has none
  static std::shared_ptr<const kxDHPreCompute> DhPreC_Bygroup(const char *groupName);
};

/// Makes the table of a loaded group, with its configured private length, and lists it in place of an
/// earlier one. @return 0, or -1 (one line logged) and the list is as it was
KXCERT_EXPORT int DHPreCompute_AddGroup(const char *groupName);

/// Makes every listed group's table anew, for use after groups were loaded again. Those that are no
/// longer loaded leave the list. @return 0; -1 when one of them left, or the list cannot be locked
KXCERT_EXPORT int DHPreCompute_Reconf();

/// As DHPreCList::DhPreC_Bygroup, but lent: for callers who know that the list stays as it is.
KXCERT_EXPORT const kxDHPreCompute *DHPreC_ByGroup(const char *groupName);

#endif
