/// @file
/// Key tasks: slow private-key operations on worker threads, so that an event loop is not held up.
///
/// A task record says what is to be done and holds what came of it; KeyTask_QueueRequest takes it to a
/// worker and its completion back. All functions belong to one thread, the one that runs the loop.
#ifndef KXCERT_KEYS_KEYTASKS_H_
#define KXCERT_KEYS_KEYTASKS_H_

#include <atomic>
#include <memory>
#include <mutex>
#include <string>

#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/keys/sxPubKey.h"
#include "kxcert/platform/workerPool.h"

enum KeyTaskRC : int {
  TASK_INSERTED_TO_QUEUE = 1,
  TASK_SUCCESS = 0,
  TASK_DECRYPT_ERROR = -991,
  TASK_GENERAL_ERROR = -992,
  TASK_NOT_INITIALIZED = -993,
  TASK_SIGNING_ERROR = -994,
  TASK_DERIVING_ERROR = -995,
  TASK_CREATION_ERROR = -996,
  TASK_BAD_INPUT = -997,
  TASK_WAIT_ERROR = -998,
  TASK_TIMEOUT = -999,
  TASK_QUEUING_ERROR = -1000,
};
KXCERT_EXPORT const char *TaskRC2str(int rc);  ///< "TASK_SUCCESS", ...; "Unknown Error"

enum KeyTaskType : int { kTaskDHNewKey = 1, kTaskDHDerive = 2, kTaskRSASign = 3, kTaskRSADecrypt = 4 };

/// A task record, counted: made with one reference, TaskData_Save adds one, TaskData_Free drops one.
/// It owns copies of its input and holds a reference to its key. Whoever reads or writes the result holds
/// the lock: a worker that is late may still be at it.
class KXCERT_EXPORT TaskData {
 public:
  TaskData();
  TaskData(const TaskData &) = delete;
  TaskData &operator=(const TaskData &) = delete;

  virtual int TaskType() const = 0;    ///< KeyTaskType; another number is refused when it runs
  int TaskId() const { return m_id; }  ///< of this one in the process

  void Lock() { m_mutex.lock(); }
  void Unlock() { m_mutex.unlock(); }
  int RC() const { return m_rc; }
  void SetRC(int rc) { m_rc = rc; }
  const char *ErrMsg() const { return m_errMsg.empty() ? nullptr : m_errMsg.c_str(); }
  void SetErrMsg(const char *text) { m_errMsg = text == nullptr ? "" : text; }
  bool IsAnswered() const { return m_isAnswered; }  ///< the completion has, or is about to have, the result
  void SetAnswered() { m_isAnswered = true; }
  /// Keeps @p info, for instance what the completion is given, until the record goes.
  void Keep(std::shared_ptr<const void> info) { m_kept = std::move(info); }

 protected:
  virtual ~TaskData();

 private:
  friend void TaskData_Save(TaskData *task);
  friend void TaskData_Free(TaskData *task);

  const int m_id;
  std::atomic<int> m_numRefs{1};
  std::mutex m_mutex;
  bool m_isAnswered = false;
  int m_rc = TASK_SUCCESS;
  std::string m_errMsg;
  std::shared_ptr<const void> m_kept;
};
KXCERT_EXPORT void TaskData_Save(TaskData *task);
KXCERT_EXPORT void TaskData_Free(TaskData *task);  ///< null is ignored

class KXCERT_EXPORT DHNewKeyTaskData : public TaskData {
 public:
  DHNewKeyTaskData(const char *groupName, int privBits);
  int TaskType() const override { return kTaskDHNewKey; }
  const char *GroupName() const { return m_hasGroup ? m_groupName.c_str() : nullptr; }
  int PrivBits() const { return m_privBits; }
  void SetKey(sxPubKey *key);  ///< takes over the reference
  sxPubKey *TakeKey();         ///< hands it over; null when there is none

 private:
  ~DHNewKeyTaskData() override;
  const bool m_hasGroup;
  const std::string m_groupName;
  const int m_privBits;
  sxPubKey *m_key = nullptr;
};

/// What the tasks with a key share.
class KXCERT_EXPORT KeyOpTaskData : public TaskData {
 public:
  sxPubKey *Key() const { return m_key; }
  sxPKop_type Op() const { return m_op; }
  const kxBinBuf &Input() const { return m_input; }
  void SetResult(std::unique_ptr<unsigned char[]> octets, int len);
  unsigned char *TakeResult(int *len);  ///< for delete[]; null when there is none

