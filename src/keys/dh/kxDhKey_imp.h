// The Diffie-Hellman key that is kept: hash and set form.
#ifndef KXCERT_SRC_KEYS_DH_KXDHKEY_IMP_H_
#define KXCERT_SRC_KEYS_DH_KXDHKEY_IMP_H_

#include "kxSDH_imp.h"

class sxset;

// Its class name is its base's: whoever asks means the kind of key.
class kxDhKey_imp : public kxSDH_imp {
 public:
  using kxSDH_imp::kxSDH_imp;

  int Export(sxPK_Format format, unsigned char *out, int outLen) override;  // sxPK_set as well

  [[nodiscard]] int GetHash(kxBinBuf &hash) const;
  sxset *ToSet() const;
  sxset *PublicSet() const;     // new; null while not OK
  kxDhKey_imp *GenKey() const;  // never null; see OK()
};

#endif
