// RSA keys in configuration sets.
#include <cstring>
#include <memory>

#include "keys/keyOctets.h"
#include "kxcert/foundation/attributeSet.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/keys/bigNumSet.h"
#include "kxcert/keys/kxSRSA.h"
#include "kxcert/keys/pkcs1.h"
#include "kxcert/platform/log.h"
#include "rsaKey.h"

namespace {

constexpr int kMaxPkcs8Len = 1 << 16;

// A set without "pkcs8" still holds the key, so failures here are only logged.
void AddPkcs8(const RSA *rsa, sxset *privatePart) {
  kxBinBuf pkcs1, pkcs8;
  if (kxRSA_to_buf(rsa, pkcs1, 1) != 0) {
    herror_func(0, 0, "kxRSA_to_set: error converting to pkcs1");
  } else if (kxPKCS1_to_PKCS8(pkcs1, pkcs8) != 0) {
    herror_func(0, 0, "kxRSA_to_set: error converting to pkcs8");
  } else {
    privatePart->SetBinary("pkcs8", pkcs8.Data(), static_cast<int>(pkcs8.Len()));
  }
}

RSA *FromPkcs8(const sxset &privatePart) {
  // The text is the private key: unlike the other lines of this file, this one says only its length.
  const size_t textLen = std::strlen(privatePart.FindText("pkcs8"));
  herror_func(0, 0, "kxRSA_from_set: pkcs8_str:\n (%zu characters, not shown)", textLen);
  if (textLen / 2 > kMaxPkcs8Len) {
    herror_func(0, 0, "kxRSA_from_set: nb %d, len %d", static_cast<int>(textLen / 2), kMaxPkcs8Len);
  }
  kxBinBuf pkcs8, pkcs1;
  RSA *rsa = nullptr;
  if (ReadSecretAttribute(privatePart, "pkcs8", kMaxPkcs8Len, pkcs8) == 0 && kxPKCS8_to_PKCS1(pkcs8, pkcs1) == 0) {
    rsa = kxRSA_from_buf(pkcs1.Data(), static_cast<int>(pkcs1.Len()), 1);
  }
  herror_func(
      0, 0, rsa != nullptr ? "kxRSA_from_set: got rsa from pkcs8" : "kxRSA_from_set: error reading pkcs8 - continuing");
  return rsa;
}

// Without primes one try tells whether the exponents belong together: 2 goes out and comes back.
bool Reverses(const BIGNUM *n, const BIGNUM *e, const BIGNUM *d) {
  const BigNumContext context(BN_CTX_secure_new());
  const BigNum base(BN_new()), power(BN_new());
  const ErrorQueueMark mark;
  return context != nullptr && base != nullptr && power != nullptr && BN_set_word(base.get(), 2) == 1 &&
         BN_mod_exp(power.get(), base.get(), e, n, context.get()) == 1 &&
         BN_mod_exp_mont_consttime(power.get(), power.get(), d, n, context.get(), nullptr) == 1 &&
         BN_cmp(power.get(), base.get()) == 0;
}

RSA *FromNumbers(const sxset &set) {
  const bool wantsPrivate = set.FindSet("private") != nullptr;
  BigNum n(sxSetValue2BN(&set, "modulus"));
  BigNum e(sxSetValue2BN(&set, "public"));
  BigNum d(wantsPrivate ? sxSetValue2BN(&set, "private") : nullptr);
  if (n == nullptr || e == nullptr || (wantsPrivate && d == nullptr)) {
    herror_func(0, 0, "kxRSA_from_set: Error parsing key");
    return nullptr;
  }
  RsaKey rsa = NewRsaKey(std::move(n), std::move(e), std::move(d));
  if (!kxRSA_is_ok(rsa.get())) return nullptr;
  if (wantsPrivate && !Reverses(RSA_get0_n(rsa.get()), RSA_get0_e(rsa.get()), RSA_get0_d(rsa.get()))) {
    herror_func(0, 0, "kxRSA_from_set: the exponents do not belong together");
    return nullptr;
  }
  return rsa.release();
}

}  // namespace

sxset *kxRSA_to_set(const RSA *rsa) { return RsaToSet(rsa, true); }

sxset *RsaToSet(const RSA *rsa, bool withPrivate) {
  if (rsa == nullptr || RSA_get0_n(rsa) == nullptr || RSA_get0_e(rsa) == nullptr) return nullptr;
  auto set = std::make_unique<sxset>();
  if (const BIGNUM *const d = withPrivate ? RSA_get0_d(rsa) : nullptr) {
    if (sxBN2SetValue(set.get(), "private", d) != 0) return nullptr;
    if (RsaHasCrtParts(rsa)) AddPkcs8(rsa, set->FindSet("private"));
  }
  if (sxBN2SetValue(set.get(), "public", RSA_get0_e(rsa)) != 0 ||
      sxBN2SetValue(set.get(), "modulus", RSA_get0_n(rsa)) != 0) {
    return nullptr;
  }
  return set.release();
}

RSA *kxRSA_from_set(const sxset *set) {
  if (set == nullptr) return nullptr;
  const sxset *privatePart = set->FindSet("private");
  if (privatePart != nullptr && privatePart->FindText("pkcs8") != nullptr) {
    if (RSA *rsa = FromPkcs8(*privatePart)) return rsa;
  }
  RSA *rsa = FromNumbers(*set);
  if (rsa == nullptr) herror_func(0, 0, "kxRSA_from_set: failed to get rsa");
  return rsa;
}
