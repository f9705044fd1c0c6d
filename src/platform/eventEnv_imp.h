/// @file
/// The environment behind eventEnv.h, for those that post closures.
#ifndef KXCERT_SRC_PLATFORM_EVENTENV_IMP_H_
#define KXCERT_SRC_PLATFORM_EVENTENV_IMP_H_

#include <chrono>
#include <functional>
#include <list>
#include <memory>
#include <mutex>

#include "kxcert/platform/eventEnv.h"

struct event;

class sxd_env {
 public:
  /// @param lent  the loop to use; null makes one
  static std::unique_ptr<sxd_env> New(event_base *lent);
  ~sxd_env();

  /// What the closure holds goes when it was called or dropped. Any thread.
  int Post(int delayMs, std::function<void()> call);
  int Run(int maxMs);                    ///< negative: no limit
  void Stop();                           ///< any thread

 private:
  using Clock = std::chrono::steady_clock;
  struct FreeBase { void operator()(event_base *base) const; };
  struct FreeEvent { void operator()(event *entry) const; };
  using Event = std::unique_ptr<event, FreeEvent>;
  struct Call {
    std::function<void()> function;
    Clock::time_point due;               // min(): as soon as the loop gets to it
    sxd_env *env = nullptr;              // these while a timer is set
    std::list<Call>::iterator self;
    Event timer;
  };

  sxd_env() = default;
  bool Open(event_base *lent);
  void MakeDueCalls();
  void SetTimer(Call &call);
  void Make(std::list<Call>::iterator call);

  std::unique_ptr<event_base, FreeBase> m_own;   // null over a lent loop
  event_base *m_base = nullptr;
  int m_wakeFd = -1;                             // readable while something was posted
  Event m_wake;
  std::list<Call> m_waiting;                     // of the loop's thread, like all above
  std::mutex m_mutex;                            // guards what follows
  std::list<Call> m_posted;
};

#endif
