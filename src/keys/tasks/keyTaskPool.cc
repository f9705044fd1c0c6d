// Running key tasks: what each kind does, the pool, and the way in and out.
#include <openssl/crypto.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <functional>
#include <new>
#include <string>
#include <utility>

#include "keys/tasks/poolWork.h"
#include "kxcert/keys/keyTasks.h"
#include "kxcert/keys/kxSDH.h"
#include "kxcert/platform/log.h"
#include "kxcert/platform/secureMemory.h"
#include "platform/eventEnv_imp.h"
#include "platform/threadEnd.h"

namespace {

constexpr int kWaitLimitMs = 600000;

class TaskLock {
 public:
  explicit TaskLock(TaskData *task) : m_task(task) { m_task->Lock(); }
  ~TaskLock() { m_task->Unlock(); }
  TaskLock(const TaskLock &) = delete;
  TaskLock &operator=(const TaskLock &) = delete;

 private:
  TaskData *const m_task;
};

void Entering(const char *func, const TaskData &task) {
  herror_func(0, 0, "<%d> %s: Entering with task ID = %d", gettid(), func, task.TaskId());
}

// What came of a task on its way into the record, whose lock is not held while the work is done.
struct Outcome {
  int rc = TASK_SUCCESS;
  std::string errMsg;
};
constexpr const char *kNoMemory = "Error - Cannot allocate memory.";

// How a kind of task fails when its key does.
struct Failure {
  int rc;
  const char *errMsg;
  operator Outcome() const { return {rc, errMsg}; }
};
constexpr Failure kCreationFailed = {TASK_CREATION_ERROR, "Error while creating new DH key."};
constexpr Failure kDerivingFailed = {TASK_DERIVING_ERROR, "Error while deriving dh key."};
constexpr Failure kSigningFailed = {TASK_SIGNING_ERROR, "Error while signing witn RSA private key."};
constexpr Failure kDecryptFailed = {TASK_DECRYPT_ERROR, "Error while decrypting witn RSA private key."};

// Asks the key how much it writes, then has it written.
template <class Operation>
Outcome WriteResult(KeyOpTaskData *task, const Failure &failed, Operation operation) {
  const int size = operation(nullptr, 0);
  if (size < 0) return failed;
  std::unique_ptr<unsigned char[]> octets(new (std::nothrow) unsigned char[static_cast<size_t>(size) + 1]);
  if (octets == nullptr) return {TASK_GENERAL_ERROR, kNoMemory};
  const int len = operation(octets.get(), size);
  const bool isWritten = len >= 0 && len <= size;
  const TaskLock lock(task);
  task->SetResult(std::move(octets), isWritten ? len : size);
  return isWritten ? Outcome() : failed;
}

const unsigned char *Data(const KeyOpTaskData &task) { return task.Input().Data(); }
int Len(const KeyOpTaskData &task) { return static_cast<int>(task.Input().Len()); }

Outcome TaskNewDHKey(TaskData *data) {
  auto *const task = static_cast<DHNewKeyTaskData *>(data);
  Entering("TaskNewDHKey", *task);
  if (task->GroupName() == nullptr) {
    return {TASK_BAD_INPUT, "Cannot complete computing new DH key. Bad input, no DH group"};
  }
  sxPubKey *const key = sxNewDHKey(task->GroupName(), task->PrivBits());
  if (key == nullptr) return kCreationFailed;
  const TaskLock lock(task);
  task->SetKey(key);
  return {};
}

Outcome TaskDHDerive(TaskData *data) {
  auto *const task = static_cast<DHDeriveKeyTaskData *>(data);
  Entering("TaskDHDerive", *task);
  return WriteResult(task, kDerivingFailed, [task](unsigned char *out, int outLen) {
    return task->Key()->Derive(task->Op(), Data(*task), Len(*task), out, outLen);
  });
}

Outcome TaskRSASign(TaskData *data) {
  auto *const task = static_cast<RSASignKeyTaskData *>(data);
  Entering("TaskRSASign", *task);
  return WriteResult(task, kSigningFailed, [task](unsigned char *out, int outLen) {
    return task->Key()->Sign(task->Op(), task->DigestType(), Data(*task), Len(*task), out, outLen);
  });
}

Outcome TaskRSADecrypt(TaskData *data) {
  auto *const task = static_cast<RSADecryptKeyTaskData *>(data);
  Entering("TaskRSADecrypt", *task);
  // The area may be far longer than any text.
  Outcome outcome = WriteResult(task, kDecryptFailed, [task](unsigned char *out, int outLen) {
    const int len = task->Key()->Decrypt(task->Op(), Data(*task), Len(*task), out, outLen);
    return out == nullptr ? std::min(len, task->OutLen()) : len;
  });
  if (outcome.rc == TASK_SUCCESS) {
    herror_func(0, 0, "<%d> %s: Successfully decrypted task ID = %d", gettid(), "TaskRSADecrypt", task->TaskId());
  }
  return outcome;
}

struct TaskRow {
  int type;
  Outcome (*run)(TaskData *task);
  const char *className;  // of the keys that workers take; null: asked of sxIsSW_DH
  Failure failure;
};
constexpr TaskRow kTasks[] = {
    {kTaskDHNewKey, TaskNewDHKey, nullptr, kCreationFailed},
    {kTaskDHDerive, TaskDHDerive, "kxSDH_imp", kDerivingFailed},
    {kTaskRSASign, TaskRSASign, "kxSRSA_imp", kSigningFailed},
    {kTaskRSADecrypt, TaskRSADecrypt, "kxSRSA_imp", kDecryptFailed},
};

const TaskRow *RowOf(const TaskData &task) {
  for (const TaskRow &row : kTasks) {
    if (row.type == task.TaskType()) return &row;
  }
  return nullptr;
}

// The key of a task that works with one.
const sxPubKey *KeyOf(TaskData *task) { return static_cast<KeyOpTaskData *>(task)->Key(); }

// Whether there is nowhere to put what a task makes.
bool LacksOutput(TaskData *data) {
  if (data->TaskType() != kTaskRSADecrypt) return false;
  const auto *const task = static_cast<RSADecryptKeyTaskData *>(data);
  return task->Out() == nullptr || task->OutLen() < 0;
}

bool WorkersTake(TaskData *task) {
  const TaskRow *const row = RowOf(*task);
  if (row == nullptr) return false;
  if (row->className == nullptr) return sxIsSW_DH() != 0;
  const sxPubKey *const key = KeyOf(task);
  return key != nullptr && std::strcmp(key->ClassName(), row->className) == 0;
}

Outcome Run(TaskData *task) try {
  const TaskRow *const row = RowOf(*task);
  if (row == nullptr) {
    char text[64];
    std::snprintf(text, sizeof text, "This operation (%d) is not supported by this API.", task->TaskType());
    return {TASK_GENERAL_ERROR, text};
  }
  if (row->className != nullptr) {
    const sxPubKey *const key = KeyOf(task);
    if (key == nullptr) return {TASK_BAD_INPUT, "Internal problem, bad input, no key."};
    if (key->OK() == 0) return row->failure;
  }
  return row->run(task);
} catch (const std::bad_alloc &) { return {TASK_GENERAL_ERROR, kNoMemory}; }

// What the completion is given, taken out of the record. The lock is held.
void *TakeResult(TaskData *task, int *len) {
  *len = 0;
  if (task->RC() != TASK_SUCCESS) return nullptr;
  if (task->TaskType() == kTaskDHNewKey) return static_cast<DHNewKeyTaskData *>(task)->TakeKey();
  if (task->TaskType() != kTaskRSADecrypt) return static_cast<KeyOpTaskData *>(task)->TakeResult(len);
  auto *const decrypt = static_cast<RSADecryptKeyTaskData *>(task);
  const std::unique_ptr<unsigned char[]> octets(decrypt->TakeResult(len));
  if (octets == nullptr) return nullptr;
  std::memcpy(decrypt->Out(), octets.get(), static_cast<size_t>(*len));
  KX_memset(octets.get(), static_cast<size_t>(*len));
  return decrypt->Out();
}

}  // namespace

