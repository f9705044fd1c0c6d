/// @file
/// Implementation of key holders: lookups and trust decisions over what a derived class stores.
#ifndef KXCERT_SRC_TRUST_SXKEYHOLDER_IMP_H_
#define KXCERT_SRC_TRUST_SXKEYHOLDER_IMP_H_

#include <vector>

#include "kxcert/foundation/sxPKobj_imp.h"
#include "kxcert/trust/sxCertifiedKey.h"
#include "kxcert/trust/sxKeyHolder.h"
#include "kxcert/trust/sxPKObjects.h"
#include "kxcert/trust/sxRootCA.h"
#include "trust/sharedRef.h"

class sxKeyHolder_imp : public sxPKobj_imp {
 public:
  virtual void SetReal(sxKeyHolder *real) = 0;  ///< the handle, borrowed
  virtual sxKeyHolder *GetReal() const = 0;

  virtual sxRootCA_iterator *RootCAs() = 0;
  virtual int AddCA(sxRootCA *ca) = 0;
  virtual int RemoveCA(sxRootCA *ca) = 0;
  virtual sxRootCA *RootCA_Lookup(const sxDN &dn) = 0;
  virtual sxRootCA *CAByName(const char *name);
  virtual sxRootCA *CAByDN(const sxDN *dn);
  virtual sxRootCA *CAByID(const unsigned char *id, int idLen);

  virtual int AddIntermediateCA(sxCert *cert) = 0;
  virtual sxCert *GetIntermediateCA(const sxDN &dn) = 0;
  virtual sxCert *GetIntermediateCA_Save(const sxDN &dn) = 0;
  virtual int IntermediateCAsCount() = 0;
  virtual int RemoveIntermediateCA(const sxCert *cert) = 0;

  virtual sxCertKey_iterator *CertKeys() = 0;
  virtual int AddCertKey(sxCertifiedKey *key) = 0;
  virtual int RemoveCertKey(sxCertifiedKey *key) = 0;
  virtual sxCertifiedKey *CertKeyByName(const char *name);
  virtual sxCertifiedKey *CertKeyByDN(const sxDN *dn);
  virtual sxCertifiedKey *CertKeyBySubCA(const sxDN &dn);
  virtual sxCertifiedKey *CertKeyByDefault();

  virtual void operator+=(sxKeyHolder_imp &other);
  virtual bool HasKeys();
  virtual bool HasRootCAs();
  virtual sxCertifiedKey *CertKeyByCADN(const sxDN *dn);
  virtual sxCertifiedKey *CertKeyByID(const unsigned char *id, int idLen);
  virtual void Herror_Short();
  sxKeyHolder *NewSorted();  ///< as sxKeyHolder_Sort says

  virtual int IsSignedByIntermediateCA(const sxCert &cert, sxCerts &chain) = 0;
  virtual int Get_Issuers_of_chain(const sxCerts &chain) = 0;

  // What look-ups lend may go when another thread removes it; decisions hold references of their own.
  /// All roots of this name, where RootCA_Lookup finds one of them.
  virtual std::vector<SharedRef<sxRootCA>> RootRefs(const sxDN &dn) = 0;
  /// The cached CA of this name; then those in the chains of the certified keys, in the order of their octets.
  std::vector<SharedRef<sxCert>> IntermediateRefs(const sxDN &dn);
  SharedRef<sxRootCA> RootRef(const sxDN &dn) {
    return SharedRef<sxRootCA>::To([&] { return RootCA_Lookup(dn); });
  }
  SharedRef<sxRootCA> ListedRootRef(const sxDN *dn) {
    return SharedRef<sxRootCA>::To([&] { return CAByDN(dn); });
  }
  SharedRef<sxCertifiedKey> KeyRefBySubCA(const sxDN &dn) {
    return SharedRef<sxCertifiedKey>::To([&] { return CertKeyBySubCA(dn); });
  }

  /// What a trust search found: the root, why, and for TrustType_signedByCA the root's certificate
  /// whose key verified the signature, lent by the root.
  struct Trust {
    SharedRef<sxRootCA> root = {};
    TrustType type = TrustType_none;
    sxCert *signer = nullptr;
  };
  Trust FindTrust(const sxCert &cert);
  SharedRef<sxRootCA> IsChainTrusted(const sxCerts &chain, sxCerts &out);

 protected:
  virtual const sxPKObjects &ListedCAs() const = 0;
  virtual const sxPKObjects &ListedKeys() const = 0;
};

/// The certificate of a CA that issued @p cert by name and whose key verifies it. Lent, or null.
sxCert *sxTrust_SignerOf(const sxRootCA *ca, const sxCert &cert);
bool sxTrust_IsTrustedCA(const sxRootCA *ca, const sxCert &cert);
/// The names are equal; two absent ones are, too.
bool sxTrust_SameDN(const sxDN *a, const sxDN *b);
/// Subject and issuer are there and equal.
bool sxTrust_IsSelfIssued(const sxCert &cert);

/// Asks for the issuers of each certificate of the chain. @return how many requests were begun
int sxTrust_FetchIssuers(const sxCerts &chain, sxKeyHolder *holder);
/// Whether it is a CA's certificate that is valid at the time, has the name of the issuer of @p subject and a key
/// that verifies it, but did not sign itself.
bool sxTrust_IsIntermediateFor(const sxCert &cert, const sxCert &subject, int64_t nowSec);

/// Asks the sub-CA callback. @return whether there is one, and it did not fail
bool sxTrust_AddSubCAs(sxCerts &chain);

int sxTrust_CopyChain(const sxCerts &sorted, sxCerts &out);
void sxTrust_TruncateChain(sxCerts &chain, int level);
/// Cuts @p chain where the trust was found and ends it in the root's certificate.
void sxTrust_EndInRoot(sxCerts &chain, int level, const sxKeyHolder_imp::Trust &trust);

#endif
