// What an exchange holds, and its asynchronous calls.
#ifndef KXCERT_SRC_KEYS_EC_KXECDH_IMP_H_
#define KXCERT_SRC_KEYS_EC_KXECDH_IMP_H_

#include "curves.h"
#include "keys/libcryptoTypes.h"
#include "keys/tasks/poolWork.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/keys/kxECDH.h"

class EcdhCall;

// Callers' logs show these numbers.
enum EcdhStage : int { kInvalid = -1, kGroupSet = 1, kOwnKey = 2, kPeerStored = 3, kSecretThere = 4 };

class kxECDH_imp {
 public:
  kxECDH_imp() {
    m_offloadKey.SetSensitive(true);
    m_secret.SetSensitive(true);
  }

  // Drops what belongs to later stages.
  void Enter(EcdhStage stage);
  int Begin(const char *func, int group, const void *address);
  void AdoptOwn(const char *func, EcKey key, bool isShared);
  void AdoptSecret(kxBinBuf secret);
  int ReadMaterial(const char *privateHex, const char *xHex, const char *yHex);
  [[nodiscard]] bool Allows(const char *func, EcdhStage lowest) const;
  [[nodiscard]] bool AllowsGenerate(const char *func) const;
  [[nodiscard]] bool IsIdle(const char *func) const;  // whether no asynchronous call is under way
  int Queue(std::shared_ptr<EcdhCall> call, kxECDH_callback callback, void *opaque);

  int FieldLen() const { return m_curve->coordLen; }

  EcdhStage m_stage = kInvalid;
  int m_group = 0;
  const Curve *m_curve = nullptr;  // null in kInvalid only
  EcKey m_own;
  bool m_ownIsShared = false;               // the process's key: only read here
  kxBinBuf m_offloadKey;                    // sensitive: the own key as DER; empty when the service is not used
  unsigned char m_peer[kMaxPointLen] = {};  // uncompressed
  kxBinBuf m_secret;                        // sensitive

  kxECDH_callback m_callback = nullptr;
  void *m_opaque = nullptr;
  std::shared_ptr<EcdhCall> m_call;  // under way
};

/// The secret of an own key and a peer's point, both on that curve; sensitive. @return 0 or -1
int ComputeEcdhSecret(const Curve &curve, EC_KEY *own, const unsigned char *peer, kxBinBuf &offloadKey,
                      kxBinBuf &secret);

/// Whether an area takes that many octets; null takes none. A line is traced if not.
bool EcdhAreaFits(const char *func, const unsigned char *out, int outLen, int needed);

/// An asynchronous call. The worker has what it needs and makes here; the exchange is touched on the loop's
/// thread only, and may go at any time.
class EcdhCall : public PoolWork {
 public:
  EcdhCall(kxECDH *exchange, kxECDH_imp *imp) : m_exchange(exchange), m_imp(imp) {}
  void End(bool didRun) override;
  /// Nobody is to be told. What the worker makes is wiped.
  void Forget() { m_exchange = nullptr; }
  /// Ends the call for the exchange, then tells the callback, which may delete it.
  void Tell(bool isDone);

 protected:
  kxECDH *Exchange() const { return m_exchange; }
  kxECDH_imp &Imp() const { return *m_imp; }

 private:
  virtual bool Adopt() = 0;  // what the worker made; false: it failed
  virtual const char *Failure() const = 0;
  virtual void *Result(int *len) = 0;  // of a call that is done

  kxECDH *m_exchange;       // null once the call is of no interest
  kxECDH_imp *const m_imp;  // the exchange's
};

#endif
