#include "kxcert/platform/workerPool.h"

#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <latch>
#include <map>
#include <memory>
#include <mutex>
#include <semaphore>
#include <set>
#include <thread>
#include <utility>

#include "support/script.h"

namespace {

constexpr int kLongMs = 20000;

using WaitResults = std::map<int, int>;   // by number
const std::map<int, const char *> kResults = {
    {kRTWaitDone, "done"}, {kRTWaitTimedOut, "late"}, {kRTWaitFailed, "failed"}};

// What a test sees of its work: shared by the clones.
struct Seen {
  std::function<void(int number)> work = [](int) {};
  std::function<void()> answered = [] {};
  std::mutex mutex;
  std::set<std::thread::id> workers;
  WaitResults waitResults;
  std::map<int, bool> ranHere;           // the clone that is told has run
};

class Task : public RTApcServant {
 public:
  Task(Seen *seen, int number) : m_seen(seen), m_number(number) {}
  void task_handler() override {
    {
      const std::lock_guard<std::mutex> lock(m_seen->mutex);
      m_seen->workers.insert(std::this_thread::get_id());
    }
    m_seen->work(m_number);
    m_ran = true;
  }
  void result_handler(int waitResult, RTApc *pool) override {
    EXPECT_NE(nullptr, pool);
    EXPECT_TRUE(m_seen->waitResults.emplace(m_number, waitResult).second) << m_number << " is told twice";
    m_seen->ranHere[m_number] = m_ran;
    m_seen->answered();
  }
  size_t hash() const override { return static_cast<size_t>(m_number); }
  bool operator==(const RTApcServant &other) const override {
    return m_number == static_cast<const Task &>(other).m_number;
  }
  RTApcServant *clone() const override { return new Task(*this); }

 private:
  Seen *m_seen;
  int m_number;
  bool m_ran = false;
};

class Gate {   // holds workers until it opens
 public:
  void Wait() {
    m_waiting.release();
    m_opened.wait();
  }
  void WaitFor(int numWaiting) {
    for (int i = 0; i < numWaiting; ++i) m_waiting.acquire();
  }
  void Open() { m_opened.count_down(); }

 private:
  std::counting_semaphore<> m_waiting{0};
  std::latch m_opened{1};
};

// A pool, its work, and a loop that is told of it.
class Pool {
 public:
  ~Pool() {
    m_pool.reset();
    RTComm_destroy(m_comm);
    sxd_env_destroy(m_env);
  }
  void Start(int numThreads, int waitLimitMs) {
    EXPECT_EQ(0, RTComm_start(m_comm));
    m_pool = std::make_unique<RTApc>(m_comm, numThreads, waitLimitMs);
  }
  void StartHeld(int numThreads, int waitLimitMs) {   // until the gate opens
    Start(numThreads, waitLimitMs);
    m_seen.work = [this](int) { m_gate.Wait(); };
  }
  // Runs the loop until as many were answered.
  std::string RunUntil(size_t numAnswered) {
    m_seen.answered = [this, numAnswered] {
      if (m_seen.waitResults.size() == numAnswered) sxd_env_stop(m_env);
    };
    EXPECT_EQ(0, RunFor(kLongMs));
    return Results();
  }
  int RunFor(int maxMs) { return sxd_env_run_for(m_env, maxMs); }
  int Queue(int number, int timeoutMs) { return m_pool->Queue(Task(&m_seen, number), timeoutMs); }
  void QueueUpTo(int end) {
    for (int i = 0; i < end; ++i) EXPECT_EQ(0, Queue(i, -1));
  }
  // "2 done", "1 late": as many were told so.
  std::string Results() const {
    std::map<std::string, int> counts;
    for (const auto &[number, result] : m_seen.waitResults) ++counts[kResults.at(result)];
    std::string text;
    for (const auto &[result, count] : counts) {
      text += (text.empty() ? "" : ", ") + std::to_string(count) + " " + result;
    }
    return text;
  }
  int SetNumThreads(int number) { return RTApc_SetNumThreads(m_pool.get(), number); }
  void End() { m_pool.reset(); }

