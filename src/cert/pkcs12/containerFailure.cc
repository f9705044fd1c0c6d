#include "containerFailure.h"

#include "kxcert/platform/log.h"

const char *sxPkcs12_ResultText(int result) {
  switch (result) {
    case sxPkcs12_ok: return "done";
    case sxPkcs12_wrongPassword: return "wrong password, or changed since it was written";
    case sxPkcs12_notDecrypted: return "wrong password, or damaged";
    case sxPkcs12_otherPassword: return "has another password than the container, or is damaged";
    case sxPkcs12_malformed: return "malformed";
    case sxPkcs12_unsupported: return "not supported";
    case sxPkcs12_tooCostly: return "costs more than is tried";
    case sxPkcs12_needsPassword: return "a password is needed";
    case sxPkcs12_noProvider: return "needs libcrypto's legacy provider, which cannot be loaded";
    case sxPkcs12_failed: return "failed";
    default: return "unknown result";
  }
}

bool ContainerFailure::Set(const PbeFailure &failure) {
  const auto mapped = [&] {
    switch (failure.result) {
      case sxPbe_wrongPassword: return sxPkcs12_notDecrypted;
      case sxPbe_unsupported: return sxPkcs12_unsupported;
      case sxPbe_malformed: return sxPkcs12_malformed;
      case sxPbe_tooCostly: return sxPkcs12_tooCostly;
      case sxPbe_noProvider: return sxPkcs12_noProvider;
      case sxPbe_needsPassword: return sxPkcs12_needsPassword;
      default: return sxPkcs12_failed;
    }
  };
  return Set(mapped(), failure.detail);
}

std::string ContainerFailure::Text() const {
  return sxPkcs12_ResultText(result) + (detail.empty() ? "" : ": " + detail);
}

int ContainerFailure::Tell(const char *function, std::string *why) const {
  const std::string text = Text();
  if (result != sxPkcs12_ok) herror_func(0, 0, "%s: %s", function, text.c_str());
  if (why != nullptr) *why = text;
  return result;
}
