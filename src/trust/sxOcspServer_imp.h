/// @file
/// What an OCSP responder holds.
#ifndef KXCERT_SRC_TRUST_SXOCSPSERVER_IMP_H_
#define KXCERT_SRC_TRUST_SXOCSPSERVER_IMP_H_

#include "kxcert/cert/sxCert.h"
#include "kxcert/foundation/sxPKobj_imp.h"
#include "kxcert/trust/sxOcspServer.h"
#include "trust/sharedRef.h"

class sxOcspServer_imp : public sxPKobj_imp {
 public:
  sxOcspServer_imp(const sxString &name, const sxString &url, sxCert *cert) : m_name(name), m_url(url), m_cert(cert) {}

  void Sprint(SxStream *out, int indent) const;

  const sxString m_name;
  const sxString m_url;
  const SharedRef<sxCert> m_cert;
};

#endif
