// Which numbers are an RSA key, and how it is read.
#ifndef KXCERT_SRC_KEYS_RSA_RSAKEY_H_
#define KXCERT_SRC_KEYS_RSA_RSAKEY_H_

#include "keys/libcryptoTypes.h"

class sxset;

/// Null when libcrypto can verify with the key and its work is bounded; else what is wrong.
const char *WhyNoRsaPublic(const BIGNUM *n, const BIGNUM *e);
/// The same for all that a key has. Its private numbers must belong together; that its primes are prime
/// is not looked at.
const char *WhyNoRsaKey(const RSA *rsa);

/// What kxRSA_from_buf does.
/// @param[out] isDer  public form: whether writing the key gives the same octets again
RsaKey ReadRsaKey(const unsigned char *data, int dataLen, bool privateForm, bool *isDer);

/// The key of these numbers, unchecked; a public one without d. Null when out of memory.
RsaKey NewRsaKey(BigNum n, BigNum e, BigNum d);

/// The set of kxRSA_to_set; without the private part, which may be there or not, unless @p withPrivate.
sxset *RsaToSet(const RSA *rsa, bool withPrivate);

/// Whether both primes and the three values made from them are there (RFC 8017, 3.2).
bool RsaHasCrtParts(const RSA *rsa);

#endif
