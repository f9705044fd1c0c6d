// Searching a progression for a prime: which numbers are not worth a test, and the Miller-Rabin test.
#ifndef KXCERT_SRC_KEYS_RSA_PRIMESEARCH_H_
#define KXCERT_SRC_KEYS_RSA_PRIMESEARCH_H_

#include <cstdint>

#include "keys/libcryptoTypes.h"

/// Miller-Rabin with that many random bases (FIPS 186-4, C.3.1), no more and no fewer: BN_check_prime and
/// its kin make 64 at least.
/// @param n  odd, above 3; may be secret
/// @retval  1  n is prime, or passed by chance: one composite in 4^rounds at most
/// @retval  0  n is composite
/// @retval -1  libcrypto refused, or gave no random octets
[[nodiscard]] int MillerRabinTest(const BIGNUM *n, int rounds, BN_CTX *ctx);

/// Walks along n, n + step, n + 2 step, ... and tells which numbers have a small odd prime factor. Only for
/// numbers above all these primes, so that none of them is such a prime itself.
class PrimeSieve {
 public:
  static constexpr int kMaxPrimes = 2048;
  static constexpr int kLargestPrime = 17881;  ///< the last of kMaxPrimes

  /// Both may be secret. @param bits  of the numbers: more of them deserve more primes
  PrimeSieve(const BIGNUM *n, const BIGNUM *step, int bits);
  ~PrimeSieve();
  PrimeSieve(const PrimeSieve &) = delete;
  PrimeSieve &operator=(const PrimeSieve &) = delete;

  bool IsComposite() const;  ///< of the number it stands at; false: it is not known
  void Advance();

 private:
  // What the number and the step leave modulo each prime; below 2^15, so that sums fit. As octets of a
  // secret they are wiped.
  uint16_t m_rests[kMaxPrimes];
  uint16_t m_steps[kMaxPrimes];
  int m_numPrimes;
};

#endif
