#include "nameInput.h"

#include <strings.h>

#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "kxcert/foundation/hexText.h"
#include "logLines.h"
#include "oidInput.h"
#include "visibleText.h"

namespace {

// No text form of a name is all hexadecimal digits: it has "=" in it.
std::optional<sxDN> FromHex(const std::string &text) {
  std::vector<unsigned char> der(text.size() / 2);
  if (der.empty() ||
      string_to_bytes(text.data(), static_cast<int>(text.size()), der.data(), static_cast<int>(der.size())) != 0) {
    return std::nullopt;
  }
  sxDN name(der.data(), static_cast<int>(der.size()));
  if (name.GetName() == nullptr) return std::nullopt;
  return name;
}

// The library looks neither at whether it is one nor at numbers that it has no room for.
std::string WrongType(const char *key) {
  constexpr std::string_view kPrefix = "OID.";
  if (strncasecmp(key, kPrefix.data(), kPrefix.size()) != 0) return "";
  const std::optional<sxAsnOid> written = ReadOid(key + kPrefix.size());
  if (!written.has_value()) return ": not an object identifier: " + VisibleLine(key);
  const std::unique_ptr<sxAsnOid> read(sxDN_Str2OID(key));
  if (read != nullptr && read->OidEquiv(*written)) return "";
  return ": " + VisibleLine(key) + " has a number above 4294967295: give the DER of such a name, in hexadecimal";
}

// @return what is wrong with the first type that is none; "" also for what is no name
std::string WrongTypeIn(std::string text) {
  constexpr int kMaxAssertions = 5;
  for (char *rest = text.data(); rest != nullptr && *rest != '\0';) {
    char *keys[kMaxAssertions], *values[kMaxAssertions];
    int count = kMaxAssertions;
    rest = kxdn_explode_prefix(rest, keys, values, &count);
    for (int i = 0; rest != nullptr && i < count; ++i) {
      if (std::string wrong = WrongType(keys[i]); !wrong.empty()) return wrong;
    }
  }
  return "";
}

}  // namespace

std::optional<sxDN> ReadName(const std::string &argument, std::string *reason) {
  const LogLines log;
  if (std::optional<sxDN> name = FromHex(argument); name.has_value()) return name;
  sxDN name(argument.c_str());
  if (name.GetName() == nullptr) {
    *reason = log.Reason();
    if (reason->empty()) *reason = ": unknown keyword, or not of the form CN=a,O=b,C=c";
    return std::nullopt;
  }
  if (std::string wrong = WrongTypeIn(argument); !wrong.empty()) {
    *reason = std::move(wrong);
    return std::nullopt;
  }
  return name;
}
