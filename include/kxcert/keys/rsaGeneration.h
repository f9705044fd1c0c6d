/// @file
/// New RSA key pairs, as libcrypto's keys. sxGenerateRSA (kxSRSA.h) makes tested sxPubKey of them.
///
/// The primes are built from auxiliary primes (ANSI X9.31; compare FIPS 186-4, B.3.6). Any number of
/// threads may generate at once. It takes long: a tenth of a second and more with 2048 bits.
#ifndef KXCERT_KEYS_RSAGENERATION_H_
#define KXCERT_KEYS_RSAGENERATION_H_

#include <atomic>

#include "kxcert/platform/export.h"

struct bignum_st;
struct rsa_st;

/// Longest request with a random exponent: libcrypto verifies with exponents of that size only up to
/// 3072 bits of modulus.
constexpr int kMaxRandomExponentRsaBits = 3064;

/// Makes a key pair. The primes have bits / 2 bits, rounded up to a multiple of 128 and to 512 at least,
/// and the modulus twice as many: up to 1024 bits give 1024, 1100 give 1280, 2048 give 2048.
///
/// With exponent 0 the public exponent is a random odd number about as long as the modulus, the primes
/// come from libcrypto, and the modulus is three bits longer than @p bits rounded up to whole octets.
///
/// @param bits      kMinRsaBits to kMaxRsaBits; up to kMaxRandomExponentRsaBits with exponent 0
/// @param exponent  0, or odd and above 1. For 3 the key gets 17, always and by intent
/// @return for RSA_free; null for another argument, without random octets or memory (one line logged)
KXCERT_EXPORT rsa_st *kxGenRSA(int bits, int exponent);

/// What a generation worked with, for checking it against the standard. All of it is secret but n.
/// The numbers are the record's own copies, which its destructor wipes and frees; null until it is filled.
class KXCERT_EXPORT kxRSAGenRecord {
 public:
  kxRSAGenRecord() = default;
  ~kxRSAGenRecord();
  kxRSAGenRecord(const kxRSAGenRecord &) = delete;
  kxRSAGenRecord &operator=(const kxRSAGenRecord &) = delete;

  int p1Bits = 0, p2Bits = 0, q1Bits = 0, q2Bits = 0;  ///< sizes of the auxiliary primes
  bignum_st *p1 = nullptr, *p2 = nullptr;              ///< auxiliary primes: p = 1 mod p1, -1 mod p2
  bignum_st *q1 = nullptr, *q2 = nullptr;
  bignum_st *Xp = nullptr, *Xq = nullptr;  ///< the random numbers the searches began at
  bignum_st *p = nullptr, *q = nullptr;    ///< as found from Xp and Xq: q may be the larger
  bignum_st *n = nullptr, *d = nullptr;
};

/// As kxGenRSA, told the size of the primes; takes every odd exponent above 1 as it is, 3 too, and not 0.
/// @param primeBits  half of what kxGenRSA takes
/// @param record     filled anew on success, else left as it was; or null
KXCERT_EXPORT rsa_st *kxGenRSA_worked(int primeBits, int exponent, kxRSAGenRecord *record);

/// What the latest generation from auxiliary primes chose: their size in bits, and the rounds of
/// Miller-Rabin asked for. 0 before the first one. Only for looking at: each is whole by itself, but
/// while several threads generate, the two may belong to different keys.
extern KXCERT_EXPORT std::atomic<int> auxilary_prime_bits;
extern KXCERT_EXPORT std::atomic<int> auxilary_prime_MillerRabinIterations;

#endif
