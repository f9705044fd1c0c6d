// Why a container goes no further: a result, and what its text does not say.
#ifndef KXCERT_SRC_CERT_PKCS12_CONTAINERFAILURE_H_
#define KXCERT_SRC_CERT_PKCS12_CONTAINERFAILURE_H_

#include <string>

#include "keys/pbe/pbeFailure.h"
#include "kxcert/cert/pkcs12.h"

struct ContainerFailure {
  sxPkcs12Result result = sxPkcs12_ok;
  std::string detail;  // what stands behind the result's text; may be empty

  // For `return failure.Set(...)` in functions that answer whether they went well.
  bool Set(sxPkcs12Result why, std::string what = "") {
    result = why;
    detail = std::move(what);
    return false;
  }
  bool Set(const PbeFailure &failure);
  std::string Text() const;
  /// Logs it, and sets the caller's text.
  int Tell(const char *function, std::string *why) const;
};

#endif
