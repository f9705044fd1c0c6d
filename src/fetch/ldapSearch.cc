#include "fetch/ldapSearch.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <optional>
#include <vector>

#include "kxcert/foundation/base64.h"
#include "platform/owned.h"

namespace {

// RFC 4523, 2; deltaRevocationList among them.
const char *const kAttributes[] = {"certificateRevocationList", "authorityRevocationList", "deltaRevocationList",
                                   "cACertificate", "crossCertificatePair"};
constexpr std::string_view kBinary = ";binary";

bool EqualNames(std::string_view a, std::string_view b) {
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 32) : c; };
  return std::ranges::equal(a, b, {}, lower, lower);
}

/// @param name  with or without the option
/// @return null for any other attribute
const char *AttributeOf(std::string_view name) {
  const size_t len = name.size();
  if (len > kBinary.size() && EqualNames(name.substr(len - kBinary.size()), kBinary))
    name.remove_suffix(kBinary.size());
  const auto *const found =
      std::ranges::find_if(kAttributes, [name](const char *attribute) { return EqualNames(attribute, name); });
  return found == std::ranges::end(kAttributes) ? nullptr : *found;
}

std::vector<std::string_view> Split(std::string_view text, char separator) {
  std::vector<std::string_view> parts;
  for (size_t begin = 0; begin <= text.size();) {
    const size_t end = std::min(text.find(separator, begin), text.size());
    parts.push_back(text.substr(begin, end - begin));
    begin = end + 1;
  }
  return parts;
}

// One SEQUENCE of a definite length, and nothing behind it: only so the values can be told apart again.
bool IsSequence(std::string_view der) {
  const auto at = [der](size_t i) { return static_cast<unsigned char>(der[i]); };
  if (der.size() < 2 || at(0) != 0x30) return false;
  if (at(1) < 0x80) return der.size() == 2U + at(1);
  const size_t numOctets = at(1) & 0x7fU;
  if (numOctets < 1 || numOctets > 4 || der.size() < 2 + numOctets) return false;
  uint64_t len = 0;
  for (size_t i = 0; i < numOctets; ++i) len = len << 8 | at(2 + i);
  return der.size() - 2 - numOctets == len;
}

std::string AppendValue(std::string_view base64, std::string &values) {
  if (base64.size() > INT_MAX) return "a value that is too long";
  int len = 0;
  const sxOwned<unsigned char, Base64FreeBuffer> octets(
      Base64Decode(base64.data(), static_cast<int>(base64.size()), &len));
  if (octets == nullptr) return "a value that is not Base64";
  const std::string_view value(reinterpret_cast<const char *>(octets.get()), static_cast<size_t>(len));
  if (!IsSequence(value)) return "a value that is not DER";
  values += value;
  return "";
}

}  // namespace

std::string kxFetch_LdapQuery(const std::string &query, std::string &asked) {
  const std::vector<std::string_view> parts = Split(query, '?');
  if (parts.size() > 4) return "a search that does not read";
  asked.clear();
  for (const std::string_view name : Split(parts[0], ',')) {
    const char *const attribute = AttributeOf(name);
    if (attribute == nullptr)
      return name.empty() ? "a search without an attribute" : "an attribute that is not asked for";
    asked += (asked.empty() ? "" : ",") + std::string(attribute) + std::string(kBinary);
  }
  const std::string_view scope = parts.size() > 1 && !parts[1].empty() ? parts[1] : "base";
  if (scope != "base" && scope != "one" && scope != "sub") return "a scope that is not known";
  const std::string_view filter = parts.size() > 2 ? parts[2] : "";
  if (filter.find("%00") != std::string_view::npos) return "a filter that holds a NUL";
  for (const std::string_view extension : Split(parts.size() > 3 ? parts[3] : "", ',')) {
    if (extension.starts_with('!') || extension.starts_with("%21")) return "a critical extension of a search";
  }
  asked += "?" + std::string(scope) + "?" + std::string(filter);
  if (filter.empty()) asked.pop_back();
  return "";
}

std::string kxFetch_LdapValues(std::string_view text, std::string &values) {
  values.clear();
  for (size_t begin = 0; begin < text.size();) {
    const size_t end = std::min(text.find('\n', begin), text.size());
    const std::string_view line = text.substr(begin, end - begin);
    begin = end + 1;
    if (line.empty() || line.starts_with("DN: ")) continue;
    const size_t colon = line.find(':');
    if (!line.starts_with('\t') || colon == std::string_view::npos) return "an entry that does not read";
    if (AttributeOf(line.substr(1, colon - 1)) == nullptr || colon + 1 == line.size()) continue;  // none, or no value
    if (!line.substr(colon).starts_with(":: ")) return "a value that is not DER";
    const std::string wrong = AppendValue(line.substr(colon + 3), values);
    if (!wrong.empty()) return wrong;
  }
  return values.empty() ? "no entry that has one of these attributes" : "";
}
