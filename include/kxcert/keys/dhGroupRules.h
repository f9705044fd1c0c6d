/// @file
/// Rules for configured Diffie-Hellman groups: which numbers and private lengths a group may have, and
/// the list of groups as those who edit configuration hold it.
///
/// The rules are plain functions of their arguments. A list is a value of its own: nothing here
/// changes the process's table; that is done by LoadAllDHGroups.
#ifndef KXCERT_KEYS_DHGROUPRULES_H_
#define KXCERT_KEYS_DHGROUPRULES_H_

#include <string>
#include <vector>

#include "kxcert/platform/export.h"

/// One group as configured.
struct DhGrpParams {
  std::string name;                ///< unique within a list
  int grpNum = 0;                  ///< IKE group number, unique within a list
  int privLen = 0;                 ///< of private values, bits
  int modSize = 0;                 ///< of the modulus, bits
  int genSize = 0;                 ///< of the generator, bits
  std::vector<unsigned char> mod;  ///< big-endian
  std::vector<unsigned char> gen;  ///< big-endian
};

// What the rules answer; 0: none is broken.
constexpr int kDhNumberIllegal = 2;
constexpr int kDhNumberNotUnique = 3;
constexpr int kDhNameNotUnique = 4;
constexpr int kDhModSizeWrong = 5;
constexpr int kDhGenSizeWrong = 6;
constexpr int kDhNumberUnknown = 7;
constexpr int kDhNumberPredefined = 8;
constexpr int kDhPrivLenOutOfRange = 9;
constexpr int kDhPredefinedMissing = 10;
constexpr int kDhNoInput = 11;

constexpr int kMinDhPrivLen = 128;  ///< bits

/// Legal are 1, 2, 5, 14 to 20, 22 to 24, and 32768 to 65535, which are for private use (RFC 7296,
/// 3.3.2). @return 1 for any other (one line logged), else 0
KXCERT_EXPORT int GrpNumOutOfLegalRange(int groupNumber);

/// Whether the group of @p oldNumber may get @p newNumber. In this order: 1, 2 and 5 keep their
/// numbers (kDhNumberPredefined, also when both are the same), the new one must be legal
/// (kDhNumberIllegal) and no other group's (kDhNumberNotUnique), and the old one be in the list
/// (kDhNumberUnknown).
/// @return 0 or one of those (one line logged); kDhNoInput for a count without a list
KXCERT_EXPORT int VerifyDhGrpNum(int count, const DhGrpParams *list, int oldNumber, int newNumber);

/// Whether private values of a group may have that many bits: kMinDhPrivLen at least and, our choice,
/// as many as its modulus octets hold at most.
/// @param[out] minLen, maxLen  those two bounds; either may be null; untouched without a group
/// @return 0, kDhPrivLenOutOfRange or kDhNoInput (one line logged)
KXCERT_EXPORT int VerifyDhPrivLen(const DhGrpParams *group, int privLen, int *minLen, int *maxLen);

/// Whether a list can be stored as configuration: 1, 2 and 5 are there; names and numbers are unique
/// and numbers legal; sizes agree with the octets as LoadAllDHGroups wants them; private lengths pass
/// VerifyDhPrivLen. Groups of older protocols, which have no number, are not part of such a list.
/// @return 0, or the code of what is broken first (one line logged); kDhNoInput for a count without a list
KXCERT_EXPORT int ValidateDhGrpList(int count, const DhGrpParams *list);

/// The numbered groups of the process's table, as a list that is handed over for DestroyDhGrpParams.
/// @param[out] list  null when there are none
/// @return their count; -1 when nothing is loaded
KXCERT_EXPORT int GetDhParams(DhGrpParams **list);
KXCERT_EXPORT void DestroyDhGrpParams(DhGrpParams *list);  ///< null is ignored

#endif
