#include "oidInput.h"

#include <charconv>
#include <cstdint>
#include <span>
#include <vector>

#include "unknownParts.h"
#include "visibleText.h"

namespace {

constexpr size_t kMaxArcs = 64;

struct NameRow {
  const char *name;
  sxAsnOid oid;
};

constinit const NameRow kExtensions[] = {
    {"subjectDirectoryAttributes", sxAsnOid({2, 5, 29, 9})},
    {"subjectKeyIdentifier", sxAsnOid({2, 5, 29, 14})},
    {"keyUsage", sxAsnOid({2, 5, 29, 15})},
    {"subjectAltName", sxAsnOid({2, 5, 29, 17})},
    {"issuerAltName", sxAsnOid({2, 5, 29, 18})},
    {"basicConstraints", sxAsnOid({2, 5, 29, 19})},
    {"cRLNumber", sxAsnOid({2, 5, 29, 20})},
    {"deltaCRLIndicator", sxAsnOid({2, 5, 29, 27})},
    {"issuingDistributionPoint", sxAsnOid({2, 5, 29, 28})},
    {"nameConstraints", sxAsnOid({2, 5, 29, 30})},
    {"cRLDistributionPoints", sxAsnOid({2, 5, 29, 31})},
    {"certificatePolicies", sxAsnOid({2, 5, 29, 32})},
    {"policyMappings", sxAsnOid({2, 5, 29, 33})},
    {"authorityKeyIdentifier", sxAsnOid({2, 5, 29, 35})},
    {"policyConstraints", sxAsnOid({2, 5, 29, 36})},
    {"extKeyUsage", sxAsnOid({2, 5, 29, 37})},
    {"freshestCRL", sxAsnOid({2, 5, 29, 46})},
    {"inhibitAnyPolicy", sxAsnOid({2, 5, 29, 54})},
    {"authorityInfoAccess", sxAsnOid({1, 3, 6, 1, 5, 5, 7, 1, 1})},
    {"subjectInfoAccess", sxAsnOid({1, 3, 6, 1, 5, 5, 7, 1, 11})},
    {"tlsFeature", sxAsnOid({1, 3, 6, 1, 5, 5, 7, 1, 24})},      // RFC 7633, 4
    {"ocspNoCheck", sxAsnOid({1, 3, 6, 1, 5, 5, 7, 48, 1, 5})},  // RFC 6960, 4.2.2.2.1
};

constinit const NameRow kPurposes[] = {
    {"anyExtendedKeyUsage", sxAsnOid({2, 5, 29, 37, 0})},
    {"serverAuth", sxAsnOid({1, 3, 6, 1, 5, 5, 7, 3, 1})},
    {"clientAuth", sxAsnOid({1, 3, 6, 1, 5, 5, 7, 3, 2})},
    {"codeSigning", sxAsnOid({1, 3, 6, 1, 5, 5, 7, 3, 3})},
    {"emailProtection", sxAsnOid({1, 3, 6, 1, 5, 5, 7, 3, 4})},
    {"ipsecEndSystem", sxAsnOid({1, 3, 6, 1, 5, 5, 7, 3, 5})},
    {"ipsecTunnel", sxAsnOid({1, 3, 6, 1, 5, 5, 7, 3, 6})},
    {"ipsecUser", sxAsnOid({1, 3, 6, 1, 5, 5, 7, 3, 7})},
    {"timeStamping", sxAsnOid({1, 3, 6, 1, 5, 5, 7, 3, 8})},
    {"OCSPSigning", sxAsnOid({1, 3, 6, 1, 5, 5, 7, 3, 9})},
    {"ipsecIKE", sxAsnOid({1, 3, 6, 1, 5, 5, 7, 3, 17})},  // RFC 4945, 5.1.3.12
    {"smartCardLogon", sxAsnOid({1, 3, 6, 1, 4, 1, 311, 20, 2, 2})},
};

bool SameLetters(std::string_view a, std::string_view b) {
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    if (lower(a[i]) != lower(b[i])) return false;
  }
  return true;
}

std::optional<sxAsnOid> ReadNamed(std::span<const NameRow> rows, std::string_view text) {
  for (const NameRow &row : rows) {
    if (SameLetters(text, row.name)) return row.oid;
  }
  return ReadOid(text);
}

std::string NameOf(std::span<const NameRow> rows, const sxAsnOid &oid) {
  for (const NameRow &row : rows) {
    if (row.oid.OidEquiv(oid)) return row.name;
  }
  return OidText(oid);
}

Words NamesOf(std::span<const NameRow> rows) {
  Words words;
  for (const NameRow &row : rows) words.emplace_back(row.name);
  return words;
}

// @return false: not numbers with single dots between them
bool ReadArcs(std::string_view text, std::vector<uint32_t> *arcs) {
  const char *pos = text.data();
  const char *const end = pos + text.size();
  while (arcs->size() < kMaxArcs) {
    uint32_t arc = 0;
    const auto [next, error] = std::from_chars(pos, end, arc);
    if (error != std::errc()) return false;
    arcs->push_back(arc);
    if (next == end) return true;
    if (*next != '.') return false;
    pos = next + 1;
  }
  return false;
}

// X.690, 8.19.2: seven bits an octet, the highest first.
void AppendArc(uint64_t arc, std::vector<unsigned char> *content) {
  int shift = 35;
  while (shift > 0 && arc >> shift == 0) shift -= 7;
  for (; shift > 0; shift -= 7) content->push_back(static_cast<unsigned char>((arc >> shift & 0x7F) | 0x80));
  content->push_back(static_cast<unsigned char>(arc & 0x7F));
}

}  // namespace

std::optional<sxAsnOid> ReadOid(std::string_view text) {
  std::vector<uint32_t> arcs;
  if (!ReadArcs(text, &arcs) || arcs.size() < 2 || arcs[0] > 2 || (arcs[0] < 2 && arcs[1] >= 40)) return std::nullopt;
  std::vector<unsigned char> content;
  AppendArc(uint64_t{arcs[0]} * 40 + arcs[1], &content);
  for (size_t i = 2; i < arcs.size(); ++i) AppendArc(arcs[i], &content);
  sxAsnOid oid;
  oid.Set(content.data(), static_cast<int>(content.size()));
  return oid;
}

std::optional<sxAsnOid> ReadExtensionType(std::string_view text) { return ReadNamed(kExtensions, text); }
std::optional<sxAsnOid> ReadPurpose(std::string_view text) { return ReadNamed(kPurposes, text); }
std::string ExtensionName(const sxAsnOid &type) { return NameOf(kExtensions, type); }
std::string PurposeName(const sxAsnOid &purpose) { return NameOf(kPurposes, purpose); }
Words ExtensionWords() { return NamesOf(kExtensions); }
Words ExtKeyUsageWords() { return NamesOf(kPurposes); }

std::string CheckOid(const std::string &text) {
  return ReadOid(text).has_value() ? ""
                                   : "not an object identifier: " + VisibleLine(text) + "; 1.3.6.1.4.1.99999.1 is one";
}

std::string CheckExtensionType(const std::string &text) {
  return ReadExtensionType(text).has_value() ? "" : UnknownWord("extension", text, ExtensionWords());
}
