// The asynchronous calls of exchanges.
#include <cstring>
#include <utility>

#include "keys/ec/kxECDH_imp.h"
#include "kxcert/keys/keyCodes.h"
#include "kxcert/platform/log.h"

namespace {

bool HasCallback(const char *func, kxECDH_callback callback) {
  if (callback != nullptr) return true;
  tderrorFunc("ec", 1, 0, "%s: No callback given", func);
  return false;
}

class GenerateCall : public EcdhCall {
 public:
  GenerateCall(kxECDH *exchange, kxECDH_imp *imp) : EcdhCall(exchange, imp), m_nid(imp->m_curve->nid) {}
  void Run() override { m_key.reset(EC_KEY_new_semi_ephemeral(m_nid, &m_isShared)); }

 private:
  bool Adopt() override {
    if (m_key == nullptr) return false;
    Imp().AdoptOwn("kxECDH::generateA", std::move(m_key), m_isShared);
    return true;
  }
  const char *Failure() const override { return "Error while generating ec key."; }
  void *Result(int *) override { return Exchange(); }

  const int m_nid;
  EcKey m_key;
  bool m_isShared = false;
};

class DeriveCall : public EcdhCall {
 public:
  DeriveCall(kxECDH *exchange, kxECDH_imp *imp, unsigned char *out)
      : EcdhCall(exchange, imp), m_out(out), m_curve(*imp->m_curve), m_own(imp->m_own.get()) {
    EC_KEY_up_ref(m_own.get());
    std::memcpy(m_peer, imp->m_peer, sizeof m_peer);
    m_offloadKey.SetSensitive(true);
    m_offloadKey = imp->m_offloadKey;
  }
  void Run() override { m_isMade = ComputeEcdhSecret(m_curve, m_own.get(), m_peer, m_offloadKey, m_secret) == 0; }

 private:
  bool Adopt() override {
    if (m_isMade) Imp().AdoptSecret(std::move(m_secret));
    return m_isMade;
  }
  const char *Failure() const override { return "Error while deriving ec shared secret."; }
  void *Result(int *len) override {
    *len = Exchange()->getShared(m_out, m_curve.coordLen);
    return m_out;
  }

  unsigned char *const m_out;  // lent until the callback is made
  const Curve &m_curve;
  const EcKey m_own;
  unsigned char m_peer[kMaxPointLen];
  kxBinBuf m_offloadKey, m_secret;
  bool m_isMade = false;
};

// The call that is under way, if it is of that kind.
template <class Call>
std::shared_ptr<EcdhCall> CallOf(const char *func, const kxECDH_imp *imp) {
  if (imp != nullptr && dynamic_cast<Call *>(imp->m_call.get()) != nullptr) return imp->m_call;
  tderrorFunc("ec", 1, 0, "%s: No such call is under way", func);
  return nullptr;
}

}  // namespace

void EcdhCall::End(bool didRun) {
  if (m_exchange != nullptr) Tell(didRun && Adopt());
}

void EcdhCall::Tell(bool isDone) {
  const std::shared_ptr<EcdhCall> self = std::move(m_imp->m_call);
  int len = 0;
  void *const result = isDone ? Result(&len) : nullptr;
  Forget();
  m_imp->m_callback(m_imp->m_opaque, isDone ? 0 : -1, result, len, isDone ? "None" : Failure());
}

int kxECDH_imp::Queue(std::shared_ptr<EcdhCall> call, kxECDH_callback callback, void *opaque) {
  m_callback = callback;
  m_opaque = opaque;
  m_call = std::move(call);
  const int rc = QueuePoolWork(m_call);
  if (rc != 0) m_call.reset();
  return rc;
}

int kxECDH::generateA(kxECDH_callback callback, void *opaque) {
  constexpr const char *kFunc = "kxECDH::generateA";
  if (!HasCallback(kFunc, callback)) return kKeyLibraryFailed;
  if (!m_imp->IsIdle(kFunc) || !m_imp->AllowsGenerate(kFunc)) return -1;
  return m_imp->Queue(std::make_shared<GenerateCall>(this, m_imp), callback, opaque);
}

int kxECDH::deriveA(unsigned char *out, int outLen, kxECDH_callback callback, void *opaque) {
  constexpr const char *kFunc = "kxECDH::deriveA";
  if (!HasCallback(kFunc, callback)) return kKeyLibraryFailed;
  if (!m_imp->IsIdle(kFunc) || !m_imp->Allows(kFunc, kPeerStored)) return -1;
  // The area first: nothing is derived that could not be handed over.
  if (!EcdhAreaFits(kFunc, out, outLen, m_imp->FieldLen())) return -1;
  return m_imp->Queue(std::make_shared<DeriveCall>(this, m_imp, out), callback, opaque);
}

void kxECDH::get_cb_and_opaque(kxECDH_callback *callback, void **opaque) const {
  if (callback != nullptr) *callback = m_imp->m_callback;
  if (opaque != nullptr) *opaque = m_imp->m_opaque;
}

void call_kxecdh_generate(kxECDH *exchange) {
  const auto call = CallOf<GenerateCall>("call_kxecdh_generate", exchange == nullptr ? nullptr : exchange->m_imp);
  if (call == nullptr) return;
  exchange->m_imp->m_call.reset();  // else generate refuses
  call->Tell(exchange->generate() == 0);
}

void call_kxecdh_derive(kxECDH *exchange) {
  const auto call = CallOf<DeriveCall>("call_kxecdh_derive", exchange == nullptr ? nullptr : exchange->m_imp);
  if (call == nullptr) return;
  exchange->m_imp->m_call.reset();
  call->Tell(exchange->derive() == 0);
}
