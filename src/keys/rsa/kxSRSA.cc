#include "kxcert/keys/kxSRSA.h"

#include <atomic>
#include <cstring>

#include "keys/keyOctets.h"
#include "keys/keyRef.h"
#include "kxSRSA_imp.h"
#include "kxcert/foundation/attributeSet.h"
#include "kxcert/keys/rsaGeneration.h"
#include "kxcert/platform/fips.h"
#include "kxcert/platform/log.h"
#include "rsaExponent.h"
#include "rsaSelfTest.h"

namespace {

std::atomic<sxImportRSAKeyFunc> g_importFunc{nullptr};  // null: the built-in one
std::atomic<sxGenRSAKeyFunc> g_genFunc{nullptr};        // null: the built-in one

sxPubKey *GenerateHere(int bits, int exponent) {
  RSA *rsa = kxGenRSA(bits, exponent);
  return rsa == nullptr ? nullptr : new kxSRSA(rsa);
}

}  // namespace

kxSRSA::kxSRSA(sxPK_Format format, const unsigned char *data, int dataLen)
    : sxPubKey(new kxSRSA_imp(format, data, dataLen)) {}
kxSRSA::kxSRSA(int bits, int exponent) : sxPubKey(new kxSRSA_imp(kxGenRSA(bits, exponent))) {}
kxSRSA::kxSRSA(RSA *rsa) : sxPubKey(new kxSRSA_imp(rsa)) {}

kxSRSA_imp *kxSRSA::Imp() const { return static_cast<kxSRSA_imp *>(m_imp); }
int kxSRSA::HasPrivate() const { return Imp()->HasPrivate() ? 1 : 0; }
int kxSRSA::Nbits() const { return Imp()->Nbits(); }
int kxSRSA::Nbytes() const { return Imp()->Nbytes(); }

sxPubKey *sxImportRSAKey(sxPK_Format format, const unsigned char *data, int dataLen) {
  if (const sxImportRSAKeyFunc import = g_importFunc.load(std::memory_order_acquire)) {
    return import(format, data, dataLen);
  }
  return IfUsable(new kxSRSA(format, data, dataLen));
}

sxPubKey *sxImportRSAKey_from_Set(const sxset *set) {
  RSA *rsa = kxRSA_from_set(set);
  return rsa == nullptr ? nullptr : IfUsable(new kxSRSA(rsa));
}

int sxExportRSAKey(sxPubKey *key, sxPK_Format format, kxBinBuf &out) {
  if (format == sxPK_set) return kKeyNotImplemented;  // sxExportRSAKey_to_Set does that
  const int len = sxPubKey_Export(key, format, nullptr, 0);
  if (len <= 0) return len < 0 ? len : kKeyBadInput;
  kxBinBuf octets;
  octets.SetSensitive(format == sxPK_private);
  octets.Set(static_cast<unsigned int>(len));
  const int written = key->Export(format, octets.Data(), len);
  if (written != len) return written < 0 ? written : kKeyBadInput;
  out = std::move(octets);
  return 0;
}

sxset *sxExportRSAKey_to_Set(sxPubKey *key) {
  sxset *set = nullptr;
  unsigned char slot[sizeof set];
  if (sxPubKey_Export(key, sxPK_set, slot, kKeySetCapacity) != 0) return nullptr;
  std::memcpy(&set, slot, sizeof set);
  return set;
}

sxPubKey *sxGenerateRSA(int bits, int exponent) {
  const sxGenRSAKeyFunc installed = g_genFunc.load(std::memory_order_acquire);
  const sxGenRSAKeyFunc generate = installed != nullptr ? installed : GenerateHere;
  PubKeyRef key(generate(bits, UsedRsaExponent(exponent)));
  if (key == nullptr || IsConsistentKey(*key)) return key.release();
  herror_func(0, 0, "sxGenerateRSA: key failed consistency test!");
  key.reset();
  fips_reboot();
  return nullptr;
}

void sxSetImportRSAKey_func(sxImportRSAKeyFunc func) { g_importFunc.store(func, std::memory_order_release); }
void sxSetGenRSAKey_func(sxGenRSAKeyFunc func) { g_genFunc.store(func, std::memory_order_release); }
int sxIsSW_RSA() {
  return g_importFunc.load(std::memory_order_acquire) == nullptr && g_genFunc.load(std::memory_order_acquire) == nullptr
             ? 1
             : 0;
}
