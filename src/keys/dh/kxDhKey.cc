#include "kxcert/keys/kxDhKey.h"

#include <memory>

#include "dhSet.h"
#include "keys/keyOctets.h"
#include "keys/keyRef.h"
#include "kxDhKey_imp.h"
#include "kxcert/foundation/sxString.h"
#include "kxcert/keys/sxDhParams.h"
#include "kxcert/platform/log.h"

kxDhKey::kxDhKey(const sxDhParams &params, int privBits) : kxSDH(new kxDhKey_imp(params, privBits)) {}
kxDhKey::kxDhKey(kxDhKey_imp *imp) : kxSDH(imp) {}

kxDhKey_imp *kxDhKey::Imp() const { return static_cast<kxDhKey_imp *>(m_imp); }
int kxDhKey::GetHash(kxBinBuf &hash) const { return Imp()->GetHash(hash); }
sxset *kxDhKey::ToSet() const { return Imp()->ToSet(); }
kxDhKey *kxDhKey::GenKey() const { return IfUsable(new kxDhKey(Imp()->GenKey())); }

kxDhKey *DhKey_create(const char *groupName, int privBits) {
  const sxDhParams params(groupName, privBits);
  return params.OK() ? IfUsable(new kxDhKey(params, privBits)) : nullptr;
}

kxDhKey *DhKey_genkey(const kxDhKey *key) { return key == nullptr ? nullptr : key->GenKey(); }

int DhKey_gethash(const kxDhKey *key, sxString &hash) {
  kxBinBuf octets;
  if (key == nullptr || key->GetHash(octets) != 0) return -1;
  SetHexText(ViewOf(octets), hash);
  return 0;
}

sxset *DhKey_toset(const kxDhKey *key) { return key == nullptr ? nullptr : key->ToSet(); }

kxDhKey *DhKey_fromset(const sxset *set) {
  DhNumbers numbers;
  const char *reason = set == nullptr ? "no set" : DhNumbersFromSet(*set, &numbers);
  if (reason != nullptr) {
    herror_func(0, 0, "DhKey_fromset: %s", reason);
    return nullptr;
  }
  return IfUsable(new kxDhKey(new kxDhKey_imp(std::move(numbers))));
}

kxDhKey *DhKey_fromder(sxPK_Format format, const unsigned char *der, int derLen) {
  DhNumbers numbers;
  const bool isKnown = format == sxPK_public || format == sxPK_private;
  const char *reason = isKnown ? DecodeDhKey(sxView(der, derLen), format == sxPK_private, &numbers) : "no such format";
  if (reason != nullptr) {
    herror_func(0, 0, "DhKey_fromder: %s", reason);
    return nullptr;
  }
  return IfUsable(new kxDhKey(new kxDhKey_imp(std::move(numbers))));
}

int DhKey_binaryhash_fromset(const sxset *set, kxBinBuf &hash) {
  const sxOwned<kxDhKey, DhKey_destroy> key(DhKey_fromset(set));
  return key == nullptr ? -1 : key->GetHash(hash);
}

void DhKey_destroy(kxDhKey *key) { sxFreePubKey(key); }