// The caller's reference from when the request is queued until the completion gets it; what is dropped frees it.
struct KeyTask::Handed {
  ~Handed() { TaskData_Free(task); }
  TaskData *task = nullptr;
};

KeyTask::KeyTask(TaskData *task, KeyTaskCompletion completion, void *info)
    : m_task(task), m_completion(completion), m_info(info), m_handed(std::make_shared<Handed>()) {
  TaskData_Save(m_task);
}
KeyTask::KeyTask(const KeyTask &other)
    : RTApcServant(other),
      m_task(other.m_task),
      m_completion(other.m_completion),
      m_info(other.m_info),
      m_handed(other.m_handed) {
  TaskData_Save(m_task);
}
KeyTask &KeyTask::operator=(const KeyTask &other) {
  TaskData_Save(other.m_task);
  TaskData_Free(m_task);
  m_task = other.m_task;
  m_completion = other.m_completion;
  m_info = other.m_info;
  m_handed = other.m_handed;
  return *this;
}
KeyTask::~KeyTask() { TaskData_Free(m_task); }
void KeyTask::HandOver() { m_handed->task = m_task; }

size_t KeyTask::hash() const { return static_cast<size_t>(m_task->TaskId()); }
bool KeyTask::operator==(const RTApcServant &other) const {
  const auto *const task = dynamic_cast<const KeyTask *>(&other);  // the pool has other work, too
  return task != nullptr && m_task == task->m_task;
}

