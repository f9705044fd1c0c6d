// The asynchronous operations of keys: what a kind does that has none of its own, and the key tasks behind
// the handle.
#include <functional>
#include <memory>
#include <new>

#include "keys/libcryptoTypes.h"
#include "kxcert/keys/keyTasks.h"
#include "kxcert/keys/sxPubKey.h"
#include "kxcert/keys/sxPubKey_imp.h"
#include "kxcert/platform/log.h"
#include "kxcert/platform/secureMemory.h"
#include "platform/eventEnv_imp.h"

namespace {

// The default of every kind: see sxPubKey_imp.h for why the code is always -1.
int CallLater(const char *func, sxPKCallback callback, void *opaque, sxd_env *env, const std::function<void()> &work) {
  if (callback == nullptr) {
    herror_func(0, 0, "%s: No callback given", func);
    return kKeyLibraryFailed;
  }
  if (env == nullptr) {
    herror_func(0, 0, "%s: No environment given", func);
    return kKeyLibraryFailed;
  }
  work();
  const auto call = [callback, opaque] { callback(opaque, -1, nullptr, 0, nullptr); };
  return env->Post(0, call) == 0 ? 0 : kKeyLibraryFailed;
}

struct TaskCallback {
  sxPKCallback callback;
  void *opaque;
};

// For a result that nobody collects: it may be a secret.
void FreeResult(int taskType, void *result, int resultLen) {
  if (taskType == kTaskDHNewKey) {
    sxFreePubKey(static_cast<sxPubKey *>(result));
  } else if (taskType != kTaskRSADecrypt) {  // that one is the caller's own
    const std::unique_ptr<unsigned char[]> octets(static_cast<unsigned char *>(result));
    KX_memset(octets.get(), static_cast<size_t>(resultLen));
  }
}

// The completion of all tasks that are made here: tells the user and lets go of the record.
void TellUser(TaskData *task, void *opaque, void *result, int resultLen) {
  constexpr const char *kFunc = "sxPubKeyTaskCB";
  const auto *const info = static_cast<const TaskCallback *>(opaque);  // the record keeps it
  herror_func(0, 0, "%s: Entering with task ID = %d.", kFunc, task->TaskId());
  if (info->callback == nullptr) {
    herror_func(0, 0, "%s: Error: Missing CBInfo or CB", kFunc);
    FreeResult(task->TaskType(), result, resultLen);
  } else {
    task->Lock();
    const int rc = task->RC();
    const std::string errText = task->ErrMsg() == nullptr ? "None" : task->ErrMsg();
    task->Unlock();
    info->callback(info->opaque, rc, result, resultLen, errText.c_str());
  }
  TaskData_Free(task);
}

// Queues a new record; what both the handle's operations and sxPubKey_NewDH do.
// @param createdFmt, failedFmt  log lines: of func and the task's number, of func
template <class Task, class... Args>
int QueueTask(const char *func, const char *createdFmt, const char *failedFmt, sxPKCallback callback, void *opaque,
              Args... args) try {
  sxOwned<TaskData, TaskData_Free> task(new (std::nothrow) Task(args...));
  if (task == nullptr) {
    herror_func(0, 0, failedFmt, func);
    return kKeyLibraryFailed;
  }
  const int id = task->TaskId();
  herror_func(0, 0, createdFmt, func, id);
  const auto info = std::make_shared<TaskCallback>(TaskCallback{callback, opaque});
  task->Keep(info);
  constexpr int kNoTimeout = -1;
  const int rc = KeyTask_QueueRequest(task.get(), TellUser, info.get(), kNoTimeout);
  if (rc < 0) {
    herror_func(0, 0, "%s: QueueRequest returned error for ID: %d rc: %d", func, id, rc);
    return rc;
  }
  static_cast<void>(task.release());  // TellUser's
  return rc;
} catch (const std::bad_alloc &) {
  herror_func(0, 0, failedFmt, func);
  return kKeyLibraryFailed;
}

}  // namespace

