/// @file
/// Root CAs and certified keys for tests.
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
inline sxRootCA *AddRoot(sxKeyHolder &holder, const TestCert &cert, const char *name = nullptr,
                         SxCaType type = sxCaType_other, const char *id = "") {
  auto *root = new sxRootCA(name, cert.Get(), 0, type, 0, reinterpret_cast<const unsigned char *>(id),
                            static_cast<int>(std::char_traits<char>::length(id)), nullptr, 0);
  holder.AddCA(root);
  sxFreePKobj(root);
  return root;
}

/// A certified key that a key holder keeps alive.
inline sxCertifiedKey *AddKey(sxKeyHolder &holder, const sxCerts &chain, sxRootCA *root,
                              const char *name = nullptr, const char *id = "") {
  auto *key = new sxCertifiedKey(name, chain, root, nullptr, 0, reinterpret_cast<const unsigned char *>(id),
                                 static_cast<int>(std::char_traits<char>::length(id)));
  holder.AddCertKey(key);
  sxFreePKobj(key);
  return key;
}

#endif
