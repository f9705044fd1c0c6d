/// @file
/// Which moduli are legal for Diffie-Hellman: primes p such that (p - 1) / j is prime for a small j, so
/// that there is a large subgroup of known order.
///
/// For moduli that come from people. Slow by nature: about a second for a good 2048-bit modulus and
/// minutes for 8192 bits; most bad ones are found out at once. Any thread.
#ifndef KXCERT_KEYS_DHMODULUS_H_
#define KXCERT_KEYS_DHMODULUS_H_

#include "kxcert/platform/export.h"

struct bignum_st;

constexpr int kMaxDhCofactor = 999;  ///< the largest j that is tried; by intent no further

/// @param[out] q  the prime (p - 1) / j of the smallest j; may be null; untouched on failure
/// @retval  0  legal
/// @retval -1  p is prime, but no j from 2 to kMaxDhCofactor leaves a prime (one line logged)
/// @retval -5  p is null, not prime, or longer than kMaxDhModulusLen (one line logged)
KXCERT_EXPORT int dh_check_legal_modulus(const bignum_st *p, bignum_st *q);

/// The search alone: p is not asked to be prime.
/// @param[out] q, j  either may be null; untouched on failure
/// @return 0 or -1
KXCERT_EXPORT int dh_find_p_factor(const bignum_st *p, bignum_st *q, int *j);

#endif
