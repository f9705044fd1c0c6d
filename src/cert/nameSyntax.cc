#include "nameSyntax.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <string>

namespace {

constexpr size_t kMaxDnsLen = 253, kMaxLabelLen = 63;  // RFC 1035, 2.3.4, as text
constexpr size_t kMaxLocalLen = 64;                    // RFC 2821, 4.5.3.1
constexpr size_t kNone = std::string_view::npos;

bool IsLetter(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }
bool IsDigit(char c) { return c >= '0' && c <= '9'; }

bool IsHexDigit(char c) { return IsDigit(c) || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f'); }
bool IsPrintable(char c) { return c >= ' ' && c < 0x7F; }

bool IsLetterOf(std::string_view letters, char c) { return letters.find(c) != kNone; }

bool IsSameWord(std::string_view text, std::string_view lower) {
  const auto isSame = [](char a, char b) { return (IsLetter(a) ? a | 0x20 : a) == b; };
  return text.size() == lower.size() && std::ranges::equal(text, lower, isSame);
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

bool IsBracketed(std::string_view text) { return text.size() > 2 && text.front() == '[' && text.back() == ']'; }
std::string_view InBrackets(std::string_view text) { return text.substr(1, text.size() - 2); }

// inet_pton reads up to a NUL.
bool IsAddress(int family, std::string_view text) {
  in6_addr octets;
  return text.find('\0') == kNone && inet_pton(family, std::string(text).c_str(), &octets) == 1;
}

// --- mailboxes: RFC 2821, 4.1.2 and 4.1.3 ---

bool IsAtomChar(char c) { return IsLetter(c) || IsDigit(c) || IsLetterOf("!#$%&'*+-/=?^_`{|}~", c); }

// @return the length of "a.b" at the front; 0: there is none
size_t DotStringLen(std::string_view text) {
  size_t len = 0;
  for (bool wasDot = true; len < text.size() && (IsAtomChar(text[len]) || text[len] == '.'); ++len) {
    const bool isDot = text[len] == '.';
    if (isDot && wasDot) return 0;
    wasDot = isDot;
  }
  return len > 0 && text[len - 1] == '.' ? 0 : len;
}

// @return the length of what stands in quotes at the front, with them; 0: they do not close, or hold another character
size_t QuotedLen(std::string_view text) {
  for (size_t at = 1; at < text.size() && IsPrintable(text[at]); ++at) {
    if (text[at] == '"') return at + 1;
    if (text[at] == '\\' && (++at == text.size() || !IsPrintable(text[at]))) return 0;
  }
  return 0;
}

// --- URIs: RFC 3986 ---

//   IPvFuture = "v" 1*HEXDIG "." 1*( unreserved / sub-delims / ":" )
bool IsFutureAddress(std::string_view text) {
  const size_t dot = text.find('.');
  if (dot == kNone || dot < 2 || dot + 1 == text.size() || (text[0] != 'v' && text[0] != 'V')) return false;
  const auto isOfIt = [](char c) { return IsLetter(c) || IsDigit(c) || IsLetterOf("-._~!$&'()*+,;=:", c); };
  return std::ranges::all_of(text.substr(1, dot - 1), IsHexDigit) && std::ranges::all_of(text.substr(dot + 1), isOfIt);
}

// 3.2.2
bool IsIpLiteral(std::string_view text) {
  return IsBracketed(text) && (IsAddress(AF_INET6, InBrackets(text)) || IsFutureAddress(InBrackets(text)));
}

// 2.1
bool ArePercentsEncoded(std::string_view text) {
  for (size_t at = text.find('%'); at != kNone; at = text.find('%', at + 1)) {
    if (text.size() - at < 3 || !IsHexDigit(text[at + 1]) || !IsHexDigit(text[at + 2])) return false;
  }
  return true;
}

// RFC 3986, 2: whoever takes another character for one of these, a backslash for a slash, reads another host.
bool HasUriCharacters(std::string_view text) {
  static constexpr auto kIsNever = [] {
    std::array<bool, 128> isNever{};
    for (const char c : std::string_view("\"<>\\^`{|}")) isNever[static_cast<unsigned char>(c)] = true;
    return isNever;
  }();
  const auto isOne = [](char c) { return c > ' ' && c < 0x7F && !kIsNever[static_cast<unsigned char>(c)]; };
  return std::ranges::all_of(text, isOne) && ArePercentsEncoded(text);
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

}  // namespace

bool sxIsDnsName(std::string_view text) { return IsDomain(text.starts_with("*.") ? text.substr(2) : text); }

bool sxIsMailbox(std::string_view text) {
  const size_t at = text.starts_with('"') ? QuotedLen(text) : DotStringLen(text);
  if (at == 0 || at > kMaxLocalLen || at == text.size() || text[at] != '@') return false;
  const std::string_view domain = text.substr(at + 1);
  return IsDomain(domain) || sxIsAddressLiteral(domain);
}

bool sxIsAddressLiteral(std::string_view text) {
  constexpr std::string_view kTag = "ipv6:";
  if (!IsBracketed(text)) return false;
  const std::string_view address = InBrackets(text);
  if (!IsSameWord(address.substr(0, kTag.size()), kTag)) return IsAddress(AF_INET, address);
  return IsAddress(AF_INET6, address.substr(kTag.size()));
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
  return IsDomain(host) || IsIpLiteral(host) || (authority.empty() && hasPath && IsSameWord(scheme, "ldap"));
}

std::string_view sxUriHost(std::string_view uri) {
  std::string_view authority;
  return HasUriCharacters(uri) && TakeAuthority(uri, &authority) ? HostOf(authority) : std::string_view();
}

bool sxIsNameBase(std::string_view text) {
  if (text.empty() || sxIsMailbox(text)) return true;
  return IsDomain(text.starts_with('.') ? text.substr(1) : text);
}
