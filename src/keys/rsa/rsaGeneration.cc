#include "kxcert/keys/rsaGeneration.h"

#include <initializer_list>
#include <utility>

#include "auxiliaryPrimes.h"
#include "keys/libcryptoTypes.h"
#include "kxcert/keys/kxSRSA.h"
#include "kxcert/platform/log.h"
#include "rsaExponent.h"

namespace {

// Primes of 4 k + 2 and 4 k + 1 bits with their two top bits set have a product of 8 k + 3 bits.
static_assert((kMaxRandomExponentRsaBits + 7) / 8 * 8 + 3 <= OPENSSL_RSA_SMALL_MODULUS_BITS &&
              (kMaxRandomExponentRsaBits + 8) / 8 * 8 + 3 > OPENSSL_RSA_SMALL_MODULUS_BITS);

RSA *Refuse(const char *func, const char *reason, int bits, int exponent) {
  herror_func(0, 0, "%s: %s (%d bits, exponent %d)", func, reason, bits, exponent);
  return nullptr;
}

const char *WhyRefused(int exponent) {
  return exponent < 0 || exponent == 1 || (exponent != 0 && exponent % 2 == 0)
             ? "public exponent is negative, even or 1"
             : nullptr;
}

// (p - 1) (q - 1). The private exponent is the inverse modulo this product, not the shorter one modulo the
// least common multiple of its factors.
BigNum Totient(const BIGNUM *p, const BIGNUM *q, BN_CTX *ctx) {
  BigNum less = NewSecretNumber(), totient = NewSecretNumber();
  if (less == nullptr || totient == nullptr || !BN_sub(less.get(), p, BN_value_one()) ||
      !BN_sub(totient.get(), q, BN_value_one()) || !BN_mul(totient.get(), totient.get(), less.get(), ctx)) {
    return nullptr;
  }
  return totient;
}

// d modulo (prime - 1)
BigNum CrtExponent(const BIGNUM *d, const BIGNUM *prime, BN_CTX *ctx) {
  BigNum less = NewSecretNumber(), rest = NewSecretNumber();
  if (less == nullptr || rest == nullptr || !BN_sub(less.get(), prime, BN_value_one()) ||
      !BN_mod(rest.get(), d, less.get(), ctx)) {
    return nullptr;
  }
  return rest;
}

// The key of these numbers and the ones that follow from them; null when libcrypto refused. p > q.
RsaKey AssembleKey(BigNum p, BigNum q, BigNum e, BigNum d, BN_CTX *ctx) {
  RsaKey key(RSA_new());
  BigNum n(BN_new());
  BigNum dmp1 = CrtExponent(d.get(), p.get(), ctx), dmq1 = CrtExponent(d.get(), q.get(), ctx);
  BigNum iqmp = NewSecretNumber();
  if (key == nullptr || n == nullptr || dmp1 == nullptr || dmq1 == nullptr || iqmp == nullptr ||
      !BN_mul(n.get(), p.get(), q.get(), ctx) || BN_mod_inverse(iqmp.get(), q.get(), p.get(), ctx) == nullptr) {
    return nullptr;
  }
  // None of them fails when all its numbers are there; the key owns them from then on.
  RSA_set0_key(key.get(), n.release(), e.release(), d.release());
  RSA_set0_factors(key.get(), p.release(), q.release());
  RSA_set0_crt_params(key.get(), dmp1.release(), dmq1.release(), iqmp.release());
  return key;
}

void ClearNumbers(kxRSAGenRecord *record) {
  for (BIGNUM **number : {&record->p1, &record->p2, &record->q1, &record->q2, &record->Xp, &record->Xq, &record->p,
                          &record->q, &record->n, &record->d}) {
    BN_clear_free(*number);
    *number = nullptr;
  }
}

bool FillRecord(kxRSAGenRecord *record, const BuiltPrime &p, const BuiltPrime &q, const RSA *key) {
  struct Row {
    BIGNUM **slot;
    const BIGNUM *number;
    BigNum copy;
  };
  Row rows[] = {{&record->p1, p.aux1.get(), nullptr},   {&record->p2, p.aux2.get(), nullptr},
                {&record->q1, q.aux1.get(), nullptr},   {&record->q2, q.aux2.get(), nullptr},
                {&record->Xp, p.x.get(), nullptr},      {&record->Xq, q.x.get(), nullptr},
                {&record->p, p.prime.get(), nullptr},   {&record->q, q.prime.get(), nullptr},
                {&record->n, RSA_get0_n(key), nullptr}, {&record->d, RSA_get0_d(key), nullptr}};
  for (Row &row : rows) {
    row.copy.reset(BN_dup(row.number));
    if (row.copy == nullptr) return false;
  }
  ClearNumbers(record);
  for (Row &row : rows) *row.slot = row.copy.release();
  record->p1Bits = BN_num_bits(record->p1);
  record->p2Bits = BN_num_bits(record->p2);
  record->q1Bits = BN_num_bits(record->q1);
  record->q2Bits = BN_num_bits(record->q2);
  return true;
}

// A key whose primes come from auxiliary ones.
RsaKey GenerateBuilt(int primeBits, int exponent, kxRSAGenRecord *record) {
  const PrimeSizes sizes = SizesOfPrimes(primeBits);
  auxilary_prime_bits.store(sizes.auxiliaryBits, std::memory_order_relaxed);
  auxilary_prime_MillerRabinIterations.store(sizes.auxiliaryRounds, std::memory_order_relaxed);

  const BigNumContext ctx(BN_CTX_secure_new());
  BigNum e(BN_new()), d = NewSecretNumber();
  BuiltPrime p, q;
  if (ctx == nullptr || e == nullptr || d == nullptr || !BN_set_word(e.get(), static_cast<BN_ULONG>(exponent)) ||
      BuildPrimes(sizes, e.get(), &p, &q, ctx.get()) != 0) {
    return nullptr;
  }
  const BigNum totient = Totient(p.prime.get(), q.prime.get(), ctx.get());
  if (totient == nullptr || BN_mod_inverse(d.get(), e.get(), totient.get(), ctx.get()) == nullptr) { return nullptr; }

  BigNum larger = NewSecretNumber(), smaller = NewSecretNumber();
  if (larger == nullptr || smaller == nullptr || BN_copy(larger.get(), p.prime.get()) == nullptr ||
      BN_copy(smaller.get(), q.prime.get()) == nullptr) {
    return nullptr;
  }
  if (BN_cmp(larger.get(), smaller.get()) < 0) larger.swap(smaller);
  RsaKey key = AssembleKey(std::move(larger), std::move(smaller), std::move(e), std::move(d), ctx.get());
  if (key != nullptr && record != nullptr && !FillRecord(record, p, q, key.get())) return nullptr;
  return key;
}

// e is drawn until it has an inverse d; it may be even, and then has none.
bool DrawExponents(int bits, const BIGNUM *totient, BIGNUM *e, BIGNUM *d, BN_CTX *ctx) {
  for (;;) {
    if (!BN_priv_rand(e, bits, BN_RAND_TOP_ONE, BN_RAND_BOTTOM_ANY)) return false;
    const ErrorQueueMark mark;
    if (BN_mod_inverse(d, e, totient, ctx) != nullptr) return true;
    if (ERR_GET_REASON(ERR_peek_last_error()) != BN_R_NO_INVERSE) return false;
  }
}

// A key with a random public exponent. The modulus is a few bits longer than asked for: by intent, so that
// every exponent of the drawn size lies below it.
RsaKey GenerateWithRandomExponent(int bits) {
  const int numBytes = (bits + 7) / 8;
  const BigNumContext ctx(BN_CTX_secure_new());
  BigNum p = NewSecretNumber(), q = NewSecretNumber(), e(BN_new()), d = NewSecretNumber();
  if (ctx == nullptr || p == nullptr || q == nullptr || e == nullptr || d == nullptr ||
      !BN_generate_prime_ex2(p.get(), 4 * numBytes + 2, 0, nullptr, nullptr, nullptr, ctx.get()) ||
      !BN_generate_prime_ex2(q.get(), 4 * numBytes + 1, 0, nullptr, nullptr, nullptr, ctx.get())) {
    return nullptr;
  }
  const BigNum totient = Totient(p.get(), q.get(), ctx.get());
  if (totient == nullptr || !DrawExponents(2 * (4 * numBytes + 1), totient.get(), e.get(), d.get(), ctx.get())) {
    return nullptr;
  }
  return AssembleKey(std::move(p), std::move(q), std::move(e), std::move(d), ctx.get());
}

}  // namespace

