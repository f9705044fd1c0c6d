#include "trust/strict/hostNames.h"

#include <arpa/inet.h>

#include <algorithm>

#include "cert/generalNameForms.h"
#include "cert/nameSyntax.h"

namespace {

struct AddressForm {
  int family;
  size_t len;
};
constexpr AddressForm kAddressForms[] = {{AF_INET, 4}, {AF_INET6, 16}};

constexpr size_t kMaxHostLen = 253, kMaxLabelLen = 63;  // RFC 1035, 2.3.4, without the root's label

char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

std::string Lowered(std::string_view text) {
  std::string lower(text);
  std::ranges::transform(lower, lower.begin(), Lower);
  return lower;
}

bool IsLabelChar(char c) { return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '_'; }

bool IsLabel(std::string_view label) {
  return !label.empty() && label.size() <= kMaxLabelLen && std::ranges::all_of(label, IsLabelChar);
}

// Of a mailbox: a host, or an address in brackets. Empty for neither.
std::string MailHost(std::string_view text) { return sxIsAddressLiteral(text) ? Lowered(text) : HostName(text); }

}  // namespace

std::string HostName(std::string_view text) {
  if (text.ends_with('.')) text.remove_suffix(1);
  if (text.size() > kMaxHostLen) return "";
  std::string host = Lowered(text);
  for (std::string_view rest = host;;) {
    const size_t dot = rest.find('.');
    if (!IsLabel(rest.substr(0, dot))) return "";
    if (dot == std::string_view::npos) return host;
    rest.remove_prefix(dot + 1);
  }
}

bool MatchesHost(sxOctetView presented, std::string_view wanted) {
  std::string_view text = StrictText(presented);
  if (!text.starts_with("*.")) {
    const std::string host = HostName(text);
    return !host.empty() && host == wanted;
  }
  // RFC 9525, 6.3: it stands for one label, whichever.
  const size_t dot = wanted.find('.');
  const std::string rest = HostName(text.substr(2));
  return dot != std::string_view::npos && !rest.empty() && wanted.substr(dot + 1) == rest;
}

bool MatchesMailbox(sxOctetView presented, std::string_view wanted) {
  const std::string_view text = StrictText(presented);
  const size_t at = text.rfind('@'), wantedAt = wanted.rfind('@');
  if (at == std::string_view::npos || wantedAt == std::string_view::npos || at == 0) return false;
  const std::string host = MailHost(text.substr(at + 1));
  return text.substr(0, at) == wanted.substr(0, wantedAt) && !host.empty() &&
         host == MailHost(wanted.substr(wantedAt + 1));
}

std::vector<unsigned char> AddressOctets(const std::string &text) {
  if (text.find('\0') != std::string::npos) return {};  // inet_pton would read no further
  for (const AddressForm &form : kAddressForms) {
    std::vector<unsigned char> octets(form.len);
    if (inet_pton(form.family, text.c_str(), octets.data()) == 1) return octets;
  }
  return {};
}

std::string AddressText(sxOctetView octets) {
  const bool isOne =
      std::ranges::any_of(kAddressForms, [&](const AddressForm &form) { return form.len == octets.size(); });
  return isOne ? sxAddressText(octets) : std::to_string(octets.size()) + " octets, which are no address";
}
