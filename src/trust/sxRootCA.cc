#include "kxcert/trust/sxRootCA.h"

#include "kxcert/platform/log.h"
#include "trust/sxRootCA_imp.h"

namespace {

constexpr char kCertBySignee[] = "sxRootCA::CertBySubordinate";  // under which traces know it

// Lets go of what was there, unless it is that very object.
template <class T>
void Adopt(std::unique_ptr<T> &owner, T *obj) {
  if (owner.get() != obj) owner.reset(obj);
}

}  // namespace

sxCert *sxRootCA_imp::CertBySignee(const sxCert *cert) const {
  if (cert == nullptr) {
    tderrorFunc("CERT", 1, 0, "%s: got NULL argument", kCertBySignee);
    return nullptr;
  }
  sxCert *own = m_cert.get();
  if (own == nullptr) {
    tderrorFunc("CERT", 1, 0, "%s: \"this\" has NULL cert", kCertBySignee);
    return nullptr;
  }
  if (cert->VerifySig(own->PubKey()) == 0) return own;
  if (m_additionalCerts == nullptr) {
    tderrorFunc("CERT", 5, 0, "%s: \"this\" has NULL additional certs", kCertBySignee);
    return nullptr;
  }
  for (int i = 0; i < m_additionalCerts->Slots(); ++i) {
    sxCert *additional = m_additionalCerts->Get(i);
    if (additional != nullptr && cert->VerifySig(additional->PubKey()) == 0) return additional;
  }
  return nullptr;
}

sxRootCA::sxRootCA(const char *name, sxCert *cert, unsigned int valType, SxCaType caType, int purpose,
                   const unsigned char *id, int idLen, sxGeneralNames *nameConstraints, int crlTo)
    : sxPKNamedObj(new sxRootCA_imp(name, cert, valType, caType, purpose, id, idLen, nameConstraints, crlTo,
                                    sxRevocationMethod_params, nullptr)) {}

sxRootCA_imp *sxRootCA::Imp() const { return static_cast<sxRootCA_imp *>(m_imp); }

sxCert *sxRootCA::Cert() const { return Imp()->m_cert.get(); }
const sxCerts *sxRootCA::AdditionalCerts() const { return Imp()->m_additionalCerts.get(); }
const sxGeneralNames *sxRootCA::NameConstraints() const { return Imp()->m_nameConstraints.get(); }
unsigned int sxRootCA::ValType() const { return Imp()->m_valType; }
SxCaType sxRootCA::CAType() const { return Imp()->m_caType; }
int sxRootCA::CrlTo() const { return Imp()->m_crlTo; }
bool sxRootCA::IsMsEnterprise() const { return Imp()->m_isMsEnterprise; }
bool sxRootCA::UseCN2FetchUser() const { return Imp()->m_useCN2FetchUser; }
SxCaRevocationMethod sxRootCA::RevocationMethod() const { return Imp()->m_revocationMethod; }
sxPKObjects *sxRootCA::OcspServers() const { return Imp()->m_ocspServers.get(); }
const sxGeneralNames *sxRootCA::ForcedCrlDp() const { return Imp()->m_forcedCrlDp.get(); }

void sxRootCA::SetAdditionalCerts(sxCerts *certs) { Adopt(Imp()->m_additionalCerts, certs); }
void sxRootCA::SetValType(unsigned int valType) { Imp()->m_valType = valType; }
void sxRootCA::SetCAType(SxCaType caType) { Imp()->m_caType = caType; }
void sxRootCA::SetMsEnterprise(bool on) { Imp()->m_isMsEnterprise = on; }
void sxRootCA::SetUseCN2FetchUser(bool on) { Imp()->m_useCN2FetchUser = on; }
void sxRootCA::SetRevocationMethod(SxCaRevocationMethod method) { Imp()->m_revocationMethod = method; }
void sxRootCA::SetOcspServers(sxPKObjects *servers) { Adopt(Imp()->m_ocspServers, servers); }
void sxRootCA::SetForcedCrlDp(sxGeneralNames *points) { Adopt(Imp()->m_forcedCrlDp, points); }

sxCert *sxRootCA::CertBySignee(const sxCert *cert) const { return Imp()->CertBySignee(cert); }
