// Which numbers are an RSA key: cheap questions only, since whoever is sent a key asks them.
#include "keys/rsa/rsaKey.h"
#include "kxcert/keys/kxSRSA.h"

namespace {

// Above this size libcrypto verifies with short exponents only.
constexpr int kSmallModulusBits = OPENSSL_RSA_SMALL_MODULUS_BITS;
constexpr int kMaxLongModulusExponentBits = OPENSSL_RSA_MAX_PUBEXP_BITS;
constexpr int kMinPrimeShare = 4;  // neither prime is shorter than that part of the modulus

static_assert(kMaxRsaBits <= OPENSSL_RSA_MAX_MODULUS_BITS);

// RFC 8017, 3.2; null: not there.
struct PrivateNumbers {
  const BIGNUM *n, *e, *d, *p, *q, *dP, *dQ, *qInv;
  explicit PrivateNumbers(const RSA *rsa) {
    RSA_get0_key(rsa, &n, &e, &d);
    RSA_get0_factors(rsa, &p, &q);
    RSA_get0_crt_params(rsa, &dP, &dQ, &qInv);
  }
};

bool IsBelow(const BIGNUM *number, const BIGNUM *bound) {
  return !BN_is_negative(number) && BN_ucmp(number, bound) < 0;
}

// e d = 1 modulo prime - 1, and the short exponent, where there is one, is d modulo prime - 1.
bool ExponentsFit(const PrivateNumbers &key, const BIGNUM *prime, const BIGNUM *shortExponent, BN_CTX *context) {
  const BigNumFrame frame(context);
  BIGNUM *const order = BN_CTX_get(context), *const value = BN_CTX_get(context);
  if (value == nullptr || BN_copy(order, prime) == nullptr || BN_sub_word(order, 1) != 1) return false;
  if (BN_mod_mul(value, key.e, key.d, order, context) != 1 || !BN_is_one(value)) return false;
  return shortExponent == nullptr || (BN_mod(value, key.d, order, context) == 1 && BN_cmp(value, shortExponent) == 0);
}

bool InverseFits(const PrivateNumbers &key, BN_CTX *context) {
  const BigNumFrame frame(context);
  BIGNUM *const value = BN_CTX_get(context);
  return value != nullptr && IsBelow(key.qInv, key.p) && BN_mod_mul(value, key.q, key.qInv, key.p, context) == 1 &&
         BN_is_one(value);
}

// Lengths first: foreign numbers can be of any.
bool IsFactor(const BIGNUM *prime, int modulusBits) {
  return !BN_is_negative(prime) && BN_is_odd(prime) && BN_num_bits(prime) >= modulusBits / kMinPrimeShare &&
         BN_num_bits(prime) < modulusBits;
}

const char *WhyNoFactors(const PrivateNumbers &key) {
  const int bits = BN_num_bits(key.n);
  if (key.p == nullptr || key.q == nullptr) return "a prime is missing";
  if (!IsFactor(key.p, bits) || !IsFactor(key.q, bits)) return "a prime is even, too short or too long";
  const BigNumContext context(BN_CTX_new());
  const BigNum product(BN_new());
  if (context == nullptr || product == nullptr || BN_mul(product.get(), key.p, key.q, context.get()) != 1) {
    return "no memory";
  }
  if (BN_cmp(product.get(), key.n) != 0) return "the primes do not make the modulus";
  if (!ExponentsFit(key, key.p, key.dP, context.get()) || !ExponentsFit(key, key.q, key.dQ, context.get())) {
    return "the exponents do not belong together";
  }
  if (key.qInv != nullptr && !InverseFits(key, context.get())) return "the coefficient is not the inverse of q";
  return nullptr;
}

}  // namespace

const char *WhyNoRsaPublic(const BIGNUM *n, const BIGNUM *e) {
  if (n == nullptr || e == nullptr) return "modulus or public exponent is missing";
  if (BN_is_negative(n) || BN_is_negative(e)) return "a number is negative";
  const int bits = BN_num_bits(n);
  if (bits < kMinRsaBits) return "modulus is too short";
  if (bits > kMaxRsaBits) return "modulus is too long";
  if (!BN_is_odd(n)) return "modulus is even";
  if (!BN_is_odd(e) || BN_is_one(e)) return "public exponent is even or below 3";
  if (BN_ucmp(e, n) >= 0) return "public exponent is not below the modulus";
  if (bits > kSmallModulusBits && BN_num_bits(e) > kMaxLongModulusExponentBits) {
    return "public exponent is too long for the modulus";
  }
  return nullptr;
}

const char *WhyNoRsaKey(const RSA *rsa) {
  const PrivateNumbers key(rsa);
  if (const char *reason = WhyNoRsaPublic(key.n, key.e)) return reason;
  const bool hasFactors = key.p != nullptr || key.q != nullptr || key.dP != nullptr || key.dQ != nullptr ||
                          key.qInv != nullptr || RSA_get_multi_prime_extra_count(rsa) != 0;
  if (key.d == nullptr) return hasFactors ? "primes without a private exponent" : nullptr;
  // Odd, because the order of the group is even.
  if (!BN_is_odd(key.d) || BN_is_one(key.d) || !IsBelow(key.d, key.n)) {
    return "private exponent is even, below 3 or not below the modulus";
  }
  if (RSA_get_multi_prime_extra_count(rsa) != 0) return "more than two primes";
  const ErrorQueueMark mark;
  return hasFactors ? WhyNoFactors(key) : nullptr;
}