void KeyTask::task_handler() {
  const Outcome outcome = Run(m_task);
  if (outcome.rc != TASK_SUCCESS) {
    herror_func(0, 0, "<%d> %s: %s", gettid(), "KeyTask::task_handler", outcome.errMsg.c_str());
  }
  const TaskLock lock(m_task);
  if (m_task->IsAnswered()) return;  // too late: what the caller was told stands
  m_task->SetRC(outcome.rc);
  m_task->SetErrMsg(outcome.errMsg.c_str());
}

void KeyTask::result_handler(int waitResult, RTApc *) {
  void *result = nullptr;
  int resultLen = 0;
  {
    const TaskLock lock(m_task);
    m_task->SetAnswered();
    if (waitResult != kRTWaitDone) {
      herror_func(0, 0, "Failed to process the task. status = %d", waitResult);
      m_task->SetRC(waitResult == kRTWaitTimedOut ? TASK_TIMEOUT : TASK_WAIT_ERROR);
    }
    herror_func(0, 0, "<%d> %s: taskId = %d, Task operation rc = %s", gettid(), "KeyTask::result_handler",
                m_task->TaskId(), TaskRC2str(m_task->RC()));
    result = TakeResult(m_task, &resultLen);
  }
  m_handed->task = nullptr;
  m_completion(m_task, m_info, result, resultLen);
}

// The pool of the process. Whatever ends a pool has put its successor in place before, because completions
// that come of it may use the manager.
class kxKeyTaskManager {
 public:
  int Start(sxd_env *env, int numThreads);
  int SetNumThreads(int numThreads);
  void Stop() { Replace({}, false); }
  /// Main returned: nobody is called any more, and no pool starts.
  void EndOfProcess();
  bool IsSynchronous() const { return m_synchronous; }
  RTApc *Pool() const { return m_pool.pool.get(); }
  kxEventLoop *Loop() const { return m_loop.get(); }

