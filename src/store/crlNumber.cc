#include "kxcert/store/crlNumber.h"

#include <charconv>
#include <string_view>

#include "kxcert/cert/sxDN.h"
#include "kxcert/platform/log.h"

namespace {

constexpr char kTopic[] = "CrlDB";
constexpr char kPrefix[] = "ICA_CRL";
constexpr size_t kPrefixLen = sizeof kPrefix - 1;
constexpr size_t kMaxNumberLen = 5;
constexpr int kMaxCommonNameLen = 20;

// What both forms share once the name that holds the number is found and is longer than the prefix.
// @param whole  what the caller was given, for the lines
int ReadNumber(const char *func, std::string_view name, const char *whole, unsigned &number) {
  if (name.size() > kPrefixLen + kMaxNumberLen) {
    return tderrorFunc(kTopic, 1, 0, "%s: number space is too large in \"%s\"", func, whole), -1;
  }
  if (!name.starts_with(kPrefix)) { return tderrorFunc(kTopic, 1, 0, "%s: illegal string \"%s\"", func, whole), -1; }
  const std::string_view digits = name.substr(kPrefixLen);
  const char *const end = digits.data() + digits.size();
  unsigned value = 0;  // from_chars takes digits alone: no sign, no space
  const auto read = std::from_chars(digits.data(), end, value);
  if (read.ec != std::errc() || read.ptr != end || (value == 0 && digits != "0")) {
    return tderrorFunc(kTopic, 1, 0, "%s: illegal crl_number in \"%s\"", func, whole), -1;
  }
  number = value;
  return 0;
}

}  // namespace

int sxca_DN_to_crl_number(const char *dn, unsigned &number) {
  constexpr char kFunc[] = "sxca_DN_to_crl_number";
  if (dn == nullptr) return tderrorFunc(kTopic, 1, 0, "%s: No DN provided", kFunc), -1;
  char commonName[kMaxCommonNameLen + 1];
  if (sxDN_CN_from_string(dn, commonName, sizeof commonName) != 0) {
    return tderrorFunc(kTopic, 1, 0, "%s: Couldn't get CRL file name from %s", kFunc, dn), -1;
  }
  const std::string_view name(commonName);
  if (name.size() <= kPrefixLen) { return tderrorFunc(kTopic, 1, 0, "%s: CRL filename lacks number", kFunc), -1; }
  return ReadNumber(kFunc, name, dn, number);
}

int sxca_URI_to_crl_number(const char *uri, unsigned &number) {
  constexpr char kFunc[] = "sxca_URI_to_crl_number";
  std::string_view name(uri != nullptr ? uri : "");
  const size_t slash = name.rfind('/');
  if (slash == std::string_view::npos) {
    return tderrorFunc(kTopic, 1, 0, "%s: no slash in \"%s\"", kFunc, uri != nullptr ? uri : ""), -1;
  }
  name.remove_prefix(slash + 1);
  const size_t dot = name.rfind('.');
  name = name.substr(0, dot != std::string_view::npos ? dot : 0);
  if (name.size() <= kPrefixLen) {
    return tderrorFunc(kTopic, 1, 0, "%s: \"%s\" lacks \"%s\" or number", kFunc, uri, kPrefix), -1;
  }
  return ReadNumber(kFunc, name, uri, number);
}
