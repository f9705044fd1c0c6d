#include "kxcert/keys/dhModulus.h"

#include "keys/libcryptoTypes.h"
#include "kxcert/keys/dhGroups.h"
#include "kxcert/platform/log.h"

namespace {

bool IsPrime(const BIGNUM *number, BN_CTX *context) { return BN_check_prime(number, context, nullptr) == 1; }

// A positive number whose test ends: foreign numbers can be of any length.
bool IsSane(const BIGNUM *p) {
  return p != nullptr && !BN_is_negative(p) && !BN_is_zero(p) && BN_num_bytes(p) <= kMaxDhModulusLen;
}

}  // namespace

int dh_find_p_factor(const BIGNUM *p, BIGNUM *q, int *j) {
  if (!IsSane(p)) return -1;
  const BigNumContext context(BN_CTX_new());
  const BigNum order(BN_dup(p)), quotient(BN_new());
  if (context == nullptr || order == nullptr || quotient == nullptr || BN_sub_word(order.get(), 1) != 1) { return -1; }
  for (int candidate = 2; candidate <= kMaxDhCofactor; ++candidate) {
    const auto divisor = static_cast<BN_ULONG>(candidate);
    if (BN_mod_word(order.get(), divisor) != 0) continue;
    if (BN_copy(quotient.get(), order.get()) == nullptr) return -1;
    BN_div_word(quotient.get(), divisor);
    if (!IsPrime(quotient.get(), context.get())) continue;
    if (q != nullptr && BN_copy(q, quotient.get()) == nullptr) return -1;
    if (j != nullptr) *j = candidate;
    return 0;
  }
  return -1;
}

int dh_check_legal_modulus(const BIGNUM *p, BIGNUM *q) {
  constexpr const char *kFunc = "dh_check_legal_modulus";
  const BigNumContext context(BN_CTX_new());
  if (!IsSane(p) || !IsPrime(p, context.get())) {
    herror_func(0, 0, "%s: p not prime", kFunc);
    return -5;
  }
  if (dh_find_p_factor(p, q, nullptr) != 0) {
    herror_func(0, 0, "%s: failed to find q and j", kFunc);
    return -1;
  }
  return 0;
}