int sxPubKey_imp_vc::EncryptA(sxPKop_type op, const unsigned char *in, int inLen, unsigned char *out, int outLen,
                              sxPKCallback callback, void *opaque, sxd_env *env) {
  return CallLater("sxPubKey_imp::EncryptA", callback, opaque, env, [&] { Encrypt(op, in, inLen, out, outLen); });
}
int sxPubKey_imp_vc::DecryptA(sxPKop_type op, const unsigned char *in, int inLen, unsigned char *out, int outLen,
                              sxPKCallback callback, void *opaque, sxd_env *env) {
  return CallLater("sxPubKey_imp::DecryptA", callback, opaque, env, [&] { Decrypt(op, in, inLen, out, outLen); });
}
int sxPubKey_imp_vc::SignA(sxPKop_type op, sx_md_type md, const unsigned char *in, int inLen, sxPKCallback callback,
                           void *opaque, sxd_env *env) {
  return CallLater("sxPubKey_imp::SignA", callback, opaque, env, [&] { Sign(op, md, in, inLen, nullptr, 0); });
}
int sxPubKey_imp_vc::VerifyA(sxPKop_type op, sx_md_type md, const unsigned char *data, int dataLen,
                             const unsigned char *sig, int sigLen, sxPKCallback callback, void *opaque, sxd_env *env) {
  return CallLater("sxPubKey_imp::VerifyA", callback, opaque, env, [&] { Verify(op, md, data, dataLen, sig, sigLen); });
}
int sxPubKey_imp_vc::DeriveA(sxPKop_type op, const unsigned char *peer, int peerLen, sxPKCallback callback,
                             void *opaque, sxd_env *env) {
  return CallLater("sxPubKey_imp::DeriveA", callback, opaque, env, [&] { Derive(op, peer, peerLen, nullptr, 0); });
}

int sxPubKey::EncryptA(sxPKop_type op, const unsigned char *in, int inLen, unsigned char *out, int outLen,
                       sxPKCallback callback, void *opaque, sxd_env *env) {
  return Imp()->EncryptA(op, in, inLen, out, outLen, callback, opaque, env);
}
int sxPubKey::VerifyA(sxPKop_type op, sx_md_type md, const unsigned char *data, int dataLen, const unsigned char *sig,
                      int sigLen, sxPKCallback callback, void *opaque, sxd_env *env) {
  return Imp()->VerifyA(op, md, data, dataLen, sig, sigLen, callback, opaque, env);
}

// These answer through the environment that the workers were started on.

int sxPubKey::DecryptA(sxPKop_type op, const unsigned char *in, int inLen, unsigned char *out, int outLen,
                       sxPKCallback callback, void *opaque, sxd_env *) {
  return QueueTask<RSADecryptKeyTaskData>("sxPubKey::DecryptA", "%s: Created RSA Decrypt Task with ID = %d",
                                          "%s: Failed to create RSADecryptKeyTaskData.", callback, opaque, this, op, in,
                                          inLen, out, outLen);
}
int sxPubKey::SignA(sxPKop_type op, sx_md_type md, const unsigned char *in, int inLen, sxPKCallback callback,
                    void *opaque, sxd_env *) {
  return QueueTask<RSASignKeyTaskData>("sxPubKey::SignA", "%s: Created RSA sign Task with ID = %d",
                                       "%s: Failed to create RSASignKeyTaskData.", callback, opaque, this, op, md, in,
                                       inLen);
}
int sxPubKey::DeriveA(sxPKop_type op, const unsigned char *peer, int peerLen, sxPKCallback callback, void *opaque,
                      sxd_env *) {
  if (peerLen < 0) {
    herror_func(0, 0, "%s: Illegal key len (%d).", "sxPubKey::DeriveA", peerLen);
    return kKeyLibraryFailed;
  }
  return QueueTask<DHDeriveKeyTaskData>("sxPubKey::DeriveA", "%s: Created DH derive Task with ID = %d",
                                        "%s: Failed to create DHDeriveKeyTaskData.", callback, opaque, this, op, peer,
                                        peerLen);
}
int sxPubKey_NewDH(const char *groupName, int privBits, sxPKCallback callback, void *opaque) {
  return QueueTask<DHNewKeyTaskData>("sxPubKey_NewDH", "%s: Created new DH Task with ID = %d",
                                     "%s: Failed to create DHNewKeyTaskData.", callback, opaque, groupName, privBits);
}
