#include "fetch/target.h"

#include <curl/curl.h>

#include <algorithm>

#include "fetch/address.h"
#include "fetch/ldapSearch.h"
#include "platform/owned.h"

namespace {

using Url = sxOwned<CURLU, curl_url_cleanup>;
using UrlText = sxOwned<char, curl_free>;

std::string Part(CURLU *url, CURLUPart part, unsigned flags = 0) {
  char *text = nullptr;
  if (curl_url_get(url, part, &text, flags) != CURLUE_OK || text == nullptr) return "";
  return UrlText(text).get();
}

std::string Lower(std::string text) {
  std::ranges::transform(text, text.begin(),
                         [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 32) : c; });
  return text;
}

// Parsers differ on what comes before an '@' and behind a backslash, so neither is asked for.
bool HasOddAuthority(const std::string &url) {
  const size_t begin = url.find("://");
  if (begin == std::string::npos) return true;
  const std::string authority = url.substr(begin + 3, url.find_first_of("/?#", begin + 3) - begin - 3);
  return authority.empty() || authority.find_first_of("@\\") != std::string::npos;
}

std::string ReadOne(CURLU *url, const kxFetchSettings &settings, Target &target) {
  for (const CURLUPart part : {CURLUPART_USER, CURLUPART_PASSWORD, CURLUPART_OPTIONS}) {
    if (!Part(url, part).empty()) return "a URL with credentials";
  }
  target.scheme = Lower(Part(url, CURLUPART_SCHEME));
  if (std::ranges::find(settings.schemes, target.scheme) == settings.schemes.end()) return "a scheme that is not asked";
  curl_url_set(url, CURLUPART_FRAGMENT, nullptr, 0);
  target.host = Lower(Part(url, CURLUPART_HOST));
  if (target.host.starts_with('[') && target.host.ends_with(']'))
    target.host = target.host.substr(1, target.host.size() - 2);
  if (target.host.empty()) return "a URL without a host";
  const std::string written = target.host;
  if (!kxFetch_ReadNumber(target.host)) return "a host that is a number and no address";
  if (target.host != written && curl_url_set(url, CURLUPART_HOST, target.host.c_str(), 0) != CURLUE_OK) {
    return "a host that does not read";
  }
  const std::string port = Part(url, CURLUPART_PORT, CURLU_DEFAULT_PORT);
  target.isNumber =
      target.host.find(':') != std::string::npos || target.host.find_first_not_of("0123456789.") == std::string::npos;
  target.server = (target.host.find(':') != std::string::npos ? "[" + target.host + "]" : target.host) + ":" + port;
  const bool isPrintable = std::ranges::all_of(target.server, [](char c) { return c > ' ' && c <= '~'; });
  if (!isPrintable) return "a host that does not read";
  if (target.IsLdap()) {
    std::string query;
    std::string wrong = kxFetch_LdapQuery(Part(url, CURLUPART_QUERY), query);
    if (wrong.empty() && Lower(Part(url, CURLUPART_PATH)).find("%00") != std::string::npos)
      wrong = "a name that holds a NUL";
    if (!wrong.empty()) return wrong;
    curl_url_set(url, CURLUPART_QUERY, query.c_str(), 0);
  }
  target.url = Part(url, CURLUPART_URL);
  const char *const whyNot = target.isConfigured ? nullptr : kxFetch_WhyNot(target.host, settings.allowPrivate);
  return whyNot == nullptr ? "" : target.server + ": " + whyNot;
}

std::string ReadText(const std::string &text, const kxFetchSettings &settings, Target &target) {
  if (HasOddAuthority(text)) return "a URL with credentials, or without a server";
  const Url url(curl_url());
  if (url == nullptr || curl_url_set(url.get(), CURLUPART_URL, text.c_str(), 0) != CURLUE_OK) {
    return "a URL that does not read";
  }
  return ReadOne(url.get(), settings, target);
}

}  // namespace

std::string kxFetch_ReadUrl(const std::string &url, const kxFetchSettings &settings, std::vector<Target> &targets) {
  targets.clear();
  const size_t pathAt = url.find("://") + 3;  // of a URL that has it
  const bool isNowhere = pathAt < url.size() && url[pathAt] == '/';
  const std::string scheme = Lower(url.substr(0, std::min(url.find(':'), url.size())));
  if (!isNowhere || !scheme.starts_with("ldap")) {
    std::string wrong = ReadText(url, settings, targets.emplace_back());
    if (!wrong.empty()) targets.clear();
    return wrong;
  }
  if (std::ranges::find(settings.schemes, scheme) == settings.schemes.end()) return "a scheme that is not asked";
  if (settings.ldapServers.empty()) return "a name of a directory, and no LDAP server is configured";
  for (const std::string &server : settings.ldapServers) {
    targets.emplace_back().isConfigured = true;
    std::string wrong = ReadText(server + url.substr(pathAt), settings, targets.back());
    if (wrong.empty()) continue;
    targets.clear();
    return wrong;
  }
  return "";
}

std::string kxFetch_Follow(const Target &from, const std::string &location, const kxFetchSettings &settings,
                           Target &to) {
  const Url url(curl_url());
  if (url == nullptr || curl_url_set(url.get(), CURLUPART_URL, from.url.c_str(), 0) != CURLUE_OK ||
      curl_url_set(url.get(), CURLUPART_URL, location.c_str(), 0) != CURLUE_OK) {
    return "a redirect that does not read";
  }
  const std::string whole = Part(url.get(), CURLUPART_URL);
  if (whole.size() > kMaxFetchUrlLen || !kxFetch_IsUrl(whole)) return "a redirect that does not read";
  std::string wrong = ReadText(whole, settings, to);
  if (!wrong.empty()) return "a redirect to " + wrong;
  if (to.IsLdap()) return "a redirect to another protocol";
  if (from.IsTls() && !to.IsTls()) return "a redirect from https to http";
  return "";
}
