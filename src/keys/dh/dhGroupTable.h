// The table of Diffie-Hellman groups as the other files of this folder see it: rows copied out.
#ifndef KXCERT_SRC_KEYS_DH_DHGROUPTABLE_H_
#define KXCERT_SRC_KEYS_DH_DHGROUPTABLE_H_

#include <cstddef>
#include <string>
#include <vector>

class sxset;

struct DhGroup {
  std::string name;                // empty: the row that ends the table
  int privBits = 0;                // 1 to 8 * mod.size()
  std::vector<unsigned char> mod;  // big-endian, as configured; not known to be prime
  std::vector<unsigned char> gen;
  int number = 0;  // 0 for the special groups, which IKE does not number
};

// The row of one object; false (one line logged) when it is no group.
[[nodiscard]] bool ReadDhGroup(const sxset &object, DhGroup *group);

// Whether a number of that many octets has the size that configuration tells for it.
[[nodiscard]] bool DhSizeMatches(long long bits, size_t numOctets);

// Copies, taken under the table's lock. They fail when nothing is loaded, which CopyDhGroup logs.
[[nodiscard]] bool CopyDhGroup(const char *func, const char *name, DhGroup *group);
[[nodiscard]] bool CopyDhGroups(const char *func, std::vector<DhGroup> *groups);

#endif
