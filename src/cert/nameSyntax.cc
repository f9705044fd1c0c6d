#include "nameSyntax.h"

#include <algorithm>
#include <array>

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

// RFC 3986, 2: whoever takes another character for one of these, a backslash for a slash, reads another host.
bool HasUriCharacters(std::string_view text) {
  static constexpr auto kIsNever = [] {
    std::array<bool, 128> isNever{};
    for (const char c : std::string_view("\"<>\\^`{|}")) isNever[static_cast<unsigned char>(c)] = true;
    return isNever;
  }();
  return std::ranges::all_of(text,
                             [](char c) { return c > ' ' && c < 0x7F && !kIsNever[static_cast<unsigned char>(c)]; });
}

// scheme://user@host:port/..., from the user to the port. @return false without one
bool TakeAuthority(std::string_view uri, std::string_view *authority) {
  const size_t start = uri.find(':');
  if (start == kNone || !uri.substr(start + 1).starts_with("//")) return false;
  uri.remove_prefix(start + 3);
  *authority = uri.substr(0, uri.find_first_of("/?#"));
  return true;
}

// RFC 3986, 3.2: neither a user nor a host holds an "@". @return empty for what has no host or another port than a number
std::string_view HostOf(std::string_view authority) {
  if (const size_t at = authority.find('@'); at != kNone) authority.remove_prefix(at + 1);
  if (authority.find('@') != kNone) return {};
  const size_t bracket = authority.rfind(']'), colon = authority.rfind(':');
  if (colon == kNone || (bracket != kNone && colon < bracket)) return authority;
  return std::ranges::all_of(authority.substr(colon + 1), IsDigit) ? authority.substr(0, colon) : std::string_view();
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
  if (colon == kNone || colon == 0 || colon + 1 == text.size() || !HasUriCharacters(text) || !IsLetter(text[0])) {
    return false;
  }
  const std::string_view scheme = text.substr(0, colon);
  const bool isScheme =
      std::ranges::all_of(scheme, [](char c) { return IsLetter(c) || IsDigit(c) || c == '+' || c == '-' || c == '.'; });
  std::string_view authority;
  if (!isScheme || !TakeAuthority(text, &authority)) return isScheme;
  const std::string_view host = HostOf(authority);
  const bool hasPath = text.size() > colon + 1 + 2 + 1;
  return IsDomain(host) || IsBracketed(host) || (authority.empty() && hasPath && IsLdap(scheme));
}

std::string_view sxUriHost(std::string_view uri) {
  std::string_view authority;
  return HasUriCharacters(uri) && TakeAuthority(uri, &authority) ? HostOf(authority) : std::string_view();
}

bool sxIsNameBase(std::string_view text) {
  if (text.empty() || sxIsMailbox(text)) return true;
  return IsDomain(text.starts_with('.') ? text.substr(1) : text);
}