 private:
  struct FreeComm {
    void operator()(RTComm *comm) const { RTComm_destroy(comm); }
  };
  struct Workers {
    std::unique_ptr<RTComm, FreeComm> comm;
    std::unique_ptr<RTApc> pool;
  };
  void Replace(Workers workers, bool synchronous);
  int StaySynchronous(const char *why);

  bool m_ended = false;  // with the process
  bool m_synchronous = false;
  std::shared_ptr<kxEventLoop> m_loop;  // of the latest start; null without an environment
  Workers m_pool;
};

namespace {

constexpr const char *kSynchronously = "All keys operations will be done synchronically.";

// Lives on for static objects that ask it as they go; its workers end with main. libcrypto comes first, so
// that it goes after them.
kxKeyTaskManager &Manager() {
  static auto &manager = *new kxKeyTaskManager;
  static const struct Ender {
    Ender() { OPENSSL_init_crypto(0, nullptr); }
    ~Ender() { manager.EndOfProcess(); }
  } ender;
  return manager;
}

}  // namespace

void kxKeyTaskManager::Replace(Workers workers, bool synchronous) {
  m_synchronous = synchronous;
  std::swap(m_pool, workers);
}

void kxKeyTaskManager::EndOfProcess() {
  m_ended = true;
  if (m_pool.pool != nullptr) m_pool.pool->Abandon();
  Replace({}, false);
}

int kxKeyTaskManager::StaySynchronous(const char *why) {
  herror_func(0, 0, "%s %s", why, kSynchronously);
  Replace({}, true);
  return -1;
}

int kxKeyTaskManager::Start(sxd_env *env, int numThreads) {
  constexpr const char *kFunc = "KeyTaskMngmnt_init";
  if (m_ended || kxThread_IsEnding()) return -1;
  m_loop = env == nullptr ? nullptr : env->Loop();
  if (numThreads <= 0) return StaySynchronous("KeyTaskMngmnt_init: Will not create working threads.");
  Workers workers;
  workers.comm.reset(RTComm_create(env));
  if (workers.comm == nullptr) return StaySynchronous("Internal problem, failed to create RTComm.");
  workers.pool = std::make_unique<RTApc>(workers.comm.get(), numThreads, kWaitLimitMs);
  const int numStarted = workers.pool->NumThreads();
  if (numStarted == 0) return StaySynchronous("Internal problem, failed to create RTApc.");
  if (RTComm_start(workers.comm.get()) != 0) return StaySynchronous("Internal problem, failed to start RTComm.");
  Replace(std::move(workers), false);
  herror_func(0, 0, "%s: set %d working threads.", kFunc, numStarted);
  return 0;
}

int kxKeyTaskManager::SetNumThreads(int numThreads) {
  constexpr const char *kFunc = "KeyTaskMngmnt_reconf";
  if (m_pool.pool == nullptr) {
    herror_func(0, 0, "%s: There are no working threads, all key operations willbe done on the main thread", kFunc);
    return -1;
  }
  if (numThreads <= 0) {
    herror_func(0, 0, "%s: Cannot zero the number of working threads.", kFunc);
    return -1;
  }
  if (RTApc_SetNumThreads(m_pool.pool.get(), numThreads) == 0) return 0;
  herror_func(0, 0, "%s: Cannot set %d working threads (at most %d), there are %d.", kFunc, numThreads,
              RTApc::kMaxThreads, m_pool.pool->NumThreads());
  return -1;
}

int KeyTaskMngmnt_init(sxd_env *env, int numThreads) { return Manager().Start(env, numThreads); }
int KeyTaskMngmnt_reconf(int numThreads) { return Manager().SetNumThreads(numThreads); }
void KeyTaskMngmnt_destroy() { Manager().Stop(); }

