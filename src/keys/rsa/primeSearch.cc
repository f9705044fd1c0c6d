#include "primeSearch.h"

#include <algorithm>
#include <array>

#include "kxcert/platform/secureMemory.h"

namespace {

// The loops over primes go in blocks of a fixed length, which compilers turn into vector instructions.
constexpr int kBlock = 64;
static_assert(PrimeSieve::kMaxPrimes % kBlock == 0);

using SmallPrimes = std::array<uint16_t, PrimeSieve::kMaxPrimes>;

// The odd primes, by the sieve of Eratosthenes over odd numbers: place i stands for 2 i + 1.
constexpr SmallPrimes MakeSmallPrimes() {
  constexpr int kNumOdd = PrimeSieve::kLargestPrime / 2 + 1;
  bool composite[kNumOdd] = {};
  SmallPrimes primes{};
  int numPrimes = 0;
  for (int i = 1; i < kNumOdd; ++i) {
    if (composite[i]) continue;
    const int prime = 2 * i + 1;
    primes[static_cast<size_t>(numPrimes++)] = static_cast<uint16_t>(prime);
    for (int place = prime * prime / 2; place < kNumOdd; place += prime) composite[place] = true;
  }
  return primes;
}
constexpr SmallPrimes kSmallPrimes = MakeSmallPrimes();
static_assert(kSmallPrimes.back() == PrimeSieve::kLargestPrime && PrimeSieve::kLargestPrime < 1 << 15);

// Two primes for one pass over the number, whose length decides the time. BN_mod_word is quick up to 2^32.
void Reduce(const BIGNUM *n, int numPrimes, uint16_t *rests) {
  for (int i = 0; i < numPrimes; i += 2) {
    const uint32_t first = kSmallPrimes[static_cast<size_t>(i)], second = kSmallPrimes[static_cast<size_t>(i) + 1];
    const auto rest = static_cast<uint32_t>(BN_mod_word(n, first * second));
    rests[i] = static_cast<uint16_t>(rest % first);
    rests[i + 1] = static_cast<uint16_t>(rest % second);
  }
}

// The numbers of one Miller-Rabin test: n - 1 = odd 2^twos.
struct Tested {
  const BIGNUM *n;
  BIGNUM *last, *odd;  // last: n - 1
  int twos;
  BN_MONT_CTX *mont;
};

// Whether n looks prime to one base: base^odd is 1, or it becomes -1 when squared fewer than twos times.
int PassesBase(const Tested &tested, const BIGNUM *base, BIGNUM *power, BN_CTX *ctx) {
  if (!BN_mod_exp_mont_consttime(power, base, tested.odd, tested.n, ctx, tested.mont)) return -1;
  if (BN_is_one(power) || BN_cmp(power, tested.last) == 0) return 1;
  for (int i = 1; i < tested.twos; ++i) {
    if (!BN_mod_sqr(power, power, tested.n, ctx)) return -1;
    if (BN_cmp(power, tested.last) == 0) return 1;
  }
  return 0;
}

}  // namespace

int MillerRabinTest(const BIGNUM *n, int rounds, BN_CTX *ctx) {
  BigNumFrame frame(ctx);
  const MontContext mont(BN_MONT_CTX_new());
  Tested tested{n, frame.New(), frame.New(), 0, mont.get()};
  BIGNUM *range = frame.New(), *base = frame.New(), *power = frame.New();
  if (power == nullptr || mont == nullptr || !BN_MONT_CTX_set(mont.get(), n, ctx) ||
      !BN_sub(tested.last, n, BN_value_one()) || BN_copy(range, n) == nullptr || !BN_sub_word(range, 3)) {
    return -1;
  }
  while (!BN_is_bit_set(tested.last, tested.twos)) ++tested.twos;
  if (!BN_rshift(tested.odd, tested.last, tested.twos)) return -1;
  for (int round = 0; round < rounds; ++round) {
    if (!BN_priv_rand_range(base, range) || !BN_add_word(base, 2)) return -1;  // 2 to n - 2
    const int passed = PassesBase(tested, base, power, ctx);
    if (passed != 1) return passed;
  }
  return 1;
}

// The longer a number, the dearer its test, and the more primes pay.
PrimeSieve::PrimeSieve(const BIGNUM *n, const BIGNUM *step, int bits)
    : m_numPrimes(std::clamp(bits / kBlock * kBlock, kBlock, kMaxPrimes)) {
  Reduce(n, m_numPrimes, m_rests);
  Reduce(step, m_numPrimes, m_steps);
}

PrimeSieve::~PrimeSieve() {
  KX_memset(m_rests, sizeof m_rests);
  KX_memset(m_steps, sizeof m_steps);
}

bool PrimeSieve::IsComposite() const {
  bool isComposite = false;
  for (int i = 0; i < m_numPrimes; ++i) isComposite |= m_rests[i] == 0;
  return isComposite;
}

void PrimeSieve::Advance() {
  for (int block = 0; block < m_numPrimes; block += kBlock) {
    uint16_t *const rests = m_rests + block;
    const uint16_t *const steps = m_steps + block, *const primes = kSmallPrimes.data() + block;
    for (int i = 0; i < kBlock; ++i) {
      const auto sum = static_cast<uint16_t>(rests[i] + steps[i]);
      rests[i] = static_cast<uint16_t>(sum >= primes[i] ? sum - primes[i] : sum);
    }
  }
}
