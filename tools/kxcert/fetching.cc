#include "fetching.h"

#include "kxcert/fetch/fetch.h"
#include "report.h"

Fetching::Fetching(bool allowPrivate, const std::vector<std::string> &ldapServers, Report &report) {
  kxFetchSettings settings;
  settings.allowPrivate = allowPrivate;
  settings.ldapServers = ldapServers;
  settings.proxyFromEnvironment = true;
  std::string reason;
  m_service = kxFetchService::Make(settings, &reason);
  if (m_service == nullptr) {
    report.Problem(kExitInputError, "", "nothing can be fetched: " + reason);
  } else {
    kxFetcher_Set(m_service->Fetcher());
  }
}

Fetching::~Fetching() { kxFetcher_Set(nullptr); }