std::atomic<int> auxilary_prime_bits{0};
std::atomic<int> auxilary_prime_MillerRabinIterations{0};

kxRSAGenRecord::~kxRSAGenRecord() { ClearNumbers(this); }

RSA *kxGenRSA(int bits, int exponent) {
  constexpr const char *kFunc = "kxGenRSA";
  exponent = UsedRsaExponent(exponent);
  const int maxBits = exponent == 0 ? kMaxRandomExponentRsaBits : kMaxRsaBits;
  if (bits < kMinRsaBits || bits > maxBits) { return Refuse(kFunc, "no keys of that size are made", bits, exponent); }
  if (const char *reason = WhyRefused(exponent)) return Refuse(kFunc, reason, bits, exponent);
  const ErrorQueueMark mark;
  RsaKey key = exponent == 0 ? GenerateWithRandomExponent(bits) : GenerateBuilt(bits / 2, exponent, nullptr);
  return key != nullptr ? key.release() : Refuse(kFunc, "generation failed", bits, exponent);
}

RSA *kxGenRSA_worked(int primeBits, int exponent, kxRSAGenRecord *record) {
  constexpr const char *kFunc = "kxGenRSA_worked";
  if (primeBits < kMinRsaBits / 2 || primeBits > kMaxRsaBits / 2) {
    return Refuse(kFunc, "no primes of that size are made", primeBits, exponent);
  }
  const char *reason = exponent == 0 ? "a public exponent is needed" : WhyRefused(exponent);
  if (reason != nullptr) return Refuse(kFunc, reason, primeBits, exponent);
  const ErrorQueueMark mark;
  RsaKey key = GenerateBuilt(primeBits, exponent, record);
  return key != nullptr ? key.release() : Refuse(kFunc, "generation failed", primeBits, exponent);
}
