#include "fetching.h"

#include "kxcert/fetch/fetch.h"
#include "kxcert/trust/ocsp.h"
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

OptionRow NonceRow(const char *name, int &nonce) {
  return {name,
          "off (the default), send, or require: refuse an OCSP response without it",
          &nonce,
          false,
          nullptr,
          {{"off", static_cast<int>(sxOcspNonce::kOff)},
           {"send", static_cast<int>(sxOcspNonce::kSend)},
           {"require", static_cast<int>(sxOcspNonce::kRequire)}},
          "WHEN"};
}

Fetching::~Fetching() { kxFetcher_Set(nullptr); }
