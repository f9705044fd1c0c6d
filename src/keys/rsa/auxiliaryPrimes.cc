#include "auxiliaryPrimes.h"

#include <openssl/rand.h>

#include "keys/keyOctets.h"
#include "keys/rsa/primeSearch.h"
#include "kxcert/platform/log.h"
#include "kxcert/platform/random.h"
#include "lucasTest.h"

namespace {

constexpr int kSmallestPrimeBits = 512;
constexpr int kPrimeBitsStep = 128;
constexpr int kDistanceMargin = 101;         // FIPS 186-4, B.3.6: Xp and Xq differ in their first 100 bits
constexpr BN_ULONG kRootOfTwo = 0xB504F334;  // sqrt(2) 2^31, rounded up
constexpr int kMaxRejectedPairs = 80;
constexpr int kSeedSlice = 64;  // octets for the random pool before each auxiliary prime
constexpr int kNumAuxiliaryPrimes = 4;
constexpr int kCandidateRounds = 8;  // of Miller-Rabin; the Lucas test comes on top

struct AuxiliaryRow {
  int belowPrimeBits, bits, rounds;
};
// The numbers are those of FIPS 186-4, tables B.1 and C.2, for moduli of 1024, 2048 and 3072 bits. Here they
// are looked up by the size of the prime, so that a modulus gets the row of one half as long. That is meant
// to be so: other software counts on it. Held by AuxiliaryPrimes.SizesFollowThePrimeNotTheModulus.
constexpr AuxiliaryRow kAuxiliaryRows[] = {{2048, 101, 28}, {3072, 141, 38}, {1 << 30, 171, 41}};

// Uniform in [sqrt(2) 2^(bits-1), 2^bits): two such primes always have a product of 2 bits bits.
bool DrawStart(int bits, BIGNUM *x, BN_CTX *ctx) {
  BigNumFrame frame(ctx);
  BIGNUM *lowest = frame.New(), *range = frame.New();
  return range != nullptr && BN_set_word(lowest, kRootOfTwo) && BN_lshift(lowest, lowest, bits - 32) &&
         BN_set_bit(range, bits) && BN_sub(range, range, lowest) && BN_priv_rand_range(x, range) &&
         BN_add(x, x, lowest);
}

// Primes close together would be found from their product (Fermat's method).
bool DrawStarts(const PrimeSizes &sizes, BIGNUM *xp, BIGNUM *xq, BN_CTX *ctx) {
  BigNumFrame frame(ctx);
  BIGNUM *distance = frame.New();
  if (distance == nullptr) return false;
  for (int rejected = 0; rejected <= kMaxRejectedPairs; ++rejected) {
    if (!DrawStart(sizes.primeBits, xp, ctx) || !DrawStart(sizes.primeBits, xq, ctx) || !BN_sub(distance, xp, xq)) {
      return false;
    }
    if (BN_num_bits(distance) > sizes.minDistanceBits) return true;
  }
  herror_func(0, 0, "BuildPrimes: more than %d pairs of random numbers lay too close together", kMaxRejectedPairs);
  return false;
}

// Adds step to *n until the test passes it. What a small prime divides would fail, and is not tested.
// @param test  of *n; 1 ends the search, and so does -1, as a failure
template <class Test>
bool FirstThatPasses(BIGNUM *n, const BIGNUM *step, int bits, Test test) {
  PrimeSieve sieve(n, step, bits);
  while (BN_num_bits(n) == bits) {  // no prime in range: as good as never
    const int verdict = sieve.IsComposite() ? 0 : test();
    if (verdict != 0) return verdict > 0;
    if (!BN_add(n, n, step)) return false;
    sieve.Advance();
  }
  return false;
}

// The first prime from a random number of that many bits on, its two top bits set.
bool DrawAuxiliaryPrime(const PrimeSizes &sizes, BIGNUM *prime, BN_CTX *ctx) {
  BigNumFrame frame(ctx);
  BIGNUM *step = frame.New();
  if (step == nullptr || !BN_set_word(step, 2) ||
      !BN_priv_rand(prime, sizes.auxiliaryBits, BN_RAND_TOP_TWO, BN_RAND_BOTTOM_ODD)) {
    return false;
  }
  return FirstThatPasses(prime, step, sizes.auxiliaryBits,
                         [&] { return MillerRabinTest(prime, sizes.auxiliaryRounds, ctx); });
}

// p1, p2, q1, q2, each after the pool was given octets that nothing else has seen.
bool DrawAuxiliaryPrimes(const PrimeSizes &sizes, BuiltPrime *p, BuiltPrime *q, BN_CTX *ctx) {
  kxBinBuf seed = SensitiveBuf(kNumAuxiliaryPrimes * kSeedSlice);
  if (sxrand_gen(seed.Data(), static_cast<int>(seed.Len())) != 0) return false;
  const unsigned char *slice = seed.Data();
  for (const BigNum *prime : {&p->aux1, &p->aux2, &q->aux1, &q->aux2}) {
    RAND_seed(slice, kSeedSlice);
    if (!DrawAuxiliaryPrime(sizes, prime->get(), ctx)) return false;
    slice += kSeedSlice;
  }
  return true;
}

// *prime = the first number from x on that is 1 modulo aux1 and -1 modulo aux2; *step = aux1 aux2.
bool FirstCandidate(const BuiltPrime &from, BIGNUM *prime, BIGNUM *step, BN_CTX *ctx) {
  BigNumFrame frame(ctx);
  BIGNUM *one = frame.New(), *minusOne = frame.New();  // modulo aux1 and 0 modulo aux2, and the other way
  const BIGNUM *aux1 = from.aux1.get(), *aux2 = from.aux2.get();
  return minusOne != nullptr && BN_mul(step, aux1, aux2, ctx) && BN_mod_inverse(one, aux2, aux1, ctx) != nullptr &&
         BN_mul(one, one, aux2, ctx) && BN_mod_inverse(minusOne, aux1, aux2, ctx) != nullptr &&
         BN_mul(minusOne, minusOne, aux1, ctx) && BN_sub(prime, one, minusOne) && BN_sub(prime, prime, from.x.get()) &&
         BN_nnmod(prime, prime, step, ctx) && BN_add(prime, prime, from.x.get());
}

// 1 when gcd(n - 1, exponent) is 1, which the private exponent needs; 0; or -1 when libcrypto refused.
int FitsExponent(const BIGNUM *n, const BIGNUM *exponent, BN_CTX *ctx) {
  BigNumFrame frame(ctx);
  BIGNUM *rest = frame.New();
  if (rest == nullptr || !BN_sub(rest, n, BN_value_one()) || !BN_nnmod(rest, rest, exponent, ctx) ||
      !BN_gcd(rest, rest, exponent, ctx)) {
    return -1;
  }
  return BN_is_one(rest) ? 1 : 0;
}

int IsUsablePrime(const BIGNUM *n, const BIGNUM *exponent, BN_CTX *ctx) {
  int verdict = FitsExponent(n, exponent, ctx);
  if (verdict == 1) verdict = MillerRabinTest(n, kCandidateRounds, ctx);
  if (verdict == 1) verdict = StrongLucasTest(n, ctx);
  return verdict;
}

bool FindPrime(const PrimeSizes &sizes, const BIGNUM *exponent, BuiltPrime *built, BN_CTX *ctx) {
  BigNumFrame frame(ctx);
  BIGNUM *step = frame.New();
  BIGNUM *prime = built->prime.get();
  if (step == nullptr || !FirstCandidate(*built, prime, step, ctx)) return false;
  // The step is odd: every second candidate is even and not looked at.
  if (!BN_is_odd(prime) && !BN_add(prime, prime, step)) return false;
  if (!BN_lshift1(step, step)) return false;
  return FirstThatPasses(prime, step, sizes.primeBits, [&] { return IsUsablePrime(prime, exponent, ctx); });
}

bool Allocate(BuiltPrime *built) {
  for (BigNum *number : {&built->x, &built->aux1, &built->aux2, &built->prime}) {
    *number = NewSecretNumber();
    if (*number == nullptr) return false;
  }
  return true;
}

}  // namespace

