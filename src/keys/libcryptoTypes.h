// Owners of libcrypto's objects, and the thread's error queue.
#ifndef KXCERT_SRC_KEYS_LIBCRYPTOTYPES_H_
#define KXCERT_SRC_KEYS_LIBCRYPTOTYPES_H_

#include <openssl/bn.h>
#include <openssl/ec.h>
#include <openssl/err.h>
#include <openssl/rsa.h>

#include "platform/owned.h"

using BigNum = sxOwned<BIGNUM, BN_clear_free>;  // may be secret: always wiped
using BigNumContext = sxOwned<BN_CTX, BN_CTX_free>;
using MontContext = sxOwned<BN_MONT_CTX, BN_MONT_CTX_free>;
using RsaKey = sxOwned<RSA, RSA_free>;
using EcKey = sxOwned<EC_KEY, EC_KEY_free>;
using EcPoint = sxOwned<EC_POINT, EC_POINT_free>;

// Numbers lent by a context until the frame goes; the context wipes them when it is freed.
class BigNumFrame {
 public:
  explicit BigNumFrame(BN_CTX *ctx) : m_ctx(ctx) { BN_CTX_start(ctx); }
  ~BigNumFrame() { BN_CTX_end(m_ctx); }
  BigNumFrame(const BigNumFrame &) = delete;
  BigNumFrame &operator=(const BigNumFrame &) = delete;
  BIGNUM *New() { return BN_CTX_get(m_ctx); }  // null once one could not be had: asking the last is enough

 private:
  BN_CTX *m_ctx;
};

// A number for a secret: wiped, in libcrypto's secure heap where the process has one, and only used in
// constant time. Null when out of memory.
inline BigNum NewSecretNumber() {
  BigNum number(BN_secure_new());
  if (number != nullptr) BN_set_flags(number.get(), BN_FLG_CONSTTIME);
  return number;
}

// What fails here must not turn up as the reason of a later failure of the caller's own calls.
class ErrorQueueMark {
 public:
  ErrorQueueMark() { ERR_set_mark(); }
  ~ErrorQueueMark() { ERR_pop_to_mark(); }
  ErrorQueueMark(const ErrorQueueMark &) = delete;
  ErrorQueueMark &operator=(const ErrorQueueMark &) = delete;
};

#endif
