/// @file
/// Worker pool: work that would hold up an event loop runs on threads of its own, its result is handled
/// on the loop's thread.
///
/// RTComm is the way back to the loop, RTApc the threads, RTApcServant one piece of work. Functions of
/// RTComm and RTApc belong to the thread that runs the loop. A result handler may queue, change the number
/// of threads and end the pool. When the environment goes, and after main returned, what was not answered
/// is dropped without an answer. A child of fork has none of the threads: there the pool takes nothing.
#ifndef KXCERT_PLATFORM_WORKERPOOL_H_
#define KXCERT_PLATFORM_WORKERPOOL_H_

#include <cstddef>
#include <memory>

#include "kxcert/platform/eventEnv.h"

class RTApc;
class RTApc_imp;

/// Results go through @p env. For RTComm_destroy; environment, channel and pools may go in any order.
struct RTComm;
KXCERT_EXPORT RTComm *RTComm_create(sxd_env *env);  ///< null: no environment, or out of memory
KXCERT_EXPORT int RTComm_start(RTComm *comm);       ///< results flow from here on; 0, or -1
KXCERT_EXPORT void RTComm_destroy(RTComm *comm);    ///< null is ignored

/// What a result handler is told.
enum RTWaitResult { kRTWaitDone = 0, kRTWaitTimedOut = 1, kRTWaitFailed = 2 };

/// A piece of work. The pool keeps clones: one goes to a worker, the other waits for it on the loop's
/// side, so that a worker which is late never touches what has been answered.
class KXCERT_EXPORT RTApcServant {
 public:
  RTApcServant() = default;
  RTApcServant(const RTApcServant &) = default;
  RTApcServant &operator=(const RTApcServant &) = default;
  virtual ~RTApcServant();

  /// On a worker. What the result handler is to see goes into the servant or behind what its clones share.
  virtual void task_handler() = 0;
  /// On the loop's thread, exactly once for what was queued and not dropped. On kRTWaitDone it is the clone
  /// whose handler ran, else the one that waited.
  virtual void result_handler(int waitResult, RTApc *pool) = 0;

  /// The same work is equal and has equal hashes; other work that is queued at the same time is not equal.
  virtual size_t hash() const = 0;
  virtual bool operator==(const RTApcServant &other) const = 0;
  virtual RTApcServant *clone() const = 0;  ///< for delete
};

class KXCERT_EXPORT RTApc {
 public:
  static constexpr int kMaxThreads = 256;

  /// @param comm         lent, started before work is queued
  /// @param numThreads   0 to kMaxThreads; as many as the system grants
  /// @param waitLimitMs  how long any work may take, waiting included; negative: for ever
  RTApc(RTComm *comm, int numThreads, int waitLimitMs);
  /// Runs what is queued to its end and handles the results of that, so nothing is left without an answer.
  ~RTApc();
  RTApc(const RTApc &) = delete;
  RTApc &operator=(const RTApc &) = delete;

  int NumThreads() const;
  /// Queues a clone of @p work.
  /// @param timeoutMs  negative: the pool's limit alone
  /// @return 0, or -1: no thread, no started channel, equal work queued already, the pool ends, or out of memory
  int Queue(const RTApcServant &work, int timeoutMs);
  /// Drops what was not answered; from here on nothing is taken. What runs goes on to its end.
  void Abandon();
  bool IsInherited() const;  ///< this process is a child of the pool's

 private:
  friend int RTApc_SetNumThreads(RTApc *pool, int numThreads);
  std::shared_ptr<RTApc_imp> m_imp;  // with the workers and what is posted to the loop
};

/// Adds threads, or ends as many once they are done with what they do; while work runs.
/// @return 0, or -1: null, 0 or below, above kMaxThreads, the pool ends, or the system grants fewer (some may
/// have come)
KXCERT_EXPORT int RTApc_SetNumThreads(RTApc *pool, int numThreads);

#endif
