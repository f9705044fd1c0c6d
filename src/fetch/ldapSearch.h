/// @file
/// A search of a directory: what is asked, and the asking itself.
#ifndef KXCERT_SRC_FETCH_LDAPSEARCH_H_
#define KXCERT_SRC_FETCH_LDAPSEARCH_H_

#include <curl/curl.h>
#include <lber.h>
#include <ldap.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "fetch/answerOctets.h"
#include "kxcert/platform/fetcher.h"
#include "platform/owned.h"

/// A URL's part behind the name (RFC 4516, 2: attributes, scope, filter, extensions), as it is asked.
/// @param[out] asked  each attribute with ";binary"; no extensions
/// @return "", or why it is refused: no attribute or another one, a scope or a critical extension that is not known
std::string kxFetch_LdapQuery(const std::string &query, std::string &asked);

/// Values stand one behind the other in an answer: each must be a SEQUENCE and nothing else, so that they can be told
/// apart again.
bool kxFetch_IsLdapValue(std::string_view der);

/// Binds without a name and searches, over a connection that libcurl made, TLS or not. Nothing here waits.
///
/// libcurl's own LDAP would take messages of any length; of this one libldap is told the longest. libldap goes on
/// reading as long as there is something that answers nothing: it is told that there is nothing more when it has had
/// its share of a turn, and that the connection is broken when there was more than an answer can have.
class LdapSearch {
 public:
  /// @param connection  of CURLOPT_CONNECT_ONLY, connected; outlives this
  /// @param url         with attributes and a scope
  /// @param room        for what came; outlives this
  LdapSearch(CURL *connection, const std::string &url, size_t maxLen, AnswerRoom &room);
  ~LdapSearch();
  LdapSearch(const LdapSearch &) = delete;
  LdapSearch &operator=(const LdapSearch &) = delete;

  /// Does what can be done now. @return it has ended
  bool Step();
  /// The last step left something that can be done now.
  bool HasMore() const { return !m_hasEnded && m_line.isCutShort; }
  /// Another one counts for what is to come.
  void SetMaxLen(size_t maxLen);
  /// Of one that has ended: kxFetch_OK, kxFetch_failed or kxFetch_tooLong, and why.
  kxFetchResult Result() const { return m_result; }
  const std::string &Reason() const { return m_reason; }
  AnswerOctets &Values() { return m_values; }
  /// It was not the server's fault.
  bool IsOurs() const { return m_isOurs; }

 private:
  // What libldap reads from.
  struct Line {
    CURL *connection;
    AnswerRoom &room;
    size_t maxLen = 0;        // of the answer
    int readsLeft = 0;        // in this turn
    size_t octetsLeft = 0;    // in this turn
    bool isCutShort = false;  // one of them was used up
    uint64_t numOctets = 0;   // in all
    uint64_t numReads = 0;    // that brought some
    size_t held = 0;          // of the room, for what libldap has
    kxFetchResult result = kxFetch_failed;
    const char *wrong = nullptr;  // why it is broken
    bool isOurs = false;

    bool Count(size_t len);
  };
  struct Unbind {
    void operator()(LDAP *ldap) const { ldap_unbind_ext(ldap, nullptr, nullptr); }
  };
  using Message = sxOwned<LDAPMessage, ldap_msgfree>;

  static int SetUp(Sockbuf_IO_Desc *io, void *line);
  static int TearDown(Sockbuf_IO_Desc *io);
  static int Control(Sockbuf_IO_Desc *io, int option, void *value);
  static ber_slen_t Receive(Sockbuf_IO_Desc *io, void *octets, ber_len_t maxLen);
  static ber_slen_t Send(Sockbuf_IO_Desc *io, void *octets, ber_len_t wholeLen);
  static Sockbuf_IO s_overLibcurl;  // libldap wants it so; never changed

  bool Open(const std::string &url);
  bool LimitMessages();
  bool EndBroken();
  bool Take(LDAPMessage *message);
  bool Search();
  bool TakeEntry(LDAPMessage *entry);
  bool TakeValuesOf(const berval &attribute, const berval *values);
  /// @return true: it has ended
  bool End(kxFetchResult result, const std::string &reason);

  size_t m_maxLen;
  Line m_line;
  std::unique_ptr<LDAP, Unbind> m_ldap;  // reads from the line, also when it goes
  sxOwned<LDAPURLDesc, ldap_free_urldesc> m_url;
  int m_id = 0;  // of the message that is answered next
  bool m_hasEnded = false;
  kxFetchResult m_result = kxFetch_failed;
  std::string m_reason;
  bool m_isOurs = false;
  AnswerOctets m_values;
};

#endif
