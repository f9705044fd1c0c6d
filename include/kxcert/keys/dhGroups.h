/// @file
/// Diffie-Hellman groups: the process's table of them, loaded from configuration objects, and the
/// lookups that key exchange makes in it.
///
/// docs/formats/dhGroups.md shows the objects. One mutex guards the table, so every function may be
/// called from any thread: it sees the table before a load or after it, never one in between.
#ifndef KXCERT_KEYS_DHGROUPS_H_
#define KXCERT_KEYS_DHGROUPS_H_

#include <string>

#include "kxcert/platform/export.h"

class sxset;

/// Octets of the longest modulus or generator that is loaded: 8192 bits, the largest well-known group,
/// and as much as a set holds of one number.
constexpr int kMaxDhModulusLen = 1024;
constexpr int kMaxDhGroupNameLen = 255;     ///< bytes of the longest name that is loaded
constexpr int kMaxIkeGroupNumber = 0xFFFF;  ///< IKE carries sixteen bits (RFC 7296, 3.3.2)

/// Replaces the table. The previous one goes first, whatever comes of the load: after a failure there
/// are no groups at all, rather than some of them.
/// @param groups  a null pointer ends the array; borrowed for the call
/// @retval  0  every object is a row of the table
/// @retval -1  no array, a mutex that fails, or an object that is no group (one line logged)
KXCERT_EXPORT int LoadAllDHGroups(const sxset *const *groups);

constexpr const char *kDhGroupsFileName = "dh_groups";  ///< in the configuration directory

/// LoadAllDHGroups with the groups of a file: one set, whose members are the objects, whatever they are called.
/// docs/formats/dhGroups.md shows it; the one that is installed holds the well-known groups of IKE.
/// @param fileName    null: kDhGroupsFileName in the configuration directory
/// @param[out] error  when not null: what is wrong, with the file's name; untouched on success
/// @return 0; -1: the table is as before when the file cannot be read, else empty
KXCERT_EXPORT int LoadDHGroupsFile(const char *fileName, std::string *error);

/// Drops the table; back to the state before the first load.
KXCERT_EXPORT void DestroyDHP();

/// The name of a group. For 1, 2, 5, 14 to 20 and 51200 it is fixed and the table is not looked at;
/// by intent, so that a name can be shown before anything is loaded. For any other number it is the
/// first row's with that number whose name contains "isakmp" or "Group ".
/// @return lent for the life of the process; null when there is none
KXCERT_EXPORT const char *FindIKEDHGroupByGrpNum(int groupNumber);

/// The number of the first such row whose modulus has @p modLen octets; -1 when there is none.
KXCERT_EXPORT int FindIKEDHGroupByModSize(int modLen);

#endif
