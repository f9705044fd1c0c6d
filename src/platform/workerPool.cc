#include "kxcert/platform/workerPool.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <list>
#include <map>
#include <new>
#include <thread>
#include <unordered_map>
#include <utility>
#include <vector>

#include "eventEnv_imp.h"
#include "platform/guarded.h"
#include "threadEnd.h"

// Shared with the pools on it, so that they may end later.
struct kxResultChannel {
  std::shared_ptr<kxEventLoop> loop;
  bool started;
};
struct RTComm {
  std::shared_ptr<kxResultChannel> channel;
};

RTComm *RTComm_create(sxd_env *env) try {
  if (env == nullptr) return nullptr;
  return new RTComm{std::make_shared<kxResultChannel>(kxResultChannel{env->Loop(), false})};
} catch (const std::bad_alloc &) { return nullptr; }

int RTComm_start(RTComm *comm) {
  if (comm == nullptr) return -1;
  comm->channel->started = true;
  return 0;
}

void RTComm_destroy(RTComm *comm) { const std::unique_ptr<RTComm> gone(comm); }

RTApcServant::~RTApcServant() = default;

namespace {

using Clock = std::chrono::steady_clock;

struct Job {
  std::unique_ptr<RTApcServant> servant;
  uint64_t number;
  bool handled;  // the handler returned
};

struct Hash {
  size_t operator()(const RTApcServant *servant) const { return servant->hash(); }
};
struct Equal {
  bool operator()(const RTApcServant *a, const RTApcServant *b) const { return *a == *b; }
};

}  // namespace

// Shared with the workers and with what is posted to the environment, so that neither depends on when
// the pool ends.
class RTApc_imp final : public kxEventClient, public std::enable_shared_from_this<RTApc_imp> {
 public:
  RTApc_imp(RTApc *owner, std::shared_ptr<kxResultChannel> results, int limitMs)
      : pool(owner), channel(std::move(results)), waitLimitMs(limitMs) {}

  struct Worker {
    std::thread thread;
    bool ended = false;
  };
  // Keyed by the clone that waits, which the entry owns.
  struct Entry {
    std::unique_ptr<RTApcServant> servant;
    uint64_t number;
    std::multimap<Clock::time_point, const RTApcServant *>::iterator deadline;
  };

  // Of the loop's thread:
  RTApc *pool;                                     // null once it ended
  const std::shared_ptr<kxResultChannel> channel;  // null: no work is taken
  const int waitLimitMs;
  const pid_t process = getpid();         // a child has neither the threads nor sound mutexes
  std::shared_ptr<RTApc_imp> keptBefore;  // once it is kept itself
  bool refuses = false;                   // it ends, or was abandoned
  uint64_t nextNumber = 0;
  std::unordered_map<const RTApcServant *, Entry, Hash, Equal> waiting;
  std::multimap<Clock::time_point, const RTApcServant *> deadlines;
  Clock::time_point timerDue = Clock::time_point::max();  // of the earliest timer that is set

  sxMutex mutex;
  std::condition_variable changed;
  std::list<Worker> workers GUARDED_BY(mutex);
  int numWanted GUARDED_BY(mutex) = 0;
  int numRunning GUARDED_BY(mutex) = 0;
  bool ending GUARDED_BY(mutex) = false;
  bool abandoned GUARDED_BY(mutex) = false;  // nobody wants results
  std::list<Job> queued GUARDED_BY(mutex);
  std::list<Job> done GUARDED_BY(mutex);

  int SetNumThreads(int numThreads);
  void Work(std::list<Worker>::iterator self);
  void WakeLoop() noexcept;
  void JoinEnded();
  int Queue(const RTApcServant &work, int timeoutMs);
  void SetTimer();
  void HandleResults();
  void HandleTimeouts();
  void Answer(std::unordered_map<const RTApcServant *, Entry, Hash, Equal>::iterator entry, RTApcServant *finished,
              int waitResult);
  bool TakesWork() const { return channel != nullptr && !refuses && !IsInherited(); }
  bool IsInherited() const { return process != getpid(); }
  void Abandon();
  void EnvironmentGone() override { Abandon(); }
  void End();
};

