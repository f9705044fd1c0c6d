/// @file
/// FakeRandom: other functions behind libcrypto's random octets while it lives; null keeps its own.
#ifndef KXCERT_TESTS_SUPPORT_FAKERANDOM_H_
#define KXCERT_TESTS_SUPPORT_FAKERANDOM_H_

#include <openssl/rand.h>

class FakeRandom {
 public:
  explicit FakeRandom(int (*bytes)(unsigned char *, int), int (*seed)(const void *, int) = nullptr)
      : m_method(*RAND_OpenSSL()) {
    unsigned char octet;
    RAND_bytes(&octet, 1);   // libcrypto leaks when it ends without ever having used its own
    if (bytes != nullptr) m_method.bytes = bytes;
    if (seed != nullptr) m_method.seed = seed;
    RAND_set_rand_method(&m_method);
  }
  ~FakeRandom() { RAND_set_rand_method(RAND_OpenSSL()); }

 private:
  RAND_METHOD m_method;
};

#endif
