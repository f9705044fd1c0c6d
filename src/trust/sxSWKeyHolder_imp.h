/// @file
/// The software key holder: everything in memory.
#ifndef KXCERT_SRC_TRUST_SXSWKEYHOLDER_IMP_H_
#define KXCERT_SRC_TRUST_SXSWKEYHOLDER_IMP_H_

#include "kxcert/trust/caCaches.h"
#include "trust/sxKeyHolder_imp.h"

class sxSWKeyHolder_imp : public sxKeyHolder_imp {
 public:
  sxSWKeyHolder_imp();
  sxSWKeyHolder_imp(int cacheSize, int timeoutSec, int mode);

  void SetReal(sxKeyHolder *real) override { m_real = real; }
  sxKeyHolder *GetReal() const override { return m_real; }

  sxRootCA_iterator *RootCAs() override { return new sxRootCA_iterator(m_rootCAs); }
  int AddCA(sxRootCA *ca) override;
  int RemoveCA(sxRootCA *ca) override;
  sxRootCA *RootCA_Lookup(const sxDN &dn) override;
  sxRootCA *CAByDN(const sxDN *dn) override;
  std::vector<SharedRef<sxRootCA>> RootRefs(const sxDN &dn) override;

  int AddIntermediateCA(sxCert *cert) override;
  sxCert *GetIntermediateCA(const sxDN &dn) override;
  sxCert *GetIntermediateCA_Save(const sxDN &dn) override;
  int IntermediateCAsCount() override;
  int RemoveIntermediateCA(const sxCert *cert) override;

  sxCertKey_iterator *CertKeys() override { return new sxCertKey_iterator(m_certKeys); }
  int AddCertKey(sxCertifiedKey *key) override;
  int RemoveCertKey(sxCertifiedKey *key) override;

  int IsSignedByIntermediateCA(const sxCert &cert, sxCerts &chain) override;
  int Get_Issuers_of_chain(const sxCerts &chain) override;

  virtual int AddCA_Cache(sxRootCA *ca);
  virtual int RemoveCA_Cache(sxRootCA *ca);

 protected:
  const sxPKObjects &ListedCAs() const override { return m_rootCAs; }
  const sxPKObjects &ListedKeys() const override { return m_certKeys; }

 private:
  bool IntermediatesOn(const char *what) const;  // traces when they are off
  SharedRef<sxCert> Intermediate(const sxDN &dn, const char *what);

  sxPKObjects m_rootCAs;  // indexed by the hash of the subject
  sxPKObjects m_certKeys;
  RootCA_Cache m_rootCA_Cache;
  CA_Cert_Cache m_intermediateCA_Cache;
  const int m_mode;
  sxKeyHolder *m_real = nullptr;  // borrowed
};

#endif
