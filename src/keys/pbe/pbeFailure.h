// Why password-based decryption goes no further: a result, and what its text does not say.
#ifndef KXCERT_SRC_KEYS_PBE_PBEFAILURE_H_
#define KXCERT_SRC_KEYS_PBE_PBEFAILURE_H_

#include <string>

#include "asn1/der.h"
#include "kxcert/keys/passwordBased.h"

struct PbeFailure {
  sxPbeResult result = sxPbe_ok;
  std::string detail;  // what stands behind the result's text; may be empty

  // For `return failure.Set(...)` in functions that answer whether they went well.
  bool Set(sxPbeResult why, std::string what = "") {
    result = why;
    detail = std::move(what);
    return false;
  }
  /// Logs it, and sets the caller's text.
  int Tell(const char *function, std::string *why) const;
};

std::string PbeOidText(sxOctetView oid);

#endif