namespace {

// What a child has of its parent's pools: their threads can be neither joined nor let go of. Never destroyed.
union Kept {
  constexpr Kept() : last() {}
  ~Kept() {}
  std::shared_ptr<RTApc_imp> last;  // and, linked, those before it
};
constinit Kept g_kept;

}  // namespace

int RTApc_imp::SetNumThreads(int numThreads) {
  const sxLock lock(mutex);
  numWanted = numThreads;
  while (numRunning < numWanted) {
    const auto self = workers.emplace(workers.end());
    try {
      self->thread = std::thread([imp = shared_from_this(), self] { imp->Work(self); });
    } catch (const std::exception &) {  // no thread, or no memory
      workers.erase(self);
      numWanted = numRunning;
      return -1;
    }
    ++numRunning;
  }
  changed.notify_all();
  return 0;
}

void RTApc_imp::Work(std::list<Worker>::iterator self) {
  sxLock lock(mutex);
  for (;;) {
    while (queued.empty() && !ending && numRunning <= numWanted) changed.wait(lock.ForWaiting());
    if (numRunning > numWanted || queued.empty()) break;
    std::list<Job> job;
    job.splice(job.end(), queued, queued.begin());
    lock.Unlock();
    try {
      job.front().servant->task_handler();
      job.front().handled = true;
    } catch (...) {
      // The one that waits is told.
    }
    lock.Lock();
    // Also what nobody wants: the last reference to a key is dropped on the loop's thread, as all others are.
    done.splice(done.end(), job);
    if (!abandoned) WakeLoop();
  }
  --numRunning;
  self->ended = true;
}

void RTApc_imp::WakeLoop() noexcept try {
  static_cast<void>(channel->loop->Post(0, [imp = shared_from_this()] { imp->HandleResults(); }));
} catch (const std::bad_alloc &) {
  // The next result or the time limit brings this one along.
}

void RTApc_imp::JoinEnded() {
  std::list<Worker> ended;
  {
    const sxLock lock(mutex);
    for (auto worker = workers.begin(); worker != workers.end();) {
      const auto next = std::next(worker);
      if (worker->ended) ended.splice(ended.end(), workers, worker);
      worker = next;
    }
  }
  for (Worker &worker : ended) worker.thread.join();
}

int RTApc_imp::Queue(const RTApcServant &work, int timeoutMs) try {
  if (!TakesWork() || !channel->started || waiting.count(&work) != 0) return -1;
  std::list<Job> job(1);
  job.front() = {std::unique_ptr<RTApcServant>(work.clone()), nextNumber, false};
  std::unique_ptr<RTApcServant> waiter(work.clone());
  if (timeoutMs < 0 || (waitLimitMs >= 0 && waitLimitMs < timeoutMs)) timeoutMs = waitLimitMs;
  const auto due = timeoutMs < 0 ? Clock::time_point::max() : Clock::now() + std::chrono::milliseconds(timeoutMs);
  const RTApcServant *const key = waiter.get();
  const auto deadline = deadlines.emplace(due, key);
  try {
    waiting.emplace(key, Entry{std::move(waiter), nextNumber, deadline});
  } catch (...) {
    deadlines.erase(deadline);
    throw;
  }
  ++nextNumber;
  SetTimer();
  const sxLock lock(mutex);
  queued.splice(queued.end(), job);
  changed.notify_one();
  return 0;
} catch (const std::bad_alloc &) { return -1; }

// One timer, for the earliest deadline; those that later ones replaced find nothing to do.
void RTApc_imp::SetTimer() {
  if (deadlines.empty() || deadlines.begin()->first >= timerDue) return;
  const Clock::time_point due = deadlines.begin()->first;
  const auto leftMs = std::chrono::ceil<std::chrono::milliseconds>(due - Clock::now()).count();
  const auto handle = [imp = weak_from_this(), due] {
    const std::shared_ptr<RTApc_imp> self = imp.lock();
    if (self == nullptr) return;
    if (self->timerDue == due) self->timerDue = Clock::time_point::max();
    self->HandleTimeouts();
  };
  if (channel->loop->Post(static_cast<int>(std::max<decltype(leftMs)>(leftMs, 0)), handle) == 0) timerDue = due;
}

