#include "kxcert/keys/dhPreCompute.h"

#include <cstdint>
#include <new>

#include "dhNumbers.h"
#include "keys/libcryptoTypes.h"
#include "kxcert/keys/dhGroups.h"
#include "kxcert/keys/sxDhParams.h"
#include "kxcert/platform/log.h"
#include "kxcert/platform/secureMemory.h"

namespace {

// Bits of one digit. A lookup must not tell which row it wanted, and a cache tells which line was
// touched, so every lookup reads all rows of its digit. Rows of whole octets, 256 to a digit, then
// cost more to read than to multiply: with 2048 bits and private values of 320 bits, where
// BN_mod_exp_mont_consttime takes 332 us, 8 bits take 111 us and 2.5 MiB, which other work will have
// driven out of the caches; 4 bits take 98 us, 5 bits 85 us and 512 KiB, 6 bits 83 us and 864 KiB.
constexpr int kDigitBits = 5;
constexpr unsigned kNumRows = 1U << kDigitBits;
constexpr int kWordLen = sizeof(uint64_t);
constexpr int kMaxRowWords = kMaxDhModulusLen / kWordLen;
static_assert(kDigitBits <= 8, "a digit touches two octets at most");
static_assert(kMaxDhModulusLen % kWordLen == 0);

// The digit at a place, from 0 for the least significant; 0 beyond the first octet. Which octets are
// read depends on the place only.
unsigned Digit(const unsigned char *octets, int len, int place) {
  const int bit = place * kDigitBits;
  const int fromEnd = bit / 8;
  unsigned two = fromEnd < len ? octets[len - 1 - fromEnd] : 0U;
  if (fromEnd + 1 < len) two |= static_cast<unsigned>(octets[len - 2 - fromEnd]) << 8;
  return (two >> (bit % 8)) & (kNumRows - 1);
}

// A row as octets, wiped when it goes: it tells the digit.
struct SecretRow {
  ~SecretRow() { KX_memset(words, sizeof words); }
  const unsigned char *Octets() const { return reinterpret_cast<const unsigned char *>(words); }
  uint64_t words[kMaxRowWords];
};

// Copies the wanted row; all rows are read alike.
void SelectRow(const uint64_t *rows, int rowWords, unsigned wanted, uint64_t *out) {
  for (int i = 0; i < rowWords; ++i) out[i] = 0;
  for (unsigned row = 0; row < kNumRows; ++row, rows += rowWords) {
    uint32_t isWanted = ((row ^ wanted) - 1) >> 31;
    __asm__("" : "+r"(isWanted));  // else the compiler knows it is 0 or 1 and may make a branch of it
    const uint64_t mask = 0 - static_cast<uint64_t>(isWanted);
    for (int i = 0; i < rowWords; ++i) out[i] |= rows[i] & mask;
  }
}

}  // namespace

// Row b of digit i is u * g ^ (b * 32 ^ i) mod p in Montgomery form, little-endian, in whole words; u is
// one random number for all rows, and start is u ^ -numDigits. Without u, row 0 would be the
// Montgomery form of 1, 2 ^ n - p, which for moduli that begin with 64 one bits is a word shorter than
// the other rows; libcrypto multiplies short numbers on another path, and time would tell how many digits
// are 0. What remains is a matter of chance: one row in 2 ^ 64 is short.
struct kxDHPreCompute_imp {
  size_t WordsBefore(int digit) const { return static_cast<size_t>(digit) * kNumRows * static_cast<size_t>(rowWords); }
  const uint64_t *Digit(int i) const { return rows.get() + WordsBefore(i); }
  uint64_t *Row(int i, unsigned b) { return rows.get() + WordsBefore(i) + b * static_cast<size_t>(rowWords); }
  bool Fill(BN_CTX *context);
  bool Blind(BN_CTX *context, BIGNUM *blind);

  BigNum p, g;
  MontContext mont{BN_MONT_CTX_new()};
  BigNum start{BN_new()};
  int numBytes = 0;
  int numDigits = 0;
  int rowWords = 0;
  std::unique_ptr<uint64_t[]> rows;
};

// Sets blind and start, both in Montgomery form. It fails for a modulus that is not prime only.
bool kxDHPreCompute_imp::Blind(BN_CTX *context, BIGNUM *blind) {
  const BigNum count(BN_new()), last(BN_dup(p.get()));  // p - 1
  return count != nullptr && BN_set_word(count.get(), static_cast<BN_ULONG>(numDigits)) == 1 && last != nullptr &&
         BN_sub_word(last.get(), 1) == 1 && BN_priv_rand_range(blind, last.get()) == 1 && BN_add_word(blind, 1) == 1 &&
         BN_mod_inverse(start.get(), blind, p.get(), context) != nullptr &&
         BN_mod_exp(start.get(), start.get(), count.get(), p.get(), context) == 1 &&
         BN_to_montgomery(start.get(), start.get(), mont.get(), context) == 1 &&
         BN_to_montgomery(blind, blind, mont.get(), context) == 1;
}

