#include "keys/ownKeys.h"

#include <typeinfo>

#include "keys/dh/kxSDH_imp.h"
#include "keys/ec/kxECDSA_imp.h"
#include "keys/rsa/kxSRSA_imp.h"
#include "kxcert/keys/sxPubKey.h"

// Exactly of these kinds: what derives from one may answer anything.
bool sxIsOwnKey(const sxPubKey &key) {
  const auto *const imp = key.GetP();
  if (imp == nullptr) return false;
  const std::type_info &kind = typeid(*imp);
  return kind == typeid(kxECDSA_imp) || kind == typeid(kxSRSA_imp) || kind == typeid(kxSDH_imp);
}
