// The Lucas half of the Baillie-PSW primality test; primeSearch.h has the Miller-Rabin half.
#ifndef KXCERT_SRC_KEYS_RSA_LUCASTEST_H_
#define KXCERT_SRC_KEYS_RSA_LUCASTEST_H_

#include "keys/libcryptoTypes.h"

/// Strong Lucas probable-prime test with P = 1, Q = (1 - D) / 4 and the discriminant of Selfridge's method
/// A: the first D of 5, -7, 9, -11, ... with Jacobi symbol (D/n) = -1.
/// @see R. Baillie and S. Wagstaff, "Lucas pseudoprimes", Mathematics of Computation 35 (1980);
///      FIPS 186-4, C.3.3, which has the weaker form and the same discriminant
/// @retval  1  prime, or one of the few composites that pass (5459, 5777, 10877, ...)
/// @retval  0  composite, even or below 3
/// @retval -1  libcrypto refused
[[nodiscard]] int StrongLucasTest(const BIGNUM *n, BN_CTX *ctx);

#endif