void RTApc_imp::HandleResults() {
  JoinEnded();
  while (pool != nullptr) {  // a result handler may end the pool
    std::list<Job> job;
    {
      const sxLock lock(mutex);
      if (done.empty()) return;
      job.splice(job.end(), done, done.begin());
    }
    const auto entry = waiting.find(job.front().servant.get());
    if (entry == waiting.end() || entry->second.number != job.front().number) continue;  // answered already
    if (job.front().handled) {
      Answer(entry, job.front().servant.get(), kRTWaitDone);
    } else {
      Answer(entry, nullptr, kRTWaitFailed);
    }
  }
}

void RTApc_imp::HandleTimeouts() {
  HandleResults();  // what is done is not late
  while (pool != nullptr && !deadlines.empty() && deadlines.begin()->first <= Clock::now()) {
    const auto entry = waiting.find(deadlines.begin()->second);
    std::list<Job> dropped;  // without the lock: a servant may ask the pool as it goes
    {
      const sxLock lock(mutex);
      const auto late = std::find_if(queued.begin(), queued.end(),
                                     [&entry](const Job &job) { return job.number == entry->second.number; });
      if (late != queued.end()) dropped.splice(dropped.end(), queued, late);
    }
    Answer(entry, nullptr, kRTWaitTimedOut);
  }
  if (pool != nullptr) SetTimer();
}

// Tells the clone that is finished, or else the one that waited.
void RTApc_imp::Answer(std::unordered_map<const RTApcServant *, Entry, Hash, Equal>::iterator entry,
                       RTApcServant *finished, int waitResult) {
  deadlines.erase(entry->second.deadline);
  const std::unique_ptr<RTApcServant> waiter = std::move(entry->second.servant);
  waiting.erase(entry);
  (finished != nullptr ? finished : waiter.get())->result_handler(waitResult, pool);
}

// Nobody is told any more: what was not begun is not begun, and all of it goes without an answer.
void RTApc_imp::Abandon() {
  if (IsInherited()) return;
  refuses = true;
  std::list<Job> dropped;
  {
    const sxLock lock(mutex);
    ending = abandoned = true;
    dropped.swap(queued);
    dropped.splice(dropped.end(), done);
    changed.notify_all();
  }
  deadlines.clear();
  const auto unanswered = std::exchange(waiting, {});
}

void RTApc_imp::End() {
  if (kxThread_IsEnding()) Abandon();  // after main nobody is called
  refuses = true;
  std::list<Worker> ended;
  {
    const sxLock lock(mutex);
    ending = true;
    changed.notify_all();
    ended.swap(workers);
  }
  for (Worker &worker : ended) worker.thread.join();
  HandleResults();
  while (!waiting.empty()) Answer(waiting.begin(), nullptr, kRTWaitFailed);
  pool = nullptr;
}

RTApc::RTApc(RTComm *comm, int numThreads, int waitLimitMs)
    : m_imp(std::make_shared<RTApc_imp>(this, comm == nullptr ? nullptr : comm->channel, waitLimitMs)) {
  if (comm == nullptr) return;
  kxThread_WatchEnd();
  comm->channel->loop->AddClient(m_imp);
  static_cast<void>(m_imp->SetNumThreads(std::clamp(numThreads, 0, kMaxThreads)));
}

RTApc::~RTApc() {
  if (!m_imp->IsInherited()) {
    m_imp->End();
    return;
  }
  m_imp->keptBefore = std::exchange(g_kept.last, m_imp);
}

void RTApc::Abandon() { m_imp->Abandon(); }

bool RTApc::IsInherited() const { return m_imp->IsInherited(); }

int RTApc::NumThreads() const {
  if (IsInherited()) return 0;
  const sxLock lock(m_imp->mutex);
  return m_imp->numWanted;
}

int RTApc::Queue(const RTApcServant &work, int timeoutMs) {
  return NumThreads() == 0 ? -1 : m_imp->Queue(work, timeoutMs);
}

int RTApc_SetNumThreads(RTApc *pool, int numThreads) {
  if (pool == nullptr || !pool->m_imp->TakesWork() || numThreads <= 0 || numThreads > RTApc::kMaxThreads) return -1;
  pool->m_imp->JoinEnded();
  return pool->m_imp->SetNumThreads(numThreads);
}
