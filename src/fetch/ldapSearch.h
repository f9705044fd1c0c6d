/// @file
/// A search of a directory: what is asked, and the asking itself.
#ifndef KXCERT_SRC_FETCH_LDAPSEARCH_H_
#define KXCERT_SRC_FETCH_LDAPSEARCH_H_

#include <curl/curl.h>
#include <ldap.h>

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "kxcert/platform/fetcher.h"
#include "platform/owned.h"

/// A URL's part behind the name (RFC 4516, 2: attributes, scope, filter, extensions), as it is asked.
/// @param[out] asked  each attribute with ";binary"; no extensions
/// @return "", or why it is refused: no attribute or another one, a scope or a critical extension that is not known
std::string kxFetch_LdapQuery(const std::string &query, std::string &asked);

/// Appends one value, which must be a SEQUENCE and nothing else, so that they can be told apart again.
bool kxFetch_AddLdapValue(std::string_view der, std::string &values);

/// Binds without a name and searches, over a connection that libcurl made, TLS or not. Nothing here waits.
///
/// libcurl's own LDAP would take messages of any length; of this one libldap is told the longest.
class LdapSearch {
 public:
  /// @param connection  of CURLOPT_CONNECT_ONLY, connected; outlives this
  /// @param url         with attributes and a scope
  LdapSearch(CURL *connection, const std::string &url, size_t maxLen);
  ~LdapSearch();
  LdapSearch(const LdapSearch &) = delete;
  LdapSearch &operator=(const LdapSearch &) = delete;

  /// Does what can be done now. @return it has ended
  bool Step();
  /// Of one that has ended: kxFetch_OK, kxFetch_failed or kxFetch_tooLong, and why.
  kxFetchResult Result() const { return m_result; }
  const std::string &Reason() const { return m_reason; }
  std::string TakeValues() { return std::move(m_values); }

 private:
  struct Unbind {
    void operator()(LDAP *ldap) const { ldap_unbind_ext(ldap, nullptr, nullptr); }
  };
  using Message = sxOwned<LDAPMessage, ldap_msgfree>;

  bool Open(const std::string &url);
  bool Take(LDAPMessage *message);
  bool Search();
  bool TakeEntry(LDAPMessage *entry);
  bool TakeValuesOf(const berval &attribute, const berval *values);
  /// @return true: it has ended
  bool End(kxFetchResult result, const std::string &reason);

  CURL *const m_connection;
  const size_t m_maxLen;
  std::unique_ptr<LDAP, Unbind> m_ldap;
  sxOwned<LDAPURLDesc, ldap_free_urldesc> m_url;
  int m_id = 0;  // of the message that is answered next
  bool m_hasEnded = false;
  kxFetchResult m_result = kxFetch_failed;
  std::string m_reason, m_values;
};

#endif
