#include "generalNameInput.h"

#include <arpa/inet.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/modules/PKIX1Implicit88.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/asn1/sxAsnAny.h"
#include "nameInput.h"
#include "oidInput.h"
#include "visibleText.h"

namespace {

constexpr size_t kMaxHost = 253, kMaxLabel = 63;  // RFC 1035, 2.3.4, without the root's empty label

using Read = std::string (*)(const std::string &value, sxASN_GeneralName *name);
struct KindRow {
  const char *kind;
  Read read;
};

template <class String>
String TextOf(const std::string &text) {
  return String(reinterpret_cast<const unsigned char *>(text.data()), static_cast<int>(text.size()));
}

std::string Wrong(const char *what, const std::string &value, const char *advice) {
  return std::string("not ") + what + ": " + VisibleLine(value) + "; " + advice;
}

bool IsWord(std::string_view text) {  // printable ASCII without blanks
  return std::ranges::all_of(text, [](char c) { return c > ' ' && c < 0x7F; });
}

bool IsLabel(std::string_view label) {
  const auto isLetter = [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-';
  };
  return !label.empty() && label.size() <= kMaxLabel && label.front() != '-' && label.back() != '-' &&
         std::ranges::all_of(label, isLetter);
}

// RFC 5280, 4.2.1.6: the preferred syntax of RFC 1034, 3.5 and RFC 1123, 2.1.
bool IsHost(std::string_view host) {
  if (host.empty() || host.size() > kMaxHost) return false;
  for (size_t dot = 0; dot != std::string_view::npos;) {
    dot = host.find('.');
    if (!IsLabel(host.substr(0, dot))) return false;
    if (dot != std::string_view::npos) host.remove_prefix(dot + 1);
  }
  return true;
}

bool IsMailbox(std::string_view text) {
  const size_t at = text.rfind('@');
  return at != std::string_view::npos && at > 0 && IsWord(text.substr(0, at)) && IsHost(text.substr(at + 1));
}

// RFC 3986, 3.1: what comes before the colon.
bool IsUri(std::string_view text) {
  const size_t colon = text.find(':');
  if (colon == std::string_view::npos || colon + 1 == text.size() || !IsWord(text)) return false;
  const auto isLetter = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); };
  return isLetter(text[0]) && std::ranges::all_of(text.substr(0, colon), [isLetter](char c) {
           return isLetter(c) || (c >= '0' && c <= '9') || c == '+' || c == '-' || c == '.';
         });
}

std::vector<unsigned char> AddressOf(const std::string &text) {
  std::vector<unsigned char> octets(sizeof(in6_addr));
  if (inet_pton(AF_INET6, text.c_str(), octets.data()) == 1) return octets;
  octets.resize(sizeof(in_addr));
  if (inet_pton(AF_INET, text.c_str(), octets.data()) == 1) return octets;
  return {};
}

// Ones, and then zeros: what RFC 4632, 3.1 calls a prefix.
bool IsMask(std::span<const unsigned char> octets) {
  bool hasEnded = false;
  for (const unsigned char octet : octets) {
    for (int bit = 7; bit >= 0; --bit) {
      const bool isSet = (octet >> bit & 1) != 0;
      if (isSet && hasEnded) return false;
      hasEnded = !isSet;
    }
  }
  return true;
}

std::vector<unsigned char> MaskOf(const std::string &text, size_t addressLen) {
  std::vector<unsigned char> mask = AddressOf(text);
  if (!mask.empty()) return mask.size() == addressLen && IsMask(mask) ? mask : std::vector<unsigned char>();
  size_t numBits = 0;
  const char *const end = text.data() + text.size();
  const auto [next, error] = std::from_chars(text.data(), end, numBits);
  if (error != std::errc() || next != end || numBits > addressLen * 8) return {};
  mask.assign(addressLen, 0);
  for (size_t bit = 0; bit < numBits; ++bit) mask[bit / 8] |= static_cast<unsigned char>(0x80 >> bit % 8);
  return mask;
}

// --- names ---

std::string ReadDns(const std::string &value, sxASN_GeneralName *name) {
  const size_t wildcardLen = value.starts_with("*.") ? 2 : 0;
  if (!IsHost(std::string_view(value).substr(wildcardLen))) {
    return Wrong("a host name", value, "host.example and *.example are; other letters are written as xn--...");
  }
  name->Set_dNSName(TextOf<sxAsnIA5String>(value));
  return "";
}

std::string ReadAddress(const std::string &value, sxASN_GeneralName *name) {
  const std::vector<unsigned char> octets = AddressOf(value);
  if (octets.empty()) return Wrong("an address", value, "192.0.2.1 and 2001:db8::1 are");
  name->Set_iPAddress(sxAsnOcts(octets.data(), static_cast<int>(octets.size())));
  return "";
}

std::string ReadEmail(const std::string &value, sxASN_GeneralName *name) {
  if (!IsMailbox(value)) return Wrong("an address of mail", value, "somebody@host.example is");
  name->Set_rfc822Name(TextOf<sxAsnIA5String>(value));
  return "";
}

std::string ReadUri(const std::string &value, sxASN_GeneralName *name) {
  std::string wrong = CheckUri(value);
  if (wrong.empty()) name->Set_uniformResourceIdentifier(TextOf<sxAsnIA5String>(value));
  return wrong;
}

