/// @file
/// What a root CA holds.
#ifndef KXCERT_SRC_TRUST_SXROOTCA_IMP_H_
#define KXCERT_SRC_TRUST_SXROOTCA_IMP_H_

#include <memory>

#include "kxcert/cert/sxCerts.h"
#include "kxcert/cert/sxGeneralName.h"
#include "kxcert/trust/sxPKObjects.h"
#include "kxcert/trust/sxRootCA.h"
#include "trust/sharedRef.h"
#include "trust/sxPKNamedObj_imp.h"

class sxRootCA_imp : public sxPKNamedObj_imp {
 public:
  /// @param nameConstraints  adopted
  /// @param ocspServers      adopted
  sxRootCA_imp(const char *name, sxCert *cert, unsigned int valType, SxCaType caType, int purpose,
               const unsigned char *id, int idLen, sxGeneralNames *nameConstraints, int crlTo,
               SxCaRevocationMethod method, sxPKObjects *ocspServers)
      : sxPKNamedObj_imp(name, purpose, id, idLen),
        m_cert(cert),
        m_nameConstraints(nameConstraints),
        m_valType(valType),
        m_caType(caType),
        m_crlTo(crlTo),
        m_revocationMethod(method),
        m_ocspServers(ocspServers) {}

  const sxDN *DN() const override { return m_cert.get() != nullptr ? m_cert.get()->Subject() : nullptr; }
  sxCert *CertBySignee(const sxCert *cert) const;
  void Sprint(SxStream *out, int indent) const override;

  const SharedRef<sxCert> m_cert;
  std::unique_ptr<sxCerts> m_additionalCerts;
  const std::unique_ptr<sxGeneralNames> m_nameConstraints;
  unsigned int m_valType;
  SxCaType m_caType;
  const int m_crlTo;
  bool m_isMsEnterprise = false;
  bool m_useCN2FetchUser = false;
  SxCaRevocationMethod m_revocationMethod;
  std::unique_ptr<sxPKObjects> m_ocspServers;
  std::unique_ptr<sxGeneralNames> m_forcedCrlDp;
};

#endif
