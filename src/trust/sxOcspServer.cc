#include "kxcert/trust/sxOcspServer.h"

#include <cstring>
#include <memory>

#include "kxcert/foundation/attributeSet.h"
#include "kxcert/foundation/base64.h"
#include "kxcert/platform/log.h"
#include "trust/sxOcspServer_imp.h"

namespace {

constexpr char kCreateObject[] = "sxOcspServer::CreateObject";

struct FreeBase64 {
  void operator()(unsigned char *octets) const { Base64FreeBuffer(octets); }
};

// A new certificate for sxCert_Free, or null.
sxCert *DecodeCert(const char *text) {
  int derLen = 0;
  const std::unique_ptr<unsigned char, FreeBase64> der(
      Base64Decode(text, static_cast<int>(std::strlen(text)), &derLen));
  return der != nullptr ? sxCert_Decode(der.get(), derLen) : nullptr;
}

}  // namespace

sxOcspServer::sxOcspServer(const sxString &name, const sxString &url, sxCert *cert)
    : sxPKobj(new sxOcspServer_imp(name, url, cert)) {}

sxOcspServer_imp *sxOcspServer::Imp() const { return static_cast<sxOcspServer_imp *>(m_imp); }

const sxString &sxOcspServer::Name() const { return Imp()->m_name; }
const sxString &sxOcspServer::Url() const { return Imp()->m_url; }
sxCert *sxOcspServer::Cert() const { return Imp()->m_cert.get(); }

sxOcspServer *sxOcspServer::CreateObject(const sxset *config) {
  if (config == nullptr) return nullptr;
  const char *url = config->FindText("url");
  if (url != nullptr && url[0] == '\0') url = nullptr;
  const char *certText = config->FindText("certificate");
  sxCert *cert = nullptr;
  if (certText == nullptr) {
    tderrorFunc("CERT", 3, 0, "%s: No cert template in params.", kCreateObject);
  } else {
    cert = DecodeCert(certText);
    if (cert == nullptr) {  // a responder whose certificate was meant to be checked is not made without
      tderrorFunc("CERT", 1, 0, "%s: %s: no certificate in %zu characters", kCreateObject, config->Name(),
                  std::strlen(certText));
      return nullptr;
    }
  }
  auto *server = new sxOcspServer(config->Name(), url, cert);
  sxCert_Free(cert);
  return server;
}
