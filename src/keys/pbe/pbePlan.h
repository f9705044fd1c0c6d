// An AlgorithmIdentifier, read: what is computed of a password, and which cipher takes it.
#ifndef KXCERT_SRC_KEYS_PBE_PBEPLAN_H_
#define KXCERT_SRC_KEYS_PBE_PBEPLAN_H_

#include "pbeAlgorithms.h"
#include "pbeFailure.h"

enum class PbeKdf { kPbkdf1, kPbkdf2, kScrypt, kPkcs12 };

struct PbeDerivation {
  PbeKdf kdf = PbeKdf::kPbkdf2;
  const char *digest = nullptr;  // none for scrypt
  sxOctetView salt;
  uint64_t iterations = 0;
  uint64_t cost = 0, blockSize = 0, parallel = 0;  // N, r and p of scrypt (RFC 7914, 2)
  uint64_t keyLen = 0;                             // that the parameters say; 0: they say none
};

struct PbePlan {
  PbeDerivation derivation;
  const PbeCipher *cipher = nullptr;
  sxOctetView iv;  // empty where it is derived, too
};

// Every number is within its limit when these return true. What is viewed is lent from the input.
bool ReadPbePlan(sxOctetView algorithm, PbePlan *plan, PbeFailure *failure);
bool ReadPbeDerivation(sxOctetView algorithm, PbeDerivation *derivation, PbeFailure *failure);

/// An INTEGER that is not negative; one beyond 64 bits is as large as these go, which no limit allows.
bool TakePbeNumber(sxDerReader &from, uint64_t *number);
/// Of such a number, for messages.
std::string PbeNumberText(uint64_t number);

/// Octets that scrypt holds: N blocks, p that it mixes, and two (RFC 7914, 4 to 6).
uint64_t PbeScryptMemory(const PbeDerivation &derivation);
constexpr uint64_t kMaxPbeScryptHeld = kMaxPbeScryptMemory + (uint64_t{1} << 20);

/// What it takes, in iterations: PBKDF2 and PKCS #12 have all of them for each digest of what is derived (RFC 8018, 5.2;
/// RFC 7292, B.2). Of numbers that are within their limits.
/// @param len  octets that are derived
uint64_t PbeCost(const PbeDerivation &derivation, size_t len);
uint64_t PbeCost(const PbePlan &plan);  ///< of its key, and of its vector where that is derived

bool CheckPbeIterations(uint64_t iterations, PbeFailure *failure);
bool CheckPbeSalt(sxOctetView salt, PbeFailure *failure);

#endif
