#include "kxcert/platform/workerPool.h"

#include <gtest/gtest.h>
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

namespace {

constexpr int kLongMs = 20000;

using WaitResults = std::map<int, int>;   // by number

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

class WorkerPool : public testing::Test {
 protected:
  ~WorkerPool() override {
    m_pool.reset();
    RTComm_destroy(m_comm);
    sxd_env_destroy(m_env);
  }
  void Start(int numThreads, int waitLimitMs = -1) {
    EXPECT_EQ(0, RTComm_start(m_comm));
    m_pool = std::make_unique<RTApc>(m_comm, numThreads, waitLimitMs);
  }
  void StartHeld(int numThreads, int waitLimitMs = -1) {   // until the gate opens
    Start(numThreads, waitLimitMs);
    m_seen.work = [this](int) { m_gate.Wait(); };
  }
  // Runs the loop until as many were answered.
  void RunUntil(size_t numAnswered) {
    m_seen.answered = [this, numAnswered] {
      if (m_seen.waitResults.size() == numAnswered) sxd_env_stop(m_env);
    };
    EXPECT_EQ(0, sxd_env_run_for(m_env, kLongMs));
    EXPECT_EQ(numAnswered, m_seen.waitResults.size());
  }
  void RunFor(int maxMs) { EXPECT_EQ(0, sxd_env_run_for(m_env, maxMs)); }
  void QueueUpTo(int end) {
    for (int i = 0; i < end; ++i) EXPECT_EQ(0, Queue(i));
  }
  int Queue(int number, int timeoutMs = -1) { return m_pool->Queue(Task(&m_seen, number), timeoutMs); }