int KeyTask_QueueRequest(TaskData *task, KeyTaskCompletion completion, void *info, int timeoutMs) try {
  constexpr const char *kFunc = "KeyTask_QueueRequest";
  const auto refuse = [task](int rc, const char *why, const char *more = "") {
    herror_func(0, 0, "%s: %s %s", kFunc, why, more);
    if (task != nullptr) {
      const TaskLock lock(task);
      task->SetRC(rc);
      task->SetErrMsg(why);
    }
    return rc;
  };
  if (task == nullptr) return refuse(TASK_BAD_INPUT, "Internal problem, bad input, no task data.");
  if (completion == nullptr) return refuse(TASK_BAD_INPUT, "Internal problem, bad input, no callback.");
  if (LacksOutput(task)) return refuse(kDecryptFailed.rc, kDecryptFailed.errMsg);
  KeyTask keyTask(task, completion, info);
  if (Manager().IsSynchronous() || !WorkersTake(task)) {
    herror_func(0, 0, "<%d> %s: The operation will be done on the main thread", gettid(), kFunc);
    keyTask.task_handler();
    keyTask.result_handler(kRTWaitDone, Manager().Pool());
    return TASK_INSERTED_TO_QUEUE;
  }
  if (Manager().Pool() == nullptr) {
    return refuse(TASK_NOT_INITIALIZED, "The apc wasn't initialized.", "The key operation cannot be done.");
  }
  if (Manager().Pool()->IsInherited()) {
    return refuse(TASK_NOT_INITIALIZED, "The apc wasn't initialized.", "Its workers stayed with the parent process.");
  }
  if (Manager().Pool()->Queue(keyTask, timeoutMs) != 0) {
    return refuse(TASK_QUEUING_ERROR, "Error while queuing the request.");
  }
  keyTask.HandOver();
  herror_func(0, 0, "<%d> %s: task %d queued successfully", gettid(), kFunc, task->TaskId());
  return TASK_INSERTED_TO_QUEUE;
} catch (const std::bad_alloc &) {
  herror_func(0, 0, "KeyTask_QueueRequest: Cannot allocate memory. There is not enough free memory in the system");
  return TASK_GENERAL_ERROR;
}

namespace {

// Brings PoolWork to a worker and back.
class PoolServant : public RTApcServant {
 public:
  explicit PoolServant(const std::shared_ptr<PoolWork> &work) : m_work(work) {}
  void task_handler() override { m_work->Run(); }
  void result_handler(int waitResult, RTApc *) override { m_work->End(waitResult == kRTWaitDone); }
  size_t hash() const override { return std::hash<std::shared_ptr<PoolWork>>()(m_work); }
  bool operator==(const RTApcServant &other) const override {
    const auto *const servant = dynamic_cast<const PoolServant *>(&other);
    return servant != nullptr && m_work == servant->m_work;
  }
  RTApcServant *clone() const override { return new PoolServant(*this); }

 private:
  std::shared_ptr<PoolWork> m_work;
};

int RefuseWork(int rc) {
  herror_func(0, 0, "%s: %s", "QueuePoolWork", TaskRC2str(rc));
  return rc;
}

}  // namespace

int CanQueuePoolWork() {
  const kxKeyTaskManager &manager = Manager();
  if (manager.IsSynchronous() && manager.Loop() != nullptr) return 0;
  const bool isThere = manager.Pool() != nullptr && !manager.Pool()->IsInherited();
  return isThere ? 0 : RefuseWork(TASK_NOT_INITIALIZED);
}

int QueuePoolWork(const std::shared_ptr<PoolWork> &work) try {
  if (const int rc = CanQueuePoolWork(); rc != 0) return rc;
  const kxKeyTaskManager &manager = Manager();
  if (manager.IsSynchronous() && manager.Loop() != nullptr) {
    work->Run();
    return manager.Loop()->Post(0, [work] { work->End(true); }) == 0 ? 0 : RefuseWork(TASK_QUEUING_ERROR);
  }
  return manager.Pool()->Queue(PoolServant(work), -1) == 0 ? 0 : RefuseWork(TASK_QUEUING_ERROR);
} catch (const std::bad_alloc &) { return TASK_QUEUING_ERROR; }