bool kxDHPreCompute_imp::Fill(BN_CTX *context) {
  const BigNum blind(BN_new()), base(BN_new()), power(BN_new());
  if (blind == nullptr || base == nullptr || power == nullptr || start == nullptr || mont == nullptr ||
      BN_MONT_CTX_set(mont.get(), p.get(), context) != 1 || !Blind(context, blind.get()) ||
      BN_to_montgomery(base.get(), g.get(), mont.get(), context) != 1) {
    return false;
  }
  for (int i = 0; i < numDigits; ++i) {  // base is g ^ (32 ^ i)
    if (BN_copy(power.get(), blind.get()) == nullptr) return false;
    for (unsigned b = 0; b < kNumRows; ++b) {
      auto *octets = reinterpret_cast<unsigned char *>(Row(i, b));
      if (BN_bn2lebinpad(power.get(), octets, rowWords * kWordLen) < 0 ||
          BN_mod_mul_montgomery(power.get(), power.get(), base.get(), mont.get(), context) != 1) {
        return false;
      }
    }
    for (int bit = 0; bit < kDigitBits; ++bit) {
      if (BN_mod_mul_montgomery(base.get(), base.get(), base.get(), mont.get(), context) != 1) return false;
    }
  }
  return true;
}

kxDHPreCompute::kxDHPreCompute(const sxDhParams &params) {
  constexpr const char *kFunc = "kxDHPreCompute";
  if (!params.OK()) return;
  auto table = std::make_unique<kxDHPreCompute_imp>();
  table->p.reset(BN_bin2bn(params.Mod(), params.ModLen(), nullptr));
  table->g.reset(BN_bin2bn(params.Gen(), params.GenLen(), nullptr));
  if (const char *reason = WhyNoDhGroup(table->p.get(), table->g.get())) {
    herror_func(0, 0, "%s: %s: %s", kFunc, params.Name(), reason);
    return;
  }
  table->numBytes = params.PrivBytes();
  table->numDigits = (table->numBytes * 8 + kDigitBits - 1) / kDigitBits;
  table->rowWords = (BN_num_bytes(table->p.get()) + kWordLen - 1) / kWordLen;
  table->rows.reset(new (std::nothrow) uint64_t[table->WordsBefore(table->numDigits)]);
  const BigNumContext context(BN_CTX_new());
  const ErrorQueueMark mark;
  if (context == nullptr || table->rows == nullptr || !table->Fill(context.get())) {
    herror_func(0, 0, "%s: %s: no memory, or the modulus is not prime", kFunc, params.Name());
    return;
  }
  m_imp = std::move(table);
}

kxDHPreCompute::~kxDHPreCompute() = default;

int kxDHPreCompute::OK() const { return m_imp != nullptr ? 1 : 0; }
int kxDHPreCompute::NumBytes() const { return m_imp == nullptr ? 0 : m_imp->numBytes; }

bool kxDHPreCompute::IsFor(const BIGNUM *p, const BIGNUM *g) const {
  return m_imp != nullptr && p != nullptr && g != nullptr && BN_cmp(m_imp->p.get(), p) == 0 &&
         BN_cmp(m_imp->g.get(), g) == 0;
}

int kxDHPreCompute::GenPub(BIGNUM *result, const unsigned char *privateOctets, int len) const {
  if (m_imp == nullptr || result == nullptr || privateOctets == nullptr || len < 0 || len > NumBytes()) return 0;
  const kxDHPreCompute_imp &table = *m_imp;
  const BigNumContext context(BN_CTX_secure_new());
  const BigNum factor(BN_secure_new());
  if (context == nullptr || factor == nullptr || BN_copy(result, table.start.get()) == nullptr) return 0;
  SecretRow selected;
  for (int i = 0; i < table.numDigits; ++i) {
    SelectRow(table.Digit(i), table.rowWords, Digit(privateOctets, len, i), selected.words);
    if (BN_lebin2bn(selected.Octets(), table.rowWords * kWordLen, factor.get()) == nullptr ||
        BN_mod_mul_montgomery(result, result, factor.get(), table.mont.get(), context.get()) != 1) {
      return 0;
    }
  }
  return BN_from_montgomery(result, result, table.mont.get(), context.get());
}
