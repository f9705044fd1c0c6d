#include "nameSyntax.h"

#include <algorithm>

namespace {

constexpr size_t kMaxDnsLen = 253, kMaxLabelLen = 63;  // RFC 1035, 2.3.4, as text
constexpr size_t kMaxLocalLen = 64;                    // RFC 2821, 4.5.3.1
constexpr size_t kNone = std::string_view::npos;

bool IsLetter(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }
bool IsDigit(char c) { return c >= '0' && c <= '9'; }

bool IsText(std::string_view text) {
  return std::ranges::all_of(text, [](char c) { return c > ' ' && c < 0x7F; });
}

bool IsLabel(std::string_view label) {
  return !label.empty() && label.size() <= kMaxLabelLen && label.front() != '-' && label.back() != '-' &&
         std::ranges::all_of(label, [](char c) { return IsLetter(c) || IsDigit(c) || c == '-'; });
}

bool IsDomain(std::string_view text) {
  if (text.size() > kMaxDnsLen) return false;
  for (size_t dot = text.find('.'); dot != kNone; dot = text.find('.')) {
    if (!IsLabel(text.substr(0, dot))) return false;
    text.remove_prefix(dot + 1);
  }
  return IsLabel(text);
}

// "[2001:db8::1]"; what is between the brackets its reader judges.
bool IsBracketed(std::string_view text) { return text.size() > 2 && text.front() == '[' && text.back() == ']'; }

// user@host:port, of which the host counts
bool HasHost(std::string_view authority) {
  if (const size_t at = authority.rfind('@'); at != kNone) authority.remove_prefix(at + 1);
  const size_t bracket = authority.rfind(']'), colon = authority.rfind(':');
  if (colon != kNone && (bracket == kNone || colon > bracket)) {
    if (!std::ranges::all_of(authority.substr(colon + 1), IsDigit)) return false;
    authority = authority.substr(0, colon);
  }
  return IsDomain(authority) || IsBracketed(authority);
}

bool IsLdap(std::string_view scheme) {
  constexpr std::string_view kLdap = "ldap";
  const auto isSame = [](char a, char b) { return (a | 0x20) == b; };
  return scheme.size() == kLdap.size() && std::ranges::equal(scheme, kLdap, isSame);
}

}  // namespace

bool sxIsDnsName(std::string_view text) { return IsDomain(text.starts_with("*.") ? text.substr(2) : text); }

bool sxIsMailbox(std::string_view text) {
  const size_t at = text.rfind('@');
  if (at == kNone || at == 0 || at > kMaxLocalLen || !IsText(text) || text.front() == '<') return false;
  const std::string_view domain = text.substr(at + 1);
  return IsDomain(domain) || IsBracketed(domain);
}

bool sxIsAbsoluteUri(std::string_view text) {
  const size_t colon = text.find(':');
  if (colon == kNone || colon == 0 || colon + 1 == text.size() || !IsText(text) || !IsLetter(text[0])) return false;
  const std::string_view scheme = text.substr(0, colon);
  const bool isScheme =
      std::ranges::all_of(scheme, [](char c) { return IsLetter(c) || IsDigit(c) || c == '+' || c == '-' || c == '.'; });
  std::string_view rest = text.substr(colon + 1);
  if (!isScheme || !rest.starts_with("//")) return isScheme;
  rest.remove_prefix(2);
  const std::string_view authority = rest.substr(0, rest.find_first_of("/?#"));
  return HasHost(authority) || (authority.empty() && rest.size() > 1 && IsLdap(scheme));
}

bool sxIsNameBase(std::string_view text) {
  if (text.empty() || sxIsMailbox(text)) return true;
  return IsDomain(text.starts_with('.') ? text.substr(1) : text);
}
