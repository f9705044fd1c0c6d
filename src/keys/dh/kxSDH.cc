#include "kxcert/keys/kxSDH.h"

#include <atomic>

#include "keys/keyGate.h"
#include "keys/keyRef.h"
#include "kxSDH_imp.h"
#include "kxcert/keys/sxDhParams.h"

namespace {

std::atomic<sxNewDHKeyFunc> g_newFunc{nullptr};  // null: the built-in one

}  // namespace

kxSDH::kxSDH(const sxDhParams &params, int privBits) : sxPubKey(new kxSDH_imp(params, privBits)) {}
kxSDH::kxSDH(const sxDhParams &params, const BIGNUM *x, const BIGNUM *y) : sxPubKey(new kxSDH_imp(params, x, y)) {}
kxSDH::kxSDH(kxSDH_imp *imp) : sxPubKey(imp) {}

kxSDH_imp *kxSDH::Imp() const { return static_cast<kxSDH_imp *>(m_imp); }
const BIGNUM *kxSDH::Private() const { return Imp()->Private(); }
const BIGNUM *kxSDH::Public() const { return Imp()->Public(); }
int kxSDH::ModLen() const { return Imp()->ModLen(); }
BIGNUM *kxSDH::MakeShared(const BIGNUM *peer) const { return Imp()->MakeShared(peer); }

int kxSDH::GetDHRawPublic(unsigned char *out, int outLen) const {
  if (!OK()) return kKeyNotUsable;
  const int answer = CheckRoom(ModLen(), out, outLen);
  return answer != 0 ? answer : BN_bn2binpad(Public(), out, ModLen());
}

sxPubKey *sxNewDHKey(const char *groupName, int privBits) {
  if (const sxNewDHKeyFunc make = g_newFunc.load(std::memory_order_acquire)) return make(groupName, privBits);
  const sxDhParams params(groupName, privBits);
  return params.OK() ? IfUsable(new kxSDH(params, privBits)) : nullptr;
}

void sxSetNewDHKey_func(sxNewDHKeyFunc func) { g_newFunc.store(func, std::memory_order_release); }
int sxIsSW_DH() { return g_newFunc.load(std::memory_order_acquire) == nullptr ? 1 : 0; }
