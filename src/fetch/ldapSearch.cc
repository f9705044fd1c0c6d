#include "fetch/ldapSearch.h"

#include <lber.h>
#include <openldap.h>
#include <sys/time.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

namespace {

// RFC 4523, 2; deltaRevocationList among them.
const char *const kAttributes[] = {"certificateRevocationList", "authorityRevocationList", "deltaRevocationList",
                                   "cACertificate", "crossCertificatePair"};
constexpr std::string_view kBinary = ";binary";
constexpr int kMaxEntries = 64;          // of one answer
constexpr int kMaxMessagesAtOnce = 64;   // then it is another transfer's turn
constexpr size_t kMaxNamesLen = 65'536;  // of an entry, beside its values
constexpr int kMaxReadsAtOnce = 64;      // then it is another transfer's turn, too
constexpr size_t kMaxOctetsAtOnce = 65'536;
constexpr size_t kMaxBesides = 262'144;  // octets on a connection that are no answer
// What comes in smaller pieces than these, on the average, is work and no answer.
constexpr uint64_t kMaxSmallReads = 4096;
constexpr uint64_t kSmallLen = 64;

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

ber_slen_t Outcome(CURLcode code, size_t len) {
  if (code == CURLE_OK) return static_cast<ber_slen_t>(len);
  errno = code == CURLE_AGAIN ? EWOULDBLOCK : EIO;
  return -1;
}

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

bool kxFetch_IsLdapValue(std::string_view der) { return IsSequence(der); }

// Octets go through libcurl, and so through its TLS.

Sockbuf_IO LdapSearch::s_overLibcurl = {SetUp, TearDown, Control, Receive, Send, TearDown};

int LdapSearch::SetUp(Sockbuf_IO_Desc *io, void *line) {
  io->sbiod_pvt = line;
  return 0;
}
int LdapSearch::TearDown(Sockbuf_IO_Desc *) { return 0; }  // the connection is libcurl's

// There may be octets in its TLS that no poll of the socket tells of.
int LdapSearch::Control(Sockbuf_IO_Desc *, int option, void *) { return option == LBER_SB_OPT_DATA_READY ? 1 : 0; }

ber_slen_t LdapSearch::Receive(Sockbuf_IO_Desc *io, void *octets, ber_len_t maxLen) {
  Line &line = *static_cast<Line *>(io->sbiod_pvt);
  line.isCutShort = line.readsLeft == 0 || line.octetsLeft == 0;
  if (line.isCutShort) return Outcome(CURLE_AGAIN, 0);
  --line.readsLeft;
  size_t len = 0;
  const CURLcode code = curl_easy_recv(line.connection, octets, std::min<size_t>(maxLen, line.octetsLeft), &len);
  return code == CURLE_OK && !line.Count(len) ? Outcome(CURLE_RECV_ERROR, 0) : Outcome(code, len);
}

ber_slen_t LdapSearch::Send(Sockbuf_IO_Desc *io, void *octets, ber_len_t wholeLen) {
  size_t len = 0;
  const CURLcode code = curl_easy_send(static_cast<Line *>(io->sbiod_pvt)->connection, octets, wholeLen, &len);
  return Outcome(code, len);
}

// @return false: it is broken now
bool LdapSearch::Line::Count(size_t len) {
  octetsLeft -= len;
  numOctets += len;
  numReads += len != 0 ? 1 : 0;
  if (numOctets > static_cast<uint64_t>(maxLen) + kMaxBesides) {
    result = kxFetch_tooLong;
    wrong = "much more than the octets of an answer";
  } else if (numReads > kMaxSmallReads + numOctets / kSmallLen) {
    wrong = "too many small messages, or pieces of them";
  } else if (room.Take(len)) {
    held += len;
  } else {
    isOurs = true;
    wrong = kNoRoomForAnswer;
  }
  return wrong == nullptr;
}

LdapSearch::LdapSearch(CURL *connection, const std::string &url, size_t maxLen, AnswerRoom &room)
    : m_maxLen(maxLen), m_line{connection, room}, m_values(room) {
  m_line.maxLen = maxLen;
  if (!Open(url)) End(kxFetch_failed, "no search can be made");
}

LdapSearch::~LdapSearch() {
  m_ldap.reset();  // takes its leave over the line
  m_line.room.GiveBack(m_line.held);
}

bool LdapSearch::Open(const std::string &url) {
  curl_socket_t socket = CURL_SOCKET_BAD;
  if (curl_easy_getinfo(m_line.connection, CURLINFO_ACTIVESOCKET, &socket) != CURLE_OK || socket == CURL_SOCKET_BAD)
    return false;
  LDAPURLDesc *parts = nullptr;
  LDAP *opened = nullptr;
  if (ldap_url_parse(url.c_str(), &parts) != LDAP_URL_SUCCESS) return false;
  m_url.reset(parts);
  if (ldap_init_fd(socket, LDAP_PROTO_EXT, kNowhere, &opened) != LDAP_SUCCESS) return false;
  m_ldap.reset(opened);
  const int version = LDAP_VERSION3;
  Sockbuf *buffer = nullptr;
  berval nothing{0, nullptr};
  return ldap_set_option(opened, LDAP_OPT_PROTOCOL_VERSION, &version) == LDAP_OPT_SUCCESS &&
         ldap_set_option(opened, LDAP_OPT_REFERRALS, LDAP_OPT_OFF) == LDAP_OPT_SUCCESS &&
         ldap_get_option(opened, LDAP_OPT_SOCKBUF, &buffer) == LDAP_OPT_SUCCESS &&
         ber_sockbuf_add_io(buffer, &s_overLibcurl, LBER_SBIOD_LEVEL_PROVIDER, &m_line) == 0 && LimitMessages() &&
         ldap_sasl_bind(opened, "", LDAP_SASL_SIMPLE, &nothing, nullptr, nullptr, &m_id) == LDAP_SUCCESS;
}

bool LdapSearch::LimitMessages() {
  Sockbuf *buffer = nullptr;
  ber_len_t maxMessageLen = std::min<size_t>(m_maxLen, INT_MAX - kMaxNamesLen) + kMaxNamesLen;
  return ldap_get_option(m_ldap.get(), LDAP_OPT_SOCKBUF, &buffer) == LDAP_OPT_SUCCESS &&
         ber_sockbuf_ctrl(buffer, LBER_SB_OPT_SET_MAX_INCOMING, &maxMessageLen) == 1;
}

void LdapSearch::SetMaxLen(size_t maxLen) {
  m_maxLen = m_line.maxLen = maxLen;
  if (!m_hasEnded && !LimitMessages()) End(kxFetch_failed, "no search can be made");
}

bool LdapSearch::EndBroken() {
  if (m_line.wrong == nullptr) return End(kxFetch_failed, "the connection ended, or what came is no LDAP");
  m_isOurs = m_line.isOurs;
  return End(m_line.result, m_line.wrong);
}

bool LdapSearch::Step() {
  m_line.readsLeft = kMaxReadsAtOnce;
  m_line.octetsLeft = kMaxOctetsAtOnce;
  m_line.isCutShort = false;
  for (int i = 0; i < kMaxMessagesAtOnce && !m_hasEnded; ++i) {
    LDAPMessage *message = nullptr;
    timeval now{0, 0};
    errno = 0;
    const int kind = ldap_result(m_ldap.get(), m_id, LDAP_MSG_ONE, &now, &message);
    if (kind == 0) return false;
    const bool isTooLong = errno == ERANGE;  // what libldap makes of a message that is longer than it was told
    if (kind < 0 && isTooLong) return End(kxFetch_tooLong, "a message that is too long");
    if (kind < 0) return EndBroken();
    const Message owned(message);
    m_line.room.GiveBack(std::exchange(m_line.held, 0));  // of which the values take what they need
    Take(message);
  }
  m_line.isCutShort = true;
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
  if (m_values.Len() == 0) return End(kxFetch_failed, "no entry that has one of these attributes");
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
    if (values->bv_len > m_maxLen - std::min(m_values.Len(), m_maxLen)) {
      return End(kxFetch_tooLong, "more than " + std::to_string(m_maxLen) + " octets");
    }
    if (!IsSequence({values->bv_val, values->bv_len})) return End(kxFetch_failed, "a value that is not DER");
    const AnswerOctets::Outcome outcome = m_values.Append(values->bv_val, values->bv_len);
    if (outcome == AnswerOctets::Outcome::kFits) continue;
    m_isOurs = true;
    return End(kxFetch_failed, outcome == AnswerOctets::Outcome::kNoRoom ? kNoRoomForAnswer : "no memory");
  }
  return false;
}

bool LdapSearch::End(kxFetchResult result, const std::string &reason) {
  m_hasEnded = true;
  m_result = result;
  m_reason = reason;
  return true;
}
