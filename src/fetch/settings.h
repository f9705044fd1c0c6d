/// @file
/// Settings, judged and made ready.
#ifndef KXCERT_SRC_FETCH_SETTINGS_H_
#define KXCERT_SRC_FETCH_SETTINGS_H_

#include <string>

#include "fetch/target.h"
#include "kxcert/fetch/fetch.h"

/// @return "", or what is wrong with them
std::string kxFetch_CheckSettings(const kxFetchSettings &settings);

/// Through whom servers are asked.
class Proxies {
 public:
  /// Reads the environment when the settings say so. @return "", or what is wrong
  std::string Read(const kxFetchSettings &settings);
  /// @return "" for none
  std::string For(const Target &target) const;

 private:
  std::string m_http, m_https;
  std::vector<std::string> m_without;  // lower case, no dot in front
};

#endif
