#include "fetch/ldapSearch.h"

#include <lber.h>
#include <openldap.h>
#include <sys/time.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <memory>
#include <vector>

namespace {

// RFC 4523, 2; deltaRevocationList among them.
const char *const kAttributes[] = {"certificateRevocationList", "authorityRevocationList", "deltaRevocationList",
                                   "cACertificate", "crossCertificatePair"};
constexpr std::string_view kBinary = ";binary";
constexpr int kMaxEntries = 64;          // of one answer
constexpr int kMaxMessagesAtOnce = 64;   // then it is another transfer's turn
constexpr size_t kMaxNamesLen = 65'536;  // of an entry, beside its values

constexpr char kNowhere[] = "ldap://255.255.255.255:1/";  // libldap wants a server; this one would be refused at once

struct FreeReader {
  void operator()(BerElement *reader) const { ber_free(reader, 0); }
};

bool EqualNames(std::string_view a, std::string_view b) {
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 32) : c; };
  return std::ranges::equal(a, b, {}, lower, lower);
}

/// @param name  with or without the option
/// @return null for any other attribute
const char *AttributeOf(std::string_view name) {
  const size_t len = name.size();
  if (len > kBinary.size() && EqualNames(name.substr(len - kBinary.size()), kBinary))
    name.remove_suffix(kBinary.size());
  const auto *const found =
      std::ranges::find_if(kAttributes, [name](const char *attribute) { return EqualNames(attribute, name); });
  return found == std::ranges::end(kAttributes) ? nullptr : *found;
}

std::vector<std::string_view> Split(std::string_view text, char separator) {
  std::vector<std::string_view> parts;
  for (size_t begin = 0; begin <= text.size();) {
    const size_t end = std::min(text.find(separator, begin), text.size());
    parts.push_back(text.substr(begin, end - begin));
    begin = end + 1;
  }
  return parts;
}

// One SEQUENCE of a definite length, and nothing behind it: only so the values can be told apart again.
bool IsSequence(std::string_view der) {
  const auto at = [der](size_t i) { return static_cast<unsigned char>(der[i]); };
  if (der.size() < 2 || at(0) != 0x30) return false;
  if (at(1) < 0x80) return der.size() == 2U + at(1);
  const size_t numOctets = at(1) & 0x7fU;
  if (numOctets < 1 || numOctets > 4 || der.size() < 2 + numOctets) return false;
  uint64_t len = 0;
  for (size_t i = 0; i < numOctets; ++i) len = len << 8 | at(2 + i);
  return der.size() - 2 - numOctets == len;
}

// Octets go through libcurl, and so through its TLS.

int SetUp(Sockbuf_IO_Desc *io, void *connection) {
  io->sbiod_pvt = connection;
  return 0;
}
int TearDown(Sockbuf_IO_Desc *) { return 0; }  // the connection is libcurl's

// There may be octets in its TLS that no poll of the socket tells of.
int Control(Sockbuf_IO_Desc *, int option, void *) { return option == LBER_SB_OPT_DATA_READY ? 1 : 0; }

ber_slen_t Outcome(CURLcode code, size_t len) {
  if (code == CURLE_OK) return static_cast<ber_slen_t>(len);
  errno = code == CURLE_AGAIN ? EWOULDBLOCK : EIO;
  return -1;
}
ber_slen_t Receive(Sockbuf_IO_Desc *io, void *octets, ber_len_t maxLen) {
  size_t len = 0;
  const CURLcode code = curl_easy_recv(io->sbiod_pvt, octets, maxLen, &len);
  return Outcome(code, len);
}
ber_slen_t Send(Sockbuf_IO_Desc *io, void *octets, ber_len_t wholeLen) {
  size_t len = 0;
  const CURLcode code = curl_easy_send(io->sbiod_pvt, octets, wholeLen, &len);
  return Outcome(code, len);
}

Sockbuf_IO g_overLibcurl = {SetUp, TearDown, Control, Receive, Send, TearDown};  // libldap wants it so; never changed

}  // namespace

std::string kxFetch_LdapQuery(const std::string &query, std::string &asked) {
  const std::vector<std::string_view> parts = Split(query, '?');
  if (parts.size() > 4) return "a search that does not read";
  asked.clear();
  for (const std::string_view name : Split(parts[0], ',')) {
    const char *const attribute = AttributeOf(name);
    if (attribute == nullptr)
      return name.empty() ? "a search without an attribute" : "an attribute that is not asked for";
    asked += (asked.empty() ? "" : ",") + std::string(attribute) + std::string(kBinary);
  }
  const std::string_view scope = parts.size() > 1 && !parts[1].empty() ? parts[1] : "base";
  if (scope != "base" && scope != "one" && scope != "sub") return "a scope that is not known";
  const std::string_view filter = parts.size() > 2 ? parts[2] : "";
  if (filter.find("%00") != std::string_view::npos) return "a filter that holds a NUL";
  for (const std::string_view extension : Split(parts.size() > 3 ? parts[3] : "", ',')) {
    if (extension.starts_with('!') || extension.starts_with("%21")) return "a critical extension of a search";
  }
  asked += "?" + std::string(scope) + "?" + std::string(filter);
  if (filter.empty()) asked.pop_back();
  return "";
}

bool kxFetch_AddLdapValue(std::string_view der, std::string &values) {
  if (IsSequence(der)) values += der;
  return IsSequence(der);
}

LdapSearch::LdapSearch(CURL *connection, const std::string &url, size_t maxLen)
    : m_connection(connection), m_maxLen(maxLen) {
  if (!Open(url)) End(kxFetch_failed, "no search can be made");
}

LdapSearch::~LdapSearch() = default;

