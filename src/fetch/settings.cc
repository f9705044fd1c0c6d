#include "fetch/settings.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>

namespace {

constexpr const char *kSchemes[] = {"http", "https", "ldap", "ldaps"};
constexpr size_t kMaxTextLen = 256;

bool IsText(const std::string &text) {
  return text.size() <= kMaxTextLen && std::ranges::all_of(text, [](char c) { return c >= ' ' && c <= '~'; });
}

// "SCHEME://HOST[:PORT]", perhaps with a slash behind it, and nothing else.
bool IsServer(const std::string &url, std::string_view scheme) {
  const std::string begin = std::string(scheme) + "://";
  if (!url.starts_with(begin) || !kxFetch_IsUrl(url)) return false;
  const std::string server = url.substr(begin.size(), url.size() - begin.size() - (url.ends_with('/') ? 1 : 0));
  return !server.empty() && server.find_first_of("/?#@\\") == std::string::npos;
}

std::string CheckServers(const kxFetchSettings &settings) {
  if (settings.ldapServers.size() > kMaxFetchLdapServers) return "too many LDAP servers";
  for (const std::string &server : settings.ldapServers) {
    std::vector<Target> targets;
    kxFetchSettings any;
    any.allowPrivate = true;
    const bool reads = (IsServer(server, "ldap") || IsServer(server, "ldaps")) && !server.ends_with('/') &&
                       kxFetch_ReadUrl(server + "/?cACertificate", any, targets).empty();
    if (!reads) return "not the URL of an LDAP server: " + server;
    if (std::ranges::find(settings.schemes, targets[0].scheme) == settings.schemes.end()) {
      return "an LDAP server of a scheme that is not asked: " + server;
    }
  }
  return "";
}

// The first of them that is set. Names in capitals come behind.
std::string FromEnvironment(std::initializer_list<const char *> names) {
  for (const char *name : names) {
    const char *const value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe): as the interface says
    if (value != nullptr && *value != '\0') return value;
  }
  return "";
}

std::string WithScheme(const std::string &proxy) {
  return proxy.empty() || proxy.find("://") != std::string::npos ? proxy : "http://" + proxy;
}

std::string HostForm(std::string name) {
  std::ranges::transform(name, name.begin(),
                         [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 32) : c; });
  return name.substr(std::min(name.find_first_not_of(". "), name.size()));
}

}  // namespace

std::string kxFetch_CheckSettings(const kxFetchSettings &settings) {
  const struct {
    const char *name;
    int64_t value, least, most;
  } bounds[] = {
      {"maxRedirects", settings.maxRedirects, 0, kMaxFetchRedirects},
      {"maxHeaderLen", static_cast<int64_t>(settings.maxHeaderLen), 1024, kMaxFetchHeaderLen},
      {"maxTransfers", settings.maxTransfers, 1, kMaxFetchTransfers},
      {"maxTransfersPerHost", settings.maxTransfersPerHost, 1, kMaxFetchTransfers},
      {"maxWaiting", settings.maxWaiting, 1, kMaxFetchWaiting},
      {"maxAskers", settings.maxAskers, 1, kMaxFetchAskers},
      {"connectTimeoutMs", settings.connectTimeoutMs, 1, kMaxFetchMs},
      {"firstPauseMs", settings.firstPauseMs, 1, kMaxFetchPauseMs},
      {"longestPauseMs", settings.longestPauseMs, settings.firstPauseMs, kMaxFetchPauseMs},
      {"maxOctets", static_cast<int64_t>(settings.maxOctets), 1, kMaxFetchOctets},
      {"maxFailures", static_cast<int64_t>(settings.maxFailures), 1, kMaxFetchFailures},
  };
  for (const auto &bound : bounds) {
    if (bound.value < bound.least || bound.value > bound.most) return std::string(bound.name) + " is out of its bounds";
  }
  for (const std::string &scheme : settings.schemes) {
    if (std::ranges::find(kSchemes, scheme) == std::ranges::end(kSchemes)) return "a scheme that is not known";
  }
  if (!IsText(settings.userAgent)) return "a user agent that does not read";
  return CheckServers(settings);
}

std::string Proxies::Read(const kxFetchSettings &settings) {
  m_http = m_https = settings.proxy;
  m_without.clear();
  for (const std::string &name : settings.noProxy) m_without.push_back(HostForm(name));
  if (settings.proxyFromEnvironment && settings.proxy.empty()) {
    // HTTP_PROXY is not asked: in a CGI program it is a header of the client's.
    m_http = WithScheme(FromEnvironment({"http_proxy", "all_proxy", "ALL_PROXY"}));
    m_https = WithScheme(FromEnvironment({"https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"}));
    const std::string without = FromEnvironment({"no_proxy", "NO_PROXY"}) + ",";
    for (size_t begin = 0, end; (end = without.find(',', begin)) != std::string::npos; begin = end + 1) {
      m_without.push_back(HostForm(without.substr(begin, end - begin)));
    }
  }
  std::erase(m_without, "");
  for (const std::string &proxy : {m_http, m_https}) {
    // It may hold a password, and is not printed.
    if (!proxy.empty() && !IsServer(proxy, "http") && !IsServer(proxy, "https")) return "not the URL of a proxy";
  }
  return "";
}

std::string Proxies::For(const Target &target) const {
  if (target.IsLdap()) return "";
  const bool isWithout = std::ranges::any_of(m_without, [&](const std::string &name) {
    return name == "*" || name == target.host || target.host.ends_with("." + name);
  });
  if (isWithout) return "";
  return target.IsTls() ? m_https : m_http;
}
