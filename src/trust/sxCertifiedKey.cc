#include "kxcert/trust/sxCertifiedKey.h"

#include "kxcert/keys/sxPubKey.h"
#include "trust/sxCertifiedKey_imp.h"

sxCertifiedKey_imp::sxCertifiedKey_imp(const char *name, const sxCerts &chain, sxRootCA *root, sxPubKey *key,
                                       int purpose, const unsigned char *id, int idLen)
    : sxPKNamedObj_imp(name, purpose, id, idLen), m_chain(chain), m_root(root), m_key(key) {
  sxSavePubKey(m_key);
}

sxCertifiedKey_imp::~sxCertifiedKey_imp() { sxFreePubKey(m_key); }

const sxDN *sxCertifiedKey_imp::DN() const {
  const sxCert *own = m_chain.Get(0);
  return own != nullptr ? own->Subject() : nullptr;
}

sxCertifiedKey::sxCertifiedKey(const char *name, const sxCerts &chain, sxRootCA *root, sxPubKey *key, int purpose,
                               const unsigned char *id, int idLen)
    : sxPKNamedObj(new sxCertifiedKey_imp(name, chain, root, key, purpose, id, idLen)) {}

sxCertifiedKey_imp *sxCertifiedKey::Imp() const { return static_cast<sxCertifiedKey_imp *>(m_imp); }

const sxCerts &sxCertifiedKey::Chain() const { return Imp()->m_chain; }
sxRootCA *sxCertifiedKey::Root() const { return Imp()->m_root.get(); }
sxPubKey *sxCertifiedKey::PubKey() const { return Imp()->m_key; }
