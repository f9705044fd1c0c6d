// Owners of libcrypto's objects, and the thread's error queue.
#ifndef KXCERT_SRC_KEYS_LIBCRYPTOTYPES_H_
#define KXCERT_SRC_KEYS_LIBCRYPTOTYPES_H_

#include <openssl/bn.h>
#include <openssl/ec.h>
#include <openssl/err.h>
#include <openssl/rsa.h>

#include <memory>

template <auto Fn>
struct kxFree {
  template <class T>
  void operator()(T *object) const { Fn(object); }
};

using BigNum = std::unique_ptr<BIGNUM, kxFree<BN_clear_free>>;   // may be secret: always wiped
using BigNumContext = std::unique_ptr<BN_CTX, kxFree<BN_CTX_free>>;
using MontContext = std::unique_ptr<BN_MONT_CTX, kxFree<BN_MONT_CTX_free>>;
using RsaKey = std::unique_ptr<RSA, kxFree<RSA_free>>;
using EcKey = std::unique_ptr<EC_KEY, kxFree<EC_KEY_free>>;
using EcPoint = std::unique_ptr<EC_POINT, kxFree<EC_POINT_free>>;

// What fails here must not turn up as the reason of a later failure of the caller's own calls.
class ErrorQueueMark {
 public:
  ErrorQueueMark() { ERR_set_mark(); }
  ~ErrorQueueMark() { ERR_pop_to_mark(); }
  ErrorQueueMark(const ErrorQueueMark &) = delete;
  ErrorQueueMark &operator=(const ErrorQueueMark &) = delete;
};

#endif