  Seen m_seen;
  Gate m_gate;                           // outlives the workers
  sxd_env *m_env = sxd_env_create();
  RTComm *const m_comm = RTComm_create(m_env);
  std::unique_ptr<RTApc> m_pool;
};

TEST_F(WorkerPool, WorksOnThreadsAndAnswersOnTheLoop) {
  StartHeld(3);
  QueueUpTo(3);
  EXPECT_EQ(-1, Queue(1)) << "equal work waits already";
  m_gate.WaitFor(3);
  m_gate.Open();
  RunUntil(3);
  EXPECT_EQ(3U, m_seen.workers.size());
  EXPECT_EQ(0U, m_seen.workers.count(std::this_thread::get_id()));
  EXPECT_EQ((WaitResults{{0, kRTWaitDone}, {1, kRTWaitDone}, {2, kRTWaitDone}}), m_seen.waitResults);
  EXPECT_TRUE(m_seen.ranHere[0] && m_seen.ranHere[1] && m_seen.ranHere[2]);
  EXPECT_EQ(0, Queue(4)) << "and goes on";
  RunUntil(4);
}

TEST_F(WorkerPool, DropsWhatComesTooLate) {
  StartHeld(1);
  EXPECT_EQ(0, Queue(1, 20));
  EXPECT_EQ(0, Queue(2, 30)) << "never begun";
  RunUntil(2);
  EXPECT_EQ((WaitResults{{1, kRTWaitTimedOut}, {2, kRTWaitTimedOut}}), m_seen.waitResults);
  EXPECT_FALSE(m_seen.ranHere[1]);
  m_seen.waitResults.clear();
  EXPECT_EQ(0, Queue(1)) << "the same again, while the first still runs";
  m_gate.Open();
  RunUntil(1);
  RunFor(20);
  EXPECT_EQ(kRTWaitDone, m_seen.waitResults[1]);
}

TEST_F(WorkerPool, ThePoolsLimitHoldsForAll) {
  StartHeld(1, 20);
  EXPECT_EQ(0, Queue(1));
  EXPECT_EQ(0, Queue(2, kLongMs));
  RunUntil(2);
  EXPECT_EQ((WaitResults{{1, kRTWaitTimedOut}, {2, kRTWaitTimedOut}}), m_seen.waitResults);
  m_gate.Open();
}

TEST_F(WorkerPool, TellsOfWorkThatThrows) {
  Start(1);
  m_seen.work = [](int) { throw 1; };
  EXPECT_EQ(0, Queue(1));
  RunUntil(1);
  EXPECT_EQ(kRTWaitFailed, m_seen.waitResults[1]);
}

TEST_F(WorkerPool, GrowsAndShrinksAtWork) {
  StartHeld(1);
  QueueUpTo(8);
  EXPECT_EQ(0, RTApc_SetNumThreads(m_pool.get(), 4));
  m_gate.WaitFor(4);
  EXPECT_EQ(0, RTApc_SetNumThreads(m_pool.get(), 2));
  m_gate.Open();
  RunUntil(8);
  EXPECT_EQ(2, m_pool->NumThreads());
  for (const int bad : {0, -1, RTApc::kMaxThreads + 1}) EXPECT_EQ(-1, RTApc_SetNumThreads(m_pool.get(), bad));
}

TEST_F(WorkerPool, EndsWithEverythingAnswered) {
  Start(2);
  QueueUpTo(50);
  m_pool.reset();   // the loop does not run
  EXPECT_EQ(50U, m_seen.waitResults.size());
  for (const auto &[number, waitResult] : m_seen.waitResults) EXPECT_EQ(kRTWaitDone, waitResult);
  RunFor(0);
  EXPECT_EQ(50U, m_seen.waitResults.size());
}

TEST_F(WorkerPool, AResultMayEndThePool) {
  Start(2);
  m_seen.answered = [this] {
    const std::unique_ptr<RTApc> ends = std::move(m_pool);   // null from the second on
    sxd_env_stop(m_env);
  };
  QueueUpTo(10);
  EXPECT_EQ(0, sxd_env_run_for(m_env, kLongMs));
  EXPECT_EQ(10U, m_seen.waitResults.size());
}

TEST_F(WorkerPool, AResultCannotQueueIntoAPoolThatEnds) {
  Start(2);
  RTApc *const pool = m_pool.get();
  m_seen.answered = [this, pool] {
    EXPECT_EQ(-1, pool->Queue(Task(&m_seen, 100), -1));
    EXPECT_EQ(-1, RTApc_SetNumThreads(pool, 4));
  };
  QueueUpTo(10);
  m_pool.reset();
  EXPECT_EQ(10U, m_seen.waitResults.size());
}

// A servant that asks the pool as it goes, whenever that is.
TEST_F(WorkerPool, DropsServantsWithoutItsLock) {
  class Asks : public Task {
   public:
    Asks(Seen *seen, int number, RTApc *pool) : Task(seen, number), m_pool(pool) {}
    ~Asks() override { m_pool->NumThreads(); }
    RTApcServant *clone() const override { return new Asks(*this); }

   private:
    RTApc *m_pool;
  };
  StartHeld(1);
  EXPECT_EQ(0, Queue(1));
  EXPECT_EQ(0, m_pool->Queue(Asks(&m_seen, 2, m_pool.get()), 20));
  RunUntil(1);
  EXPECT_EQ(kRTWaitTimedOut, m_seen.waitResults[2]);
  m_gate.Open();
}

TEST_F(WorkerPool, TheEnvironmentMayGoFirst) {
  StartHeld(2);
  for (int i = 0; i < 10; ++i) EXPECT_EQ(0, Queue(i, i == 9 ? 1 : -1));
  m_gate.WaitFor(2);
  sxd_env_destroy(std::exchange(m_env, nullptr));
  EXPECT_EQ(-1, Queue(10));
  m_gate.Open();
  m_pool.reset();
  EXPECT_EQ(2U, m_seen.workers.size());
  EXPECT_TRUE(m_seen.waitResults.empty()) << "nobody is told";
}

TEST_F(WorkerPool, StaysWithTheParent) {
  StartHeld(2);
  EXPECT_EQ(0, Queue(1));
  const pid_t child = fork();
  if (child == 0) {
    const bool refused = m_pool->NumThreads() == 0 && Queue(2) == -1 && RTApc_SetNumThreads(m_pool.get(), 1) == -1;
    m_pool.reset();                      // must not wait for threads that are not here
    _exit(refused ? 0 : 1);
  }
  int status = -1;
  ASSERT_EQ(child, waitpid(child, &status, 0));
  EXPECT_EQ(0, status);
  m_gate.Open();
  RunUntil(1);
}

TEST_F(WorkerPool, RefusesWithoutThreadsOrChannel) {
  EXPECT_EQ(-1, RTApc(m_comm, 1, -1).Queue(Task(&m_seen, 1), -1)) << "the channel is not started";
  Start(0);
  EXPECT_EQ(-1, Queue(1));
  EXPECT_EQ(-1, RTApc(nullptr, 1, -1).Queue(Task(&m_seen, 1), -1));
  EXPECT_EQ(-1, RTComm_start(nullptr));
  EXPECT_EQ(nullptr, RTComm_create(nullptr));
  EXPECT_TRUE(m_seen.waitResults.empty());
}

}  // namespace
