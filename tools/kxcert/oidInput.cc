#include "oidInput.h"

#include <charconv>
#include <cstdint>
#include <vector>

#include "kxcert/asn1/oidNames.h"
#include "unknownParts.h"
#include "visibleText.h"

namespace {

constexpr size_t kMaxArcs = 64;

bool SameLetters(std::string_view a, std::string_view b) {
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    if (lower(a[i]) != lower(b[i])) return false;
  }
  return true;
}

std::optional<sxAsnOid> ReadNamed(sxOidKind kind, std::string_view text) {
  for (const sxNamedOid &row : sxNamedOids()) {
    if (row.kind == kind && SameLetters(text, row.name)) return row.oid;
  }
  return ReadOid(text);
}

Words NamesOf(sxOidKind kind) {
  Words words;
  for (const sxNamedOid &row : sxNamedOids()) {
    if (row.kind == kind) words.emplace_back(row.name);
  }
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

std::optional<sxAsnOid> ReadExtensionType(std::string_view text) { return ReadNamed(sxOidKind::kExtension, text); }
std::optional<sxAsnOid> ReadPurpose(std::string_view text) { return ReadNamed(sxOidKind::kPurpose, text); }
Words ExtensionWords() { return NamesOf(sxOidKind::kExtension); }
Words ExtKeyUsageWords() { return NamesOf(sxOidKind::kPurpose); }

std::string NameOrOid(const sxAsnOid &oid) {
  const char *const name = sxOidName(oid);
  return name != nullptr ? name : OidText(oid);
}

std::string NamedOid(const sxAsnOid &oid) {
  const char *const name = sxOidName(oid);
  return name != nullptr ? OidText(oid) + " (" + name + ")" : OidText(oid);
}

std::string NamedOid(std::span<const unsigned char> content) {
  sxAsnOid oid;
  oid.Set(content.data(), static_cast<int>(content.size()));
  return NamedOid(oid);
}

std::string CheckOid(const std::string &text) {
  return ReadOid(text).has_value() ? ""
                                   : "not an object identifier: " + VisibleLine(text) + "; 1.3.6.1.4.1.99999.1 is one";
}

std::string CheckExtensionType(const std::string &text) {
  return ReadExtensionType(text).has_value() ? "" : UnknownWord("extension", text, ExtensionWords());
}
