/// @file
/// The environment behind eventEnv.h, for those that post closures and may outlive it.
#ifndef KXCERT_SRC_PLATFORM_EVENTENV_IMP_H_
#define KXCERT_SRC_PLATFORM_EVENTENV_IMP_H_

#include <atomic>
#include <chrono>
#include <functional>
#include <list>
#include <memory>
#include <vector>

#include "kxcert/platform/eventEnv.h"
#include "platform/guarded.h"

struct event;

/// Who keeps something on the environment's behalf and drops it when that goes.
class kxEventClient {
 public:
  virtual void EnvironmentGone() = 0;  ///< on the loop's thread, within sxd_env_destroy

 protected:
  ~kxEventClient() = default;
};

/// The state of an environment, shared with whoever posts to it: posting to one that is gone is refused.
class kxEventLoop : public std::enable_shared_from_this<kxEventLoop> {
 public:
  /// @param lent  the loop to use; null makes one
  static std::shared_ptr<kxEventLoop> New(event_base *lent);
  static std::shared_ptr<kxEventLoop> Default();  ///< of defaultEnv.h; null without one
  ~kxEventLoop();

  /// What the closure holds goes when it was called or dropped. Any thread.
  int Post(int delayMs, std::function<void()> call);
  int Run(int maxMs);  ///< negative: no limit
  void Stop();         ///< any thread
  event_base *Base() const { return m_base; }
  sxd_env *Env() const { return m_env; }  ///< that it is the state of; on the loop's thread, until Close
  void AddClient(std::weak_ptr<kxEventClient> client);
  /// Drops what was not called yet and tells the clients. Also within one of the calls, whose run then ends.
  void Close();

 private:
  using Clock = std::chrono::steady_clock;
  struct FreeBase {
    void operator()(event_base *base) const;
  };
  struct FreeEvent {
    void operator()(event *entry) const;
  };
  using Event = std::unique_ptr<event, FreeEvent>;
  struct Call {
    std::function<void()> function;
    Clock::time_point due;        // min(): as soon as the loop gets to it
    kxEventLoop *loop = nullptr;  // these while a timer is set
    std::list<Call>::iterator self;
    Event timer;
  };

  friend class sxd_env;

  kxEventLoop() = default;
  bool Open(event_base *lent);
  void MakeDueCalls();
  void SetTimer(Call &call);
  void Make(std::list<Call>::iterator call);

  std::unique_ptr<event_base, FreeBase> m_own;  // null over a lent loop
  event_base *m_base = nullptr;
  sxd_env *m_env = nullptr;
  int m_numRuns = 0;  // in progress
  Event m_wake;
  std::list<Call> m_waiting;
  std::vector<std::weak_ptr<kxEventClient>> m_clients;  // of the loop's thread, like all above
  static constexpr size_t kFirstSweep = 64;
  size_t m_numClientsToSweep = kFirstSweep;
  int m_wakeFd = -1;  // readable while something was posted
  sxMutex m_mutex;
  std::list<Call> m_posted GUARDED_BY(m_mutex);
  std::atomic<bool> m_closed{false};  // set by the loop's thread, with the mutex: then nothing is posted
};

class sxd_env {
 public:
  explicit sxd_env(std::shared_ptr<kxEventLoop> loop) : m_loop(std::move(loop)) { m_loop->m_env = this; }
  ~sxd_env() { m_loop->Close(); }
  sxd_env(const sxd_env &) = delete;
  sxd_env &operator=(const sxd_env &) = delete;

  const std::shared_ptr<kxEventLoop> &Loop() const { return m_loop; }
  int Post(int delayMs, std::function<void()> call) { return m_loop->Post(delayMs, std::move(call)); }

 private:
  const std::shared_ptr<kxEventLoop> m_loop;
};

#endif
