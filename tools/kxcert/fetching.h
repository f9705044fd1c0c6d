/// @file
/// What fetches for the command, for as long as it lives.
#ifndef KXCERT_TOOLS_KXCERT_FETCHING_H_
#define KXCERT_TOOLS_KXCERT_FETCHING_H_

#include <memory>
#include <string>
#include <vector>

class kxFetchService;
class Report;

class Fetching {
 public:
  /// @param allowPrivate  also from addresses of this machine and of private networks
  /// @param ldapServers   that are asked for what is named without a server
  /// @param report        is told why there is none
  Fetching(bool allowPrivate, const std::vector<std::string> &ldapServers, Report &report);
  ~Fetching();
  Fetching(const Fetching &) = delete;
  Fetching &operator=(const Fetching &) = delete;

 private:
  std::unique_ptr<kxFetchService> m_service;
};

#endif
