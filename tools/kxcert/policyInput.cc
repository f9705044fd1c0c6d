#include "policyInput.h"

#include <algorithm>
#include <charconv>
#include <string_view>

#include "generalNameInput.h"
#include "oidInput.h"
#include "visibleText.h"

namespace {

constexpr std::string_view kCps = ",cps=", kNotice = ",notice=";

// Where the next qualifier begins; the end when there is none.
size_t NextQualifier(const std::string &text, size_t from) {
  return std::min({text.find(kCps, from), text.find(kNotice, from), text.size()});
}

// @return false: not a URI
bool AddQualifier(std::string_view text, sxPolicy *policy) {
  sxPolicyQualifier &qualifier = policy->qualifiers.emplace_back();
  if (text.starts_with(kNotice)) {
    qualifier.type = sxASN_id_qt_unotice;
    qualifier.explicitText = text.substr(kNotice.size());
    return !qualifier.explicitText.empty();
  }
  qualifier.type = sxASN_id_qt_cps;
  qualifier.cpsUri = text.substr(kCps.size());
  return CheckUri(qualifier.cpsUri).empty();
}

}  // namespace

std::optional<sxPolicy> ReadPolicy(const std::string &text) {
  size_t pos = NextQualifier(text, 0);
  const std::string id = text.substr(0, pos);
  const std::optional<sxAsnOid> oid = id == "any" ? sxASN_anyPolicy : ReadOid(id);
  if (!oid.has_value()) return std::nullopt;
  sxPolicy policy{*oid, {}};
  while (pos < text.size()) {
    const size_t end = NextQualifier(text, pos + 1);
    if (!AddQualifier(std::string_view(text).substr(pos, end - pos), &policy)) return std::nullopt;
    pos = end;
  }
  return policy;
}

std::optional<sxPolicyMapping> ReadPolicyMapping(const std::string &text) {
  const size_t equals = text.find('=');
  if (equals == std::string::npos) return std::nullopt;
  const std::optional<sxAsnOid> issuers = ReadOid(text.substr(0, equals)), subjects = ReadOid(text.substr(equals + 1));
  if (!issuers.has_value() || !subjects.has_value()) return std::nullopt;
  return sxPolicyMapping{*issuers, *subjects};
}

std::optional<int> ReadTlsFeature(const std::string &text) {
  for (int feature = 0; feature <= kMaxTlsFeature; ++feature) {
    const char *const name = sxTlsFeature::FeatureStr(feature);
    if (name != nullptr && text == name) return feature;
  }
  int number = -1;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  const bool isNumber = error == std::errc() && end == text.data() + text.size();
  return isNumber && number >= 0 && number <= kMaxTlsFeature ? std::optional<int>(number) : std::nullopt;
}

std::string CheckPolicy(const std::string &text) {
  return ReadPolicy(text).has_value() ? ""
                                      : "not OID[,cps=URI][,notice=TEXT]: " + VisibleLine(text) +
                                            "; 1.3.6.1.4.1.99999.1,cps=http://host.example/cps is";
}

std::string CheckPolicyMapping(const std::string &text) {
  return ReadPolicyMapping(text).has_value() ? "" : "not OID=OID: " + VisibleLine(text);
}

std::string CheckTlsFeature(const std::string &text) {
  return ReadTlsFeature(text).has_value() ? "" : UnknownWord("TLS feature", text, TlsFeatureWords());
}

Words TlsFeatureWords() {
  Words words;
  for (int feature = 0; feature <= kMaxTlsFeature; ++feature) {
    if (const char *const name = sxTlsFeature::FeatureStr(feature)) words.emplace_back(name);
  }
  return words;
}