std::string ReadDn(const std::string &value, sxASN_GeneralName *name) {
  std::string reason;
  const std::optional<sxDN> dn = ReadName(value, &reason);
  if (!dn.has_value()) return "not a distinguished name: " + VisibleLine(value) + reason;
  if (dn->GetName()->Count() == 0) return Wrong("a distinguished name", value, "CN=a,O=b,C=c is");
  name->Set_directoryName(*dn->GetName());
  return "";
}

std::string ReadRegistered(const std::string &value, sxASN_GeneralName *name) {
  const std::optional<sxAsnOid> oid = ReadOid(value);
  if (oid.has_value()) name->Set_registeredID(*oid);
  return CheckOid(value);
}

std::string SetOther(const sxAsnOid &type, sxAsnType *value, sxASN_GeneralName *name) {
  sxASN_AnotherName other;
  other.type_id = new sxAsnOid(type);
  other.value = new sxAsnAny(type, value);
  name->Set_otherName(other);
  return "";
}

std::string ReadPrincipal(const std::string &value, sxASN_GeneralName *name) {
  if (value.empty()) return Wrong("a principal name", value, "somebody@host.example is");
  return SetOther(sxASN_id_principalName, new sxASN_PrincipalName(TextOf<sxASN_PrincipalName>(value)), name);
}

std::string ReadOther(const std::string &value, sxASN_GeneralName *name) {
  const size_t equals = value.find('=');
  const std::optional<sxAsnOid> type = ReadOid(value.substr(0, equals));
  if (!type.has_value() || equals == std::string::npos || equals + 1 == value.size()) {
    return Wrong("OID=TEXT", value, "1.3.6.1.4.1.99999.1=text is, which becomes a UTF8String");
  }
  return SetOther(*type, new sxAsnUTF8String(TextOf<sxAsnUTF8String>(value.substr(equals + 1))), name);
}

constexpr KindRow kNames[] = {{"dns", ReadDns}, {"ip", ReadAddress},     {"email", ReadEmail},   {"uri", ReadUri},
                              {"dn", ReadDn},   {"oid", ReadRegistered}, {"upn", ReadPrincipal}, {"other", ReadOther}};

// --- bases of name constraints; an empty one holds every name of its kind ---

std::string ReadDnsBase(const std::string &value, sxASN_GeneralName *name) {
  if (!value.empty() && !IsHost(value))
    return Wrong("a host name", value, "example stands for all names below it, too");
  name->Set_dNSName(TextOf<sxAsnIA5String>(value));
  return "";
}

std::string ReadAddressBase(const std::string &value, sxASN_GeneralName *name) {
  const size_t slash = value.find('/');
  std::vector<unsigned char> octets = AddressOf(value.substr(0, slash));
  const std::vector<unsigned char> mask =
      octets.empty() || slash == std::string::npos ? octets : MaskOf(value.substr(slash + 1), octets.size());
  if (slash == std::string::npos || mask.empty()) {
    return Wrong("a network", value, "192.0.2.0/24, 192.0.2.0/255.255.255.0 and 2001:db8::/32 are");
  }
  for (size_t i = 0; i < mask.size(); ++i) octets[i] &= mask[i];
  octets.insert(octets.end(), mask.begin(), mask.end());
  name->Set_iPAddress(sxAsnOcts(octets.data(), static_cast<int>(octets.size())));
  return "";
}

// A mailbox, a host, or with a period before it the hosts below one.
std::string ReadEmailBase(const std::string &value, sxASN_GeneralName *name) {
  const bool isDomain = value.starts_with('.') && IsHost(std::string_view(value).substr(1));
  if (!value.empty() && !isDomain && !IsHost(value) && !IsMailbox(value)) {
    return Wrong("an address of mail, host or domain", value, "somebody@host.example, host.example and .example are");
  }
  name->Set_rfc822Name(TextOf<sxAsnIA5String>(value));
  return "";
}

std::string ReadUriBase(const std::string &value, sxASN_GeneralName *name) {
  if (!IsHost(std::string_view(value).substr(value.starts_with('.') ? 1 : 0))) {
    return Wrong("a host or domain", value, "host.example and .example are, without a scheme");
  }
  name->Set_uniformResourceIdentifier(TextOf<sxAsnIA5String>(value));
  return "";
}

constexpr KindRow kBases[] = {
    {"dns", ReadDnsBase}, {"ip", ReadAddressBase}, {"email", ReadEmailBase}, {"uri", ReadUriBase}, {"dn", ReadDn}};

std::string ReadKind(std::span<const KindRow> rows, const std::string &text, sxASN_GeneralName *name) {
  const size_t colon = text.find(':');
  const std::string kind = text.substr(0, colon);
  Words kinds;
  for (const KindRow &row : rows) {
    if (colon != std::string::npos && kind == row.kind) return row.read(text.substr(colon + 1), name);
    kinds.emplace_back(row.kind);
  }
  if (colon != std::string::npos) return UnknownWord("kind of name", kind, kinds);
  return "not KIND:VALUE: " + VisibleLine(text) + "; the kinds are " + ListOf(kinds);
}

}  // namespace

std::string ReadGeneralName(const std::string &text, sxASN_GeneralName *name) { return ReadKind(kNames, text, name); }
std::string ReadNameBase(const std::string &text, sxASN_GeneralName *name) { return ReadKind(kBases, text, name); }

std::string CheckGeneralName(const std::string &text) {
  sxASN_GeneralName name;
  return ReadGeneralName(text, &name);
}

std::string CheckNameBase(const std::string &text) {
  sxASN_GeneralName name;
  return ReadNameBase(text, &name);
}

std::string CheckUri(const std::string &text) {
  return IsUri(text) ? "" : Wrong("a URI", text, "http://host.example/path is");
}
