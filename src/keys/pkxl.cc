// The client of the key-operation service: whether it is used, and one exchange for each operation.
#include "kxcert/keys/pkxl.h"

#include <sys/stat.h>
#include <sys/utsname.h>

#include <atomic>
#include <cstdlib>
#include <cstring>

#include "ecOperation.h"
#include "kxcert/platform/configDir.h"
#include "kxcert/platform/fips.h"
#include "kxcert/platform/localSocket.h"
#include "kxcert/platform/log.h"
#include "pkxlDecision.h"
#include "pkxlMessage.h"

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

// One exchange. The output is copied to where the caller wants it.
int Ask(const PkxlRequest &request, pkxl_len_and_buf_t *out, int *result) {
  kxBinBuf message;
  if (!PkxlWrite(request, message)) return -1;
  kxLocalSocket service(pkxl_socket_path(), kPkxlTimeoutMs);
  const auto resize = [&message](uint32_t len) {
    message.Set(len);
    return message.Data();
  };
  PkxlAnswer answer;
  if (!service.Send(message.Data(), message.Len()) || !service.Receive(resize) || !PkxlRead(message, &answer)) return -1;
  if (!answer.served || answer.output.len > request.capacity) return -1;
  if (request.capacity > 0 && answer.result > 0 && static_cast<uint32_t>(answer.result) != answer.output.len) return -1;
  if (answer.output.len > 0) std::memcpy(out->buf, answer.output.buf, answer.output.len);
  *result = answer.result;
  return 0;
}

uint32_t Number(int value) { return static_cast<uint32_t>(value); }

}  // namespace

bool pkxl_should_use() {
  int decision = g_decision.load(std::memory_order_relaxed);
  if (decision == kUndecided) {
    decision = Decide();   // threads that come here at once come to the same
    g_decision.store(decision, std::memory_order_relaxed);
  }
  return decision == kMayUse && g_usage.load(std::memory_order_relaxed);
}

void pkxl_enable_usage() { g_usage = true; }
void pkxl_stop_usage() {
  static_cast<void>(pkxl_should_use());   // what the environment forces is read first
  g_usage = false;
}

void PkxlForgetDecision() {
  g_decision = kUndecided;
  g_usage = false;
}

std::string pkxl_socket_path() { return kxConfigDir() + "/offload.socket"; }

int pkxl_rsa_op(const pkxl_len_and_buf_t *in, pkxl_len_and_buf_t *out, const pkxl_len_and_buf_t *key, int operation,
                int *result) {
  return Ask({Number(operation), 0, out->len, *in, {}, *key}, out, result);
}

int pkxl_ecdsa_sign(const pkxl_len_and_buf_t *data, pkxl_len_and_buf_t *signature, const pkxl_len_and_buf_t *key,
                    int curveNid, int *result) {
  return Ask({kEcdsaSign, Number(curveNid), signature->len, *data, {}, *key}, signature, result);
}

int pkxl_ecdsa_verify(const pkxl_len_and_buf_t *data, const pkxl_len_and_buf_t *signature,
                      const pkxl_len_and_buf_t *key, int curveNid, int *result) {
  return Ask({kEcdsaVerify, Number(curveNid), 0, *data, *signature, *key}, nullptr, result);
}

int pkxl_ecdh_compute_key(const pkxl_len_and_buf_t *peer, pkxl_len_and_buf_t *secret, const pkxl_len_and_buf_t *key,
                          int curveNid, int *result) {
  return Ask({kEcdhComputeKey, Number(curveNid), secret->len, *peer, {}, *key}, secret, result);
}
