// Whom to ask about a certificate.
#include <algorithm>
#include <string_view>

#include "kxcert/asn1/oids.h"
#include "kxcert/asn1/sxAsnOid.h"
#include "kxcert/cert/sxGeneralName.h"
#include "kxcert/trust/ocsp.h"
#include "kxcert/trust/sxOcspServer.h"
#include "kxcert/trust/sxPKObjects.h"
#include "kxcert/trust/sxRootCA.h"
#include "platform/fetcher_imp.h"
#include "trust/nameText.h"
#include "trust/sharedRef.h"

namespace {

// RFC 6960, A.1. A certificate is anyone's, so that what it names may be asked by this alone.
constexpr char kScheme[] = "http://";

void Add(std::vector<sxOcspResponder> &to, std::string url, sxCert *cert, bool configured) {
  if (!kxFetch_IsUrl(url) || std::ranges::find(to, url, &sxOcspResponder::url) != to.end()) return;
  sxOcspResponder &added = to.emplace_back();
  added.url = std::move(url);
  added.configured = configured;
  if (cert != nullptr) AddReference(added.cert, cert);
}

void AddConfigured(std::vector<sxOcspResponder> &to, const sxPKObjects &servers) {
  for (int i = 0; i < servers.Count() && to.size() < kMaxOcspConfigured; ++i) {
    const auto server = SharedRef<sxOcspServer>::To([&] { return static_cast<sxOcspServer *>(servers.Get(i)); });
    if (server) Add(to, sxTextOf(server->Url()), server->Cert(), true);
  }
}

void AddNamed(std::vector<sxOcspResponder> &to, const sxAuthorityInfoAccess &access) {
  const size_t most = to.size() + kMaxOcspNamed;
  for (int i = 0; i < access.Count() && to.size() < most; ++i) {
    const sxGeneralName *const location = access.AuthorityInfoAccess().Get(i);
    if (location == nullptr || location->GetType() != sxGN_uri || access.Method(i) == nullptr ||
        !access.Method(i)->OidEquiv(sxASN_id_ad_ocsp)) {
      continue;
    }
    std::string url = sxTextOf(location->GetStr());  // without a NUL: a name that holds one is of no kind
    if (kxFetch_HasScheme(url, kScheme)) Add(to, std::move(url), nullptr, false);
  }
}

}  // namespace

std::vector<sxOcspResponder> sxOcsp_RespondersOf(const sxCert &cert, const sxRootCA *root) {
  std::vector<sxOcspResponder> responders;
  const sxPKObjects *const servers = root != nullptr ? root->OcspServers() : nullptr;
  if (servers != nullptr) AddConfigured(responders, *servers);
  if (cert.AuthInfoAccess() != nullptr) AddNamed(responders, *cert.AuthInfoAccess());
  return responders;
}
