// The primes of an RSA key, built from auxiliary primes (ANSI X9.31; compare FIPS 186-4, B.3.6).
//
// A prime p is made from a random number Xp and two auxiliary primes p1 and p2: the first prime from Xp on
// with p = 1 modulo p1 and p = -1 modulo p2, so that neither p - 1 nor p + 1 has small factors only.
// Everything is the call's own: any number of threads may build primes at once.
#ifndef KXCERT_SRC_KEYS_RSA_AUXILIARYPRIMES_H_
#define KXCERT_SRC_KEYS_RSA_AUXILIARYPRIMES_H_

#include "keys/libcryptoTypes.h"

/// What the size of a prime decides.
struct PrimeSizes {
  int primeBits;        ///< 512, or a multiple of 128 above it
  int minDistanceBits;  ///< |Xp - Xq| must have more bits than that
  int auxiliaryBits;    ///< of p1, p2, q1 and q2, exactly
  int auxiliaryRounds;  ///< of Miller-Rabin for each of those
};

/// @param wantedBits  up to 512: 512; else rounded up to a multiple of 128
PrimeSizes SizesOfPrimes(int wantedBits);

/// A prime and what it came from. All numbers are secret (NewSecretNumber).
struct BuiltPrime {
  BigNum x, aux1, aux2, prime;
};

/// Builds both primes of a key for a public exponent: gcd(prime - 1, exponent) is 1. The first may be the
/// smaller one.
/// @retval  0  done
/// @retval -1  no random octets, or libcrypto refused (one line logged)
[[nodiscard]] int BuildPrimes(const PrimeSizes &sizes, const BIGNUM *exponent, BuiltPrime *p, BuiltPrime *q,
                              BN_CTX *ctx);

#endif