  Seen m_seen;
  Gate m_gate;                           // outlives the workers
  sxd_env *m_env = sxd_env_create();
  RTComm *const m_comm = RTComm_create(m_env);
  std::unique_ptr<RTApc> m_pool;
};

// A servant that asks the pool as it goes, whenever that is.
class Asks : public Task {
 public:
  Asks(Seen *seen, int number, RTApc *pool) : Task(seen, number), m_pool(pool) {}
  ~Asks() override { m_pool->NumThreads(); }
  RTApcServant *clone() const override { return new Asks(*this); }

 private:
  RTApc *m_pool;
};

// What a process says that was forked from the pool's: it has no threads, and nobody waits for them.
int AskInChild(Pool &p) {
  const pid_t child = fork();
  if (child == 0) {
    const bool refused = p.m_pool->NumThreads() == 0 && p.Queue(2, -1) == -1 && p.SetNumThreads(1) == -1;
    p.End();
    _exit(refused ? 0 : 1);
  }
  int status = -1;
  EXPECT_EQ(child, waitpid(child, &status, 0));
  return status;
}

TEST(WorkerPool, DoesWhatTheStepsSay) {
  Script()
      .On("Pool", [] { return std::make_unique<Pool>(); })
      .On("start", &Pool::Start)
      .On("startHeld", &Pool::StartHeld)
      .On("throwAtWork", [](Pool &p) { p.m_seen.work = [](int) { throw 1; }; })
      .On("waitForHeld", [](Pool &p, int numWaiting) { p.m_gate.WaitFor(numWaiting); })
      .On("open", [](Pool &p) { p.m_gate.Open(); })
      .On("runUntil", &Pool::RunUntil)
      .On("runFor", &Pool::RunFor)
      .On("queue", &Pool::Queue)
      .On("queueUpTo", &Pool::QueueUpTo)
      .On("queueAsking", [](Pool &p, int number, int timeoutMs) {
        return p.m_pool->Queue(Asks(&p.m_seen, number, p.m_pool.get()), timeoutMs);
      })
      .On("queueWithoutPool", [](Pool &p, bool withChannel) {
        return RTApc(withChannel ? p.m_comm : nullptr, 1, -1).Queue(Task(&p.m_seen, 1), -1);
      })
      .On("results", &Pool::Results)
      .On("resultOf", [](Pool &p, int number) { return kResults.at(p.m_seen.waitResults.at(number)); })
      .On("forgetResults", [](Pool &p) { p.m_seen.waitResults.clear(); })
      .On("numWorkers", [](Pool &p) {
        EXPECT_FALSE(p.m_seen.workers.contains(std::this_thread::get_id()));
        return p.m_seen.workers.size();
      })
      .On("ranHere", [](Pool &p, int number) { return p.m_seen.ranHere.at(number); })
      .On("setNumThreads", &Pool::SetNumThreads)
      .On("numThreads", [](Pool &p) { return p.m_pool->NumThreads(); })
      .On("end", &Pool::End)
      .On("endAtAResult", [](Pool &p) {
        p.m_seen.answered = [&p] {
          const std::unique_ptr<RTApc> ends = std::move(p.m_pool);   // null from the second on
          sxd_env_stop(p.m_env);
        };
      })
      .On("askAtEachResult", [](Pool &p) {   // which may be told when it ends
        p.m_seen.answered = [&p, pool = p.m_pool.get()] {
          EXPECT_EQ(-1, pool->Queue(Task(&p.m_seen, 100), -1));
          EXPECT_EQ(-1, RTApc_SetNumThreads(pool, 4));
        };
      })
      .On("destroyEnvironment", [](Pool &p) { sxd_env_destroy(std::exchange(p.m_env, nullptr)); })
      .On("askInChild", AskInChild)
      .On("startNoChannel", [] { return RTComm_start(nullptr); })
      .On("createNoChannel", [] { return RTComm_create(nullptr); })
      .Run("platform/workerPool.steps");
}

}  // namespace
