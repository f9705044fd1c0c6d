#include "kxDhKey_imp.h"

#include "dhSet.h"
#include "keys/keyGate.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/keys/kxDhKey.h"

int kxDhKey_imp::Export(sxPK_Format format, unsigned char *out, int outLen) {
  if (format != sxPK_set) return kxSDH_imp::Export(format, out, outLen);
  return ExportSet("kxDhKey_imp::Export", OK() != 0, out, outLen, [this] { return ToSet(); });
}

int kxDhKey_imp::GetHash(kxBinBuf &hash) const {
  kxBinBuf der, digest(static_cast<unsigned int>(kDhKeyHashLen));
  if (!OK() || EncodeDhKey(Numbers(), false, der) != 0 ||
      kx_md_hashbuf(sx_md_sha256, der.Data(), der.Len(), digest.Data(), kDhKeyHashLen) != 0) {
    return -1;
  }
  hash = digest;
  return 0;
}

sxset *kxDhKey_imp::ToSet() const { return OK() ? DhNumbersToSet(Numbers()) : nullptr; }

sxset *kxDhKey_imp::PublicSet() const { return OK() != 0 ? DhNumbersToSet(Numbers(), false) : nullptr; }

kxDhKey_imp *kxDhKey_imp::GenKey() const {
  DhNumbers group;
  group.groupName = Numbers().groupName;
  group.privBits = Numbers().privBits;
  if (OK()) {
    group.p.reset(BN_dup(Numbers().p.get()));
    group.g.reset(BN_dup(Numbers().g.get()));
  }
  return new kxDhKey_imp(std::move(group));
}