 protected:
  KeyOpTaskData(sxPubKey *key, sxPKop_type op, const unsigned char *data, int dataLen);
  ~KeyOpTaskData() override;

 private:
  sxPubKey *const m_key;  // one reference
  const sxPKop_type m_op;
  kxBinBuf m_input;
  std::unique_ptr<unsigned char[]> m_result;
  int m_resultLen = 0;
};

class KXCERT_EXPORT DHDeriveKeyTaskData : public KeyOpTaskData {
 public:
  DHDeriveKeyTaskData(sxPubKey *key, sxPKop_type op, const unsigned char *peer, int peerLen);
  int TaskType() const override { return kTaskDHDerive; }
};

class KXCERT_EXPORT RSASignKeyTaskData : public KeyOpTaskData {
 public:
  RSASignKeyTaskData(sxPubKey *key, sxPKop_type op, sx_md_type md, const unsigned char *data, int dataLen);
  int TaskType() const override { return kTaskRSASign; }
  sx_md_type DigestType() const { return m_md; }

 private:
  const sx_md_type m_md;
};

/// The worker decrypts into the record; what came is copied to @p out when the task completes, so that a
/// worker which is late touches nothing of the caller's.
class KXCERT_EXPORT RSADecryptKeyTaskData : public KeyOpTaskData {
 public:
  RSADecryptKeyTaskData(sxPubKey *key, sxPKop_type op, const unsigned char *data, int dataLen, unsigned char *out,
                        int outLen);
  int TaskType() const override { return kTaskRSADecrypt; }
  unsigned char *Out() const { return m_out; }
  int OutLen() const { return m_outLen; }

 private:
  unsigned char *const m_out;  // lent until the task completes
  const int m_outLen;
};

/// Told once that a task ended; has the caller's reference to the record from then on. It may queue tasks,
/// and start, change and stop the pool. Nobody is told of what was dropped: when the environment went, and
/// after main returned.
/// @param result  on success: a new sxPubKey (length 0), octets for delete[], or, decrypting, the caller's
///                own area; else null
using KeyTaskCompletion = void (*)(TaskData *task, void *info, void *result, int resultLen);

/// Runs a task on a worker and brings it back.
class KXCERT_EXPORT KeyTask : public RTApcServant {
 public:
  KeyTask(TaskData *task, KeyTaskCompletion completion, void *info);
  KeyTask(const KeyTask &other);
  KeyTask &operator=(const KeyTask &other);
  ~KeyTask() override;

  void task_handler() override;
  void result_handler(int waitResult, RTApc *pool) override;
  size_t hash() const override;
  bool operator==(const RTApcServant &other) const override;
  RTApcServant *clone() const override { return new KeyTask(*this); }
  /// The caller's reference goes to the completion, or, when the task is dropped, is freed. Once it is queued.
  void HandOver();

 private:
  struct Handed;
  TaskData *m_task;  // one reference
  KeyTaskCompletion m_completion;
  void *m_info;
  std::shared_ptr<Handed> m_handed;  // by the clones
};

/// Starts the pool on @p env, which is lent until the next start or KeyTaskMngmnt_destroy. With 0 threads, or
/// when something fails, every task is done at once on the calling thread. A second call replaces the pool,
/// once what it has is done.
/// @return 0, or -1: there are no workers
KXCERT_EXPORT int KeyTaskMngmnt_init(sxd_env *env, int numThreads);
/// Changes the number of workers. @return 0, or -1 (one line logged)
KXCERT_EXPORT int KeyTaskMngmnt_reconf(int numThreads);
/// Ends the pool once what it has is done and completed. From then on tasks are refused with
/// TASK_NOT_INITIALIZED, as before the first start.
KXCERT_EXPORT void KeyTaskMngmnt_destroy();

/// Queues a task, or does it at once (see KeyTaskMngmnt_init; also for keys that are kept elsewhere and
/// kinds that no worker takes).
/// @param task       the caller's reference, handed over unless the result is negative
/// @param timeoutMs  -1: the pool's limit of ten minutes alone
/// @retval 1  queued, or done and completed; else a negative task result code, which is the record's too
///            (a child of fork is refused with TASK_NOT_INITIALIZED until it starts workers of its own)
KXCERT_EXPORT int KeyTask_QueueRequest(TaskData *task, KeyTaskCompletion completion, void *info, int timeoutMs);

#endif
