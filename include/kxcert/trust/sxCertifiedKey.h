/// @file
/// Certified keys: the holder's own certificates, each with its chain, root and key pair.
///
/// Shared and counted; only read once built, from any thread.
#ifndef KXCERT_TRUST_SXCERTIFIEDKEY_H_
#define KXCERT_TRUST_SXCERTIFIEDKEY_H_

#include "kxcert/trust/sxPKNamedObj.h"

class sxCertifiedKey_imp;
class sxCerts;
class sxPubKey;
class sxRootCA;

class KXCERT_EXPORT sxCertifiedKey : public sxPKNamedObj {
 public:
  /// @param chain  the same certificates with one more reference each; the first one is the holder's own
  /// @param root   the CA that issued the chain, or null; takes a reference
  /// @param key    the key pair, or null; takes a reference
  /// @param id     idLen octets, copied
  sxCertifiedKey(const char *name, const sxCerts &chain, sxRootCA *root, sxPubKey *key, int purpose,
                 const unsigned char *id, int idLen);

  const sxCerts &Chain() const;  ///< lent
  sxRootCA *Root() const;        ///< lent, or null
  sxPubKey *PubKey() const;      ///< lent, or null

 private:
  sxCertifiedKey_imp *Imp() const;
};

#endif
