/// @file
/// What is asked of a directory, and what comes.
#ifndef KXCERT_SRC_FETCH_LDAPSEARCH_H_
#define KXCERT_SRC_FETCH_LDAPSEARCH_H_

#include <cstddef>
#include <string>
#include <string_view>

/// A URL's part behind the name (RFC 4516, 2: attributes, scope, filter, extensions), as it is asked.
/// @param[out] asked  each attribute with ";binary"; no extensions
/// @return "", or why it is refused: no attribute or another one, a scope or a critical extension that is not known
std::string kxFetch_LdapQuery(const std::string &query, std::string &asked);

/// Reads what libcurl makes of the entries of a search: lines "DN: NAME" and "<TAB>ATTRIBUTE:: BASE64".
/// @param[out] values  the DER of all values one behind the other; undefined on failure
/// @return "", or why it is no answer
std::string kxFetch_LdapValues(std::string_view text, std::string &values);

/// Octets of such a text at which it certainly holds more than so many octets of values.
inline size_t kxFetch_LdapTextLen(size_t maxLen) {
  constexpr size_t kNames = 65'536;  // of entries and attributes
  return maxLen > (SIZE_MAX - kNames) / 3 ? SIZE_MAX : maxLen / 2 * 3 + kNames;
}

#endif