PrimeSizes SizesOfPrimes(int wantedBits) {
  PrimeSizes sizes{};
  sizes.primeBits = wantedBits <= kSmallestPrimeBits
                        ? kSmallestPrimeBits
                        : (wantedBits + kPrimeBitsStep - 1) / kPrimeBitsStep * kPrimeBitsStep;
  sizes.minDistanceBits = sizes.primeBits - kDistanceMargin;
  const AuxiliaryRow *row = kAuxiliaryRows;
  while (sizes.primeBits >= row->belowPrimeBits) ++row;
  sizes.auxiliaryBits = row->bits;
  sizes.auxiliaryRounds = row->rounds;
  return sizes;
}

int BuildPrimes(const PrimeSizes &sizes, const BIGNUM *exponent, BuiltPrime *p, BuiltPrime *q, BN_CTX *ctx) {
  if (Allocate(p) && Allocate(q) && DrawStarts(sizes, p->x.get(), q->x.get(), ctx) &&
      DrawAuxiliaryPrimes(sizes, p, q, ctx) && FindPrime(sizes, exponent, p, ctx) &&
      FindPrime(sizes, exponent, q, ctx)) {
    return 0;
  }
  herror_func(0, 0, "BuildPrimes: no pair of primes (%d bits each)", sizes.primeBits);
  return -1;
}
