// Diffie-Hellman keys in configuration sets.
#ifndef KXCERT_SRC_KEYS_DH_DHSET_H_
#define KXCERT_SRC_KEYS_DH_DHSET_H_

#include "dhNumbers.h"

class sxset;

// A new set for delete; null when a number is too long for one.
sxset *DhNumbersToSet(const DhNumbers &numbers, bool withPrivate = true);
// Reads one back and checks it, also that x belongs to y. Null, or what is wrong.
const char *DhNumbersFromSet(const sxset &set, DhNumbers *numbers);

#endif
