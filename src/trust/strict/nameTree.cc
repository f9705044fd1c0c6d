#include "trust/strict/nameTree.h"

#include <algorithm>

#include "cert/dnValue.h"
#include "cert/generalNameForms.h"
#include "cert/sxDN_imp.h"
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "trust/strict/hostNames.h"

namespace {

constexpr int kRootNode = 0;
constexpr std::string_view kWildcard = "*.";

// "example.com", ".example.com"; the dot in front is gone. @return false: it is none
bool ReadBase(std::string_view text, std::string *host, bool *hasDot) {
  *hasDot = text.starts_with('.');
  if (*hasDot) text.remove_prefix(1);
  *host = HostName(text);
  return !host->empty();
}

std::string Masked(std::string_view address, std::string_view mask) {
  std::string out(address);
  for (size_t i = 0; i < out.size(); ++i) out[i] = static_cast<char>(out[i] & mask[i]);
  return out;
}

// Of another set of characters than those that are compared, whose octets tell nothing about its text.
bool IsOdd(const sxAva &ava) {
  sxValueText value;
  if (!sxValueOctets(ava, &value) || value.raw) return true;
  return ava.choice == sxASN_AttributeValue::teletexStringCid &&
         std::ranges::any_of(value.octets, [](char c) { return static_cast<unsigned char>(c) >= 0x80; });
}

}  // namespace

bool NameTree::IsSupported(sxNameKind kind) {
  return kind == sxNameKind::kDns || kind == sxNameKind::kEmail || kind == sxNameKind::kUri ||
         kind == sxNameKind::kIp || kind == sxNameKind::kDn;
}

bool NameTree::Add(const sxAnyName &base) {
  m_kinds.insert(base.kind);
  switch (base.kind) {
    case sxNameKind::kDn: return base.dn.has_value() && AddDn(*base.dn);
    case sxNameKind::kIp: return AddAddress(base.octets);
    case sxNameKind::kDns:
    case sxNameKind::kUri:
    case sxNameKind::kEmail: return AddHost(base.kind, base.text);
    default: return true;  // only its kind counts
  }
}

bool NameTree::AddDn(const sxDN &base) {
  const sxFlatName &flat = base.GetP()->Flat();
  int node = kRootNode;
  sxFlatName::Range rdn = flat.Start();
  for (uint32_t i = 0; i < flat.NumRdns(); ++i) {
    rdn = flat.Next(rdn, i);
    std::string key;
    if (!sxAppendRdnKey(rdn, &key) || std::any_of(rdn.begin, rdn.end, IsOdd)) return false;
    const auto [next, isNew] = m_rdns.try_emplace({node, std::move(key)}, m_numNodes);
    if (isNew) ++m_numNodes;
    node = next->second;
  }
  m_ends.insert(node);
  return true;
}

bool NameTree::AddAddress(const std::vector<unsigned char> &octets) {
  if (!sxIsNameOfKind(sxNameKind::kIp, octets, sxNameUse::kBase)) return false;
  const std::string text(octets.begin(), octets.end());
  const size_t half = text.size() / 2;
  const std::string mask = text.substr(half);
  m_addresses[mask].insert(Masked(text.substr(0, half), mask));
  return true;
}

// RFC 5280, 4.2.1.10: a host of DNS stands for what is below it, too; one of the other kinds for itself alone, and with
// a dot in front for what is below alone. A dot in front of a DNS base is common use.
bool NameTree::AddHost(sxNameKind kind, const std::string &text) {
  Hosts &hosts = m_hosts[kind];
  if (text.empty()) return hosts.below.insert("").second || true;  // every name
  if (const size_t at = text.rfind('@'); kind == sxNameKind::kEmail && at != std::string::npos) {
    const std::string host = HostName(std::string_view(text).substr(at + 1));
    m_mailboxes.insert(text.substr(0, at + 1) + host);
    return at > 0 && !host.empty();
  }
  std::string host;
  bool hasDot = false;
  if (!ReadBase(text, &host, &hasDot)) return false;
  if (!hasDot) {
    hosts.exact.insert(host);
    if (const size_t dot = host.find('.'); dot != std::string::npos) hosts.parents.insert(host.substr(dot + 1));
  }
  if (hasDot || kind == sxNameKind::kDns) hosts.below.insert(host);
  return true;
}

bool NameTree::MayHide(const ComparedName &name) const {
  return name.kind == sxNameKind::kDn && name.name != nullptr && MatchDn(*name.name) == DnMatch::kNobodyKnows;
}

bool NameTree::Touches(const ComparedName &name) const {
  if (Contains(name)) return true;
  const auto found = m_hosts.find(name.kind);
  return name.kind == sxNameKind::kDns && found != m_hosts.end() && name.text.starts_with(kWildcard) &&
         found->second.parents.contains(std::string_view(name.text).substr(kWildcard.size()));
}

// No base has an asterisk, so that a wildcard name is met by those above it alone, which all of its hosts are below.
bool NameTree::Contains(const ComparedName &name) const {
  switch (name.kind) {
    case sxNameKind::kDn: return name.name != nullptr && MatchDn(*name.name) == DnMatch::kBelow;
    case sxNameKind::kIp: return MatchesAddress(name.text);
    case sxNameKind::kEmail:
      return m_mailboxes.contains(name.text) ||
             MatchesHost(name.kind, std::string_view(name.text).substr(name.text.rfind('@') + 1));
    default: return MatchesHost(name.kind, name.text);
  }
}

NameTree::DnMatch NameTree::MatchDn(const sxFlatName &name) const {
  int node = kRootNode;
  if (m_ends.contains(node)) return DnMatch::kBelow;
  sxFlatName::Range rdn = name.Start();
  for (uint32_t i = 0; i < name.NumRdns(); ++i) {
    rdn = name.Next(rdn, i);
    std::string key;
    if (!sxAppendRdnKey(rdn, &key)) return DnMatch::kNobodyKnows;
    const auto next = m_rdns.find({node, std::move(key)});
    if (next == m_rdns.end()) {
      const bool hasOthers = m_rdns.lower_bound({node, ""}) != m_rdns.lower_bound({node + 1, ""});
      return hasOthers && std::any_of(rdn.begin, rdn.end, IsOdd) ? DnMatch::kNobodyKnows : DnMatch::kNotBelow;
    }
    node = next->second;
    if (m_ends.contains(node)) return DnMatch::kBelow;
  }
  return DnMatch::kNotBelow;
}

// There are no more masks than an address has bits, and two.
bool NameTree::MatchesAddress(const std::string &octets) const {
  return std::ranges::any_of(m_addresses, [&octets](const auto &entry) {
    const auto &[mask, addresses] = entry;
    return mask.size() == octets.size() && addresses.contains(Masked(octets, mask));
  });
}

bool NameTree::MatchesHost(sxNameKind kind, std::string_view host) const {
  const auto found = m_hosts.find(kind);
  if (found == m_hosts.end()) return false;
  const Hosts &hosts = found->second;
  if (hosts.below.contains("") || hosts.exact.contains(host)) return true;
  for (size_t dot = host.find('.'); dot != std::string_view::npos; dot = host.find('.')) {
    host.remove_prefix(dot + 1);
    if (hosts.below.contains(host)) return true;
  }
  return false;
}
