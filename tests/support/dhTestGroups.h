/// @file
/// Diffie-Hellman groups for tests: configuration objects, and a table that goes with its holder.
#ifndef KXCERT_TESTS_SUPPORT_DHTESTGROUPS_H_
#define KXCERT_TESTS_SUPPORT_DHTESTGROUPS_H_

#include <openssl/bn.h>

#include <string>
#include <vector>

#include "kxcert/foundation/attributeSet.h"

/// An IKE group with generator 2. @param modHex  whole octets
sxset DhObject(const std::string &name, int number, const std::string &modHex, int privBits);

/// "Group 2 (1024 bit)" and "Group 14 (2048 bit)" with private values of 160 and 320 bits, and "toy",
/// number 40000, modulo the prime 65537 (three octets), where 2 has the order 32.
std::vector<sxset> UsualDhGroups();

/// The modulus of 768, 1024 (RFC 2409) or 2048 bits (RFC 3526), as libcrypto has it.
std::string DhModulusHex(int bits);

/// What LoadAllDHGroups says to these.
int LoadDhGroups(const std::vector<sxset> &groups);

/// Loads groups; drops them, and what was precomputed for any, when it goes.
struct DhTable {
  explicit DhTable(const std::vector<sxset> &groups) : rc(LoadDhGroups(groups)) {}
  ~DhTable();
  const int rc;
};

/// A number that frees itself.
struct Num {
  Num() : n(BN_new()) {}
  explicit Num(unsigned word) : n(BN_new()) { BN_set_word(n, word); }
  explicit Num(const std::string &hex) { BN_hex2bn(&n, hex.c_str()); }
  explicit Num(BIGNUM *adopted) : n(adopted) {}
  ~Num() { BN_clear_free(n); }
  Num(const Num &) = delete;
  std::string Hex() const;
  BIGNUM *n = nullptr;
};

#endif
