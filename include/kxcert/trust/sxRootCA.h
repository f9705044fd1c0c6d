/// @file
/// Root CAs: trusted certificate authorities with the settings that validation reads.
///
/// Shared and counted. A root that no one changes any more is only read, from any thread.
#ifndef KXCERT_TRUST_SXROOTCA_H_
#define KXCERT_TRUST_SXROOTCA_H_

#include "kxcert/trust/sxPKNamedObj.h"

class sxCert;
class sxCerts;
class sxGeneralNames;
class sxPKObjects;
class sxRootCA_imp;

/// What kind of CA the configuration says it is. The library reads only an order of preference from
/// it (sxKeyHolder::CertKeyByDefault): 1 and 2 before all others, 3 after them.
enum SxCaType : int {
  sxCaType_other = 0,
  sxCaType_first = 1,
  sxCaType_second = 2,
  sxCaType_last = 3,
};

/// Which sources revocation checking consults, in which order. The numbers are this library's choice.
enum SxCaRevocationMethod : int {
  sxRevocationMethod_params = 0,  ///< what the validation parameters say
  sxRevocationMethod_crl = 1,
  sxRevocationMethod_ocsp = 2,
  sxRevocationMethod_ocspThenCrl = 3,  ///< the second where the first says nothing
  sxRevocationMethod_crlThenOcsp = 4,
  sxRevocationMethod_none = 5,  ///< nobody is asked, and all is good
};

class KXCERT_EXPORT sxRootCA : public sxPKNamedObj {
 public:
  /// @param name             copied; null: the certificate's subject names the object
  /// @param cert             takes a reference
  /// @param valType          kept as it is given
  /// @param purpose          kept as it is given
  /// @param id               idLen octets, copied
  /// @param nameConstraints  adopted, or null: no constraints
  /// @param crlTo            kept as it is given, for revocation checking
  sxRootCA(const char *name, sxCert *cert, unsigned int valType, SxCaType caType, int purpose, const unsigned char *id,
           int idLen, sxGeneralNames *nameConstraints, int crlTo);

  sxCert *Cert() const;                           ///< lent, or null
  const sxCerts *AdditionalCerts() const;         ///< lent, or null
  const sxGeneralNames *NameConstraints() const;  ///< lent, or null
  unsigned int ValType() const;
  SxCaType CAType() const;
  int CrlTo() const;
  bool IsMsEnterprise() const;
  bool UseCN2FetchUser() const;
  SxCaRevocationMethod RevocationMethod() const;
  sxPKObjects *OcspServers() const;           ///< lent, of sxOcspServer, or null
  const sxGeneralNames *ForcedCrlDp() const;  ///< lent, or null

  void SetAdditionalCerts(sxCerts *certs);  ///< adopted; null: none
  void SetValType(unsigned int valType);
  void SetCAType(SxCaType caType);
  void SetMsEnterprise(bool on);
  void SetUseCN2FetchUser(bool on);
  void SetRevocationMethod(SxCaRevocationMethod method);
  void SetOcspServers(sxPKObjects *servers);    ///< adopted; null: none
  void SetForcedCrlDp(sxGeneralNames *points);  ///< adopted; null: none

  /// The certificate of this CA whose key verifies the signature of @p cert: the own one first, then
  /// the additional ones in order. Lent; null when none does.
  sxCert *CertBySignee(const sxCert *cert) const;

 private:
  sxRootCA_imp *Imp() const;
};

#endif
