// The client of the key-operation service: whether it is used, and its operations for octets.
#include "kxcert/keys/pkxl.h"

#include <sys/stat.h>
#include <sys/utsname.h>

#include <atomic>
#include <cstdlib>
#include <cstring>

#include "keys/ec/curves.h"
#include "keys/libcryptoTypes.h"
#include "keys/offload/pkxlOffer.h"
#include "kxcert/keys/kxECDSA.h"
#include "kxcert/keys/kxSRSA.h"
#include "kxcert/platform/fips.h"
#include "kxcert/platform/log.h"
#include "pkxlDecision.h"
#include "platform/configDir.h"

namespace {

enum Decision : int { kUndecided, kMayUse, kMayNotUse };
std::atomic<int> g_decision{kUndecided};
std::atomic<bool> g_usage{false};

bool IsOs64Bit() {
  static const bool is64 = [] {
    utsname system = {};
    if (uname(&system) != 0) return herror_func(0, 0, "%s: uname failed", "is_os_64bit"), false;
    return std::strcmp(system.machine, "x86_64") == 0;
  }();
  return is64;
}

bool Exists(const std::string &path) {
  struct stat entry = {};
  return stat(path.c_str(), &entry) == 0;
}

Decision Decide() {
  if (IsFIPS140() || !IsOs64Bit()) return kMayNotUse;
  if (!Exists(pkxl_socket_path()) || Exists(kxConfigDir() + "/conf/pkxl_disable")) return kMayNotUse;
  if (const char *force = secure_getenv("PKXL_FORCE"); force != nullptr) {
    char *end = nullptr;
    if (std::strtol(force, &end, 10) == 1 && *end == '\0') g_usage = true;
  }
  herror_func(0, 0, "%s: pkxld process can be used", "pkxl_should_use");
  return kMayUse;
}

}  // namespace

bool pkxl_should_use() {
  int decision = g_decision.load(std::memory_order_relaxed);
  if (decision == kUndecided) {
    decision = Decide();  // threads that come here at once come to the same
    g_decision.store(decision, std::memory_order_relaxed);
  }
  return decision == kMayUse && g_usage.load(std::memory_order_relaxed);
}

void pkxl_enable_usage() { g_usage = true; }
void pkxl_stop_usage() {
  static_cast<void>(pkxl_should_use());  // what the environment forces is read first
  g_usage = false;
}

void PkxlForgetDecision() {
  g_decision = kUndecided;
  g_usage = false;
  PkxlForgetTrouble();
}

std::string pkxl_socket_path() { return kxConfigDir() + "/offload.socket"; }

// Public operations are not offered: only doing them again would show whether the answer is right.

int pkxl_rsa_op(const pkxl_len_and_buf_t *in, pkxl_len_and_buf_t *out, const pkxl_len_and_buf_t *key, int operation,
                int *result) {
  const RsaKey rsa(kxRSA_from_buf(key->buf, static_cast<int>(key->len), 1));
  if (rsa == nullptr || out->len < static_cast<uint32_t>(RSA_size(rsa.get()))) return -1;
  const auto asked = static_cast<RsaOperation>(operation);
  return PkxlOfferRsa(asked, static_cast<int>(in->len), in->buf, out->buf, rsa.get(), result) ? 0 : -1;
}

int pkxl_ecdsa_sign(const pkxl_len_and_buf_t *data, pkxl_len_and_buf_t *signature, const pkxl_len_and_buf_t *key,
                    int curveNid, int *result) {
  const EcKey ec(kxECDSA_from_buf(sxPK_private, key->buf, static_cast<int>(key->len), curveNid));
  if (ec == nullptr || signature->len < static_cast<uint32_t>(ECDSA_size(ec.get()))) return -1;
  return PkxlOfferEcdsaSign(data->buf, static_cast<int>(data->len), signature->buf, ec.get(), result) ? 0 : -1;
}

int pkxl_ecdsa_verify(const pkxl_len_and_buf_t *, const pkxl_len_and_buf_t *, const pkxl_len_and_buf_t *, int, int *) {
  return -1;
}

int pkxl_ecdh_compute_key(const pkxl_len_and_buf_t *peer, pkxl_len_and_buf_t *secret, const pkxl_len_and_buf_t *key,
                          int curveNid, int *result) {
  const Curve *const curve = FindCurve(curveNid);
  if (curve == nullptr || secret->len < static_cast<uint32_t>(curve->coordLen)) return -1;
  return PkxlOfferEcdh(*peer, secret->buf, *key, curveNid, result) ? 0 : -1;
}