bool LdapSearch::Open(const std::string &url) {
  curl_socket_t socket = CURL_SOCKET_BAD;
  if (curl_easy_getinfo(m_connection, CURLINFO_ACTIVESOCKET, &socket) != CURLE_OK || socket == CURL_SOCKET_BAD)
    return false;
  LDAPURLDesc *parts = nullptr;
  LDAP *opened = nullptr;
  if (ldap_url_parse(url.c_str(), &parts) != LDAP_URL_SUCCESS) return false;
  m_url.reset(parts);
  if (ldap_init_fd(socket, LDAP_PROTO_EXT, kNowhere, &opened) != LDAP_SUCCESS) return false;
  m_ldap.reset(opened);
  const int version = LDAP_VERSION3;
  Sockbuf *buffer = nullptr;
  ber_len_t maxMessageLen = std::min<size_t>(m_maxLen, INT_MAX - kMaxNamesLen) + kMaxNamesLen;
  berval nothing{0, nullptr};
  return ldap_set_option(opened, LDAP_OPT_PROTOCOL_VERSION, &version) == LDAP_OPT_SUCCESS &&
         ldap_set_option(opened, LDAP_OPT_REFERRALS, LDAP_OPT_OFF) == LDAP_OPT_SUCCESS &&
         ldap_get_option(opened, LDAP_OPT_SOCKBUF, &buffer) == LDAP_OPT_SUCCESS &&
         ber_sockbuf_add_io(buffer, &g_overLibcurl, LBER_SBIOD_LEVEL_PROVIDER, m_connection) == 0 &&
         ber_sockbuf_ctrl(buffer, LBER_SB_OPT_SET_MAX_INCOMING, &maxMessageLen) == 1 &&
         ldap_sasl_bind(opened, "", LDAP_SASL_SIMPLE, &nothing, nullptr, nullptr, &m_id) == LDAP_SUCCESS;
}

bool LdapSearch::Step() {
  for (int i = 0; i < kMaxMessagesAtOnce && !m_hasEnded; ++i) {
    LDAPMessage *message = nullptr;
    timeval now{0, 0};
    errno = 0;
    const int kind = ldap_result(m_ldap.get(), m_id, LDAP_MSG_ONE, &now, &message);
    if (kind == 0) return false;
    const bool isTooLong = errno == ERANGE;  // what libldap makes of a message that is longer than it was told
    if (kind < 0 && isTooLong) return End(kxFetch_tooLong, "a message that is too long");
    if (kind < 0) return End(kxFetch_failed, "the connection ended, or what came is no LDAP");
    const Message owned(message);
    Take(message);
  }
  return m_hasEnded;
}

bool LdapSearch::Take(LDAPMessage *message) {
  const int kind = ldap_msgtype(message);
  if (kind == LDAP_RES_SEARCH_ENTRY) return TakeEntry(message);
  if (kind != LDAP_RES_BIND && kind != LDAP_RES_SEARCH_RESULT) return false;  // where else it may be found
  int code = LDAP_OTHER;
  if (ldap_parse_result(m_ldap.get(), message, &code, nullptr, nullptr, nullptr, nullptr, 0) != LDAP_SUCCESS) {
    return End(kxFetch_failed, "an answer that does not read");
  }
  const bool isBound = kind == LDAP_RES_SEARCH_RESULT;
  if (code != LDAP_SUCCESS)
    return End(kxFetch_failed, (isBound ? "search: " : "bind: ") + std::string(ldap_err2string(code)));
  if (!isBound) return Search();
  if (m_values.empty()) return End(kxFetch_failed, "no entry that has one of these attributes");
  return End(kxFetch_OK, "");
}

bool LdapSearch::Search() {
  const char *const filter = m_url->lud_filter != nullptr ? m_url->lud_filter : "(objectClass=*)";
  const int code = ldap_search_ext(m_ldap.get(), m_url->lud_dn, m_url->lud_scope, filter, m_url->lud_attrs, 0, nullptr,
                                   nullptr, nullptr, kMaxEntries, &m_id);
  return code != LDAP_SUCCESS && End(kxFetch_failed, std::string("search: ") + ldap_err2string(code));
}

bool LdapSearch::TakeEntry(LDAPMessage *entry) {
  BerElement *raw = nullptr;
  berval name{}, attribute{};
  int code = ldap_get_dn_ber(m_ldap.get(), entry, &raw, &name);
  const std::unique_ptr<BerElement, FreeReader> reader(raw);
  while (code == LDAP_SUCCESS) {
    BerVarray values = nullptr;
    code = ldap_get_attribute_ber(m_ldap.get(), entry, raw, &attribute, &values);
    const sxOwned<berval, ber_memfree> owned(values);
    if (code != LDAP_SUCCESS || attribute.bv_val == nullptr) break;
    if (values != nullptr && TakeValuesOf(attribute, values)) return true;
  }
  return code != LDAP_SUCCESS && End(kxFetch_failed, "an entry that does not read");
}

bool LdapSearch::TakeValuesOf(const berval &attribute, const berval *values) {
  if (AttributeOf({attribute.bv_val, attribute.bv_len}) == nullptr) return false;
  for (; values->bv_val != nullptr; ++values) {
    if (values->bv_len > m_maxLen - m_values.size()) {
      return End(kxFetch_tooLong, "more than " + std::to_string(m_maxLen) + " octets");
    }
    if (!kxFetch_AddLdapValue({values->bv_val, values->bv_len}, m_values))
      return End(kxFetch_failed, "a value that is not DER");
  }
  return false;
}

bool LdapSearch::End(kxFetchResult result, const std::string &reason) {
  m_hasEnded = true;
  m_result = result;
  m_reason = reason;
  return true;
}
