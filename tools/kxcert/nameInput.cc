#include "nameInput.h"

#include <vector>

#include "kxcert/foundation/hexText.h"
#include "logLines.h"

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
  return name;
}
