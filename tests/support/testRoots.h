/// @file
/// Root CAs for tests.
#ifndef KXCERT_TESTS_SUPPORT_TESTROOTS_H_
#define KXCERT_TESTS_SUPPORT_TESTROOTS_H_

#include "kxcert/trust/sxCertifiedKey.h"
#include "kxcert/trust/sxKeyHolder.h"
#include "kxcert/trust/sxRootCA.h"
#include "support/testPki.h"

struct FreePKobj {
  void operator()(sxPKobj *obj) const { sxFreePKobj(obj); }
};
template <class T>
using PkRef = std::unique_ptr<T, FreePKobj>;

/// A root CA that a key holder keeps alive.
inline sxRootCA *AddRoot(sxKeyHolder &holder, const TestCert &cert) {
  auto *root = new sxRootCA(nullptr, cert.Get(), 0, sxCaType_other, 0, nullptr, 0, nullptr, 0);
  holder.AddCA(root);
  sxFreePKobj(root);
  return root;
}

#endif
