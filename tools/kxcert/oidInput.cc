#include "oidInput.h"

#include <algorithm>
#include <vector>

#include "kxcert/asn1/oidNames.h"
#include "unknownParts.h"
#include "visibleText.h"

namespace {

constexpr size_t kMaxOidChars = 249;  // what OidText tells whole

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

// A number of any length in base 128, the lowest digit first; empty: 0.
using Arc = std::vector<unsigned char>;

void Add(unsigned factor, unsigned number, Arc *arc) {
  for (unsigned char &digit : *arc) {
    number += digit * factor;
    digit = number & 0x7F;
    number >>= 7;
  }
  for (; number != 0; number >>= 7) arc->push_back(number & 0x7F);
}

// @return false: not numbers with single dots between them
bool ReadArcs(std::string_view text, std::vector<Arc> *arcs) {
  for (;;) {
    const size_t end = std::min(text.find('.'), text.size());
    if (end == 0) return false;
    arcs->emplace_back();
    for (const char c : text.substr(0, end)) {
      if (c < '0' || c > '9') return false;
      Add(10, static_cast<unsigned>(c - '0'), &arcs->back());
    }
    if (end == text.size()) return true;
    text.remove_prefix(end + 1);
  }
}

// X.690, 8.19.2: seven bits an octet, the highest first.
void AppendArc(const Arc &arc, std::vector<unsigned char> *content) {
  for (size_t i = arc.size(); i > 1; --i) content->push_back(arc[i - 1] | 0x80);
  content->push_back(arc.empty() ? 0 : arc[0]);
}

bool IsBelow(const Arc &arc, unsigned char limit) { return arc.empty() || (arc.size() == 1 && arc[0] < limit); }

}  // namespace

std::optional<sxAsnOid> ReadOid(std::string_view text) {
  std::vector<Arc> arcs;
  if (text.size() > kMaxOidChars || !ReadArcs(text, &arcs) || arcs.size() < 2 || !IsBelow(arcs[0], 3)) {
    return std::nullopt;
  }
  const unsigned first = arcs[0].empty() ? 0 : arcs[0][0];
  if (first < 2 && !IsBelow(arcs[1], 40)) return std::nullopt;
  Add(1, first * 40, &arcs[1]);
  std::vector<unsigned char> content;
  for (size_t i = 1; i < arcs.size(); ++i) AppendArc(arcs[i], &content);
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
  if (text.size() > kMaxOidChars) return "longer than " + std::to_string(kMaxOidChars) + " characters";
  return ReadOid(text).has_value() ? ""
                                   : "not an object identifier: " + VisibleLine(text) + "; 1.3.6.1.4.1.99999.1 is one";
}

std::string CheckExtensionType(const std::string &text) {
  return ReadExtensionType(text).has_value() ? "" : UnknownWord("extension", text, ExtensionWords());
}
