// Work of this folder that is no key task, on the workers of the key tasks.
#ifndef KXCERT_SRC_KEYS_TASKS_POOLWORK_H_
#define KXCERT_SRC_KEYS_TASKS_POOLWORK_H_

#include <memory>

class PoolWork {
 public:
  PoolWork() = default;
  PoolWork(const PoolWork &) = delete;
  PoolWork &operator=(const PoolWork &) = delete;
  virtual ~PoolWork() = default;

  /// Once, on a worker; on the thread that queues where there are no workers.
  virtual void Run() = 0;
  /// Once, on the loop's thread, never within QueuePoolWork.
  /// @param didRun  false: it took too long, or failed; Run may still be at it
  virtual void End(bool didRun) = 0;
};

/// Whether QueuePoolWork would take work now, for what is done before. @return 0, or TASK_NOT_INITIALIZED (one line logged)
[[nodiscard]] int CanQueuePoolWork();

/// On the thread that runs the loop. @return 0; or TASK_NOT_INITIALIZED, TASK_QUEUING_ERROR (one line
/// logged), and nothing more of the work is called
[[nodiscard]] int QueuePoolWork(const std::shared_ptr<PoolWork> &work);

#endif
