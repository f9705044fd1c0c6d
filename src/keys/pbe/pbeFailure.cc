#include "pbeFailure.h"

#include "kxcert/asn1/sxAsnOid.h"
#include "kxcert/platform/log.h"

namespace {

constexpr int kMaxOidText = 252;

}  // namespace

const char *sxPbe_ResultText(int result) {
  switch (result) {
    case sxPbe_ok: return "decrypted";
    case sxPbe_wrongPassword: return "wrong password, or damaged";
    case sxPbe_unsupported: return "unsupported algorithm";
    case sxPbe_malformed: return "malformed";
    case sxPbe_tooCostly: return "costs more than is tried";
    case sxPbe_noProvider: return "needs libcrypto's legacy provider, which cannot be loaded";
    case sxPbe_failed: return "libcrypto failed";
    case sxPbe_needsPassword: return "a password is needed";
    default: return "unknown result";
  }
}

int PbeFailure::Tell(const char *function, std::string *why) const {
  const std::string text = sxPbe_ResultText(result) + (detail.empty() ? "" : ": " + detail);
  if (result != sxPbe_ok) herror_func(0, 0, "%s: %s", function, text.c_str());
  if (why != nullptr) *why = text;
  return result;
}

std::string PbeOidText(sxOctetView oid) {
  sxAsnOid value;
  value.Set(oid.data(), sxLen(oid));
  char text[kMaxOidText] = "";
  static_cast<void>(value.GetStr(text, sizeof text));  // a longer one ends in "?"
  return text;
}
