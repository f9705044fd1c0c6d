/// @file
/// What a certified key holds.
#ifndef KXCERT_SRC_TRUST_SXCERTIFIEDKEY_IMP_H_
#define KXCERT_SRC_TRUST_SXCERTIFIEDKEY_IMP_H_

#include "kxcert/cert/sxCerts.h"
#include "kxcert/trust/sxRootCA.h"
#include "trust/sharedRef.h"
#include "trust/sxPKNamedObj_imp.h"

class sxPubKey;

class sxCertifiedKey_imp : public sxPKNamedObj_imp {
 public:
  sxCertifiedKey_imp(const char *name, const sxCerts &chain, sxRootCA *root, sxPubKey *key, int purpose,
                     const unsigned char *id, int idLen);
  ~sxCertifiedKey_imp() override;

  const sxDN *DN() const override;
  void Sprint(SxStream *out, int indent) const override;

  const sxCerts m_chain;
  const SharedRef<sxRootCA> m_root;
  sxPubKey *const m_key;  // one reference, or null
};

#endif
