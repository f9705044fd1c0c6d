/// @file
/// What a URL asks of whom.
#ifndef KXCERT_SRC_FETCH_TARGET_H_
#define KXCERT_SRC_FETCH_TARGET_H_

#include <string>
#include <vector>

#include "kxcert/fetch/fetch.h"

struct Target {
  std::string url;            ///< as it is asked: no fragment, for LDAP with all that the protocol wants
  std::string scheme;         ///< lower case
  std::string host;           ///< lower case, an IPv6 address without brackets
  std::string server;         ///< host and port, for people and as the name of what fails
  bool isNumber = false;      ///< the host is an address
  bool isConfigured = false;  ///< by the administrator, whatever its address

  bool IsLdap() const { return scheme.starts_with("ldap"); }
  bool IsTls() const { return scheme.ends_with('s'); }
};

/// @param[out] targets  whom to ask, one after the other; one, but for URLs of LDAP without a host
/// @return "", or why the URL is refused: one line that holds nothing of the URL that could be a secret
std::string kxFetch_ReadUrl(const std::string &url, const kxFetchSettings &settings, std::vector<Target> &targets);

/// Where a server sends on to: relative to the target, with the rules for redirects.
/// @return as above
std::string kxFetch_Follow(const Target &from, const std::string &location, const kxFetchSettings &settings,
                           Target &to);

#endif
