/// @file
/// The component: who asks for what, what is under way, whose turn it is.
#ifndef KXCERT_SRC_FETCH_ENGINE_H_
#define KXCERT_SRC_FETCH_ENGINE_H_

#include <curl/curl.h>

#include <cstdint>
#include <deque>
#include <list>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

#include "fetch/answerOctets.h"
#include "fetch/failureMemory.h"
#include "fetch/hop.h"
#include "fetch/settings.h"
#include "platform/guarded.h"

/// Askers reach it through an inbox; everything else belongs to its thread.
class kxFetchEngine final : public kxFetcher {
 public:
  kxFetchEngine(const kxFetchSettings &settings, const Proxies &proxies);
  ~kxFetchEngine() override;

  void Begin(const std::shared_ptr<kxFetchTask> &task) override;
  void Cancel(kxFetchTask &task) override;
  /// Ends the thread and answers whoever waits; for good. Not on that thread.
  void Stop();
  kxFetchCounters Counters() const;

 private:
  using Task = std::shared_ptr<kxFetchTask>;
  // A task is begun, or, when there is none, that one is cancelled. One that was begun is held until its cancelling
  // was read, so that no other has its place in memory before.
  struct Letter {
    Task begun;
    const kxFetchTask *cancelled = nullptr;
    int64_t atMs = 0;  // when it was written: an asker's time does not begin later
  };
  struct Asker {
    Task task;
    int64_t deadlineMs = 0;
  };
  // What equal requests share.
  struct Job {
    std::string key;                                // of what makes requests equal
    std::string failureKey;                         // of URL and body
    std::shared_ptr<const kxFetchRequest> request;  // of the first asker
    std::map<const kxFetchTask *, Asker> askers;
    std::multiset<size_t> maxLens;       // of the askers
    std::multiset<int64_t> deadlinesMs;  // of the askers
    size_t maxLen = 0;                   // the largest, as long as there is one; so is the deadline
    int64_t begunMs = 0;
    int64_t deadlineMs = 0;
    std::vector<Target> targets;
    size_t target = 0;  // the one that is asked
    int numRedirects = 0;
    std::unique_ptr<Hop> hop;  // null while it waits for its turn
    int64_t hopBegunMs = 0;
    bool isWaiting = false;
    bool isBegun = false;              // a hop of it was
    std::list<Job *>::iterator place;  // while it waits
  };

  // Any thread.
  bool Launch() REQUIRES(m_mutex);
  void Post(const Task &begun, const kxFetchTask *cancelled) REQUIRES(m_mutex);
  void Count(uint64_t kxFetchCounters::*counter, size_t number = 1);

  // Its own thread.
  void Run();
  bool TakeLetters();
  void Turn();
  int PollMs() const;
  void Admit(const Task &task, int64_t atMs);
  void Join(Job &job, const Task &task, int64_t atMs);
  void Leave(const kxFetchTask *task);
  void SetLimits(Job &job);
  void StartThoseThatMay();
  bool MayStart(const Job &job) const;
  std::string WhyItWaits(const Job &job) const;
  void Start(Job &job);
  void Wait(Job &job, std::list<Job *>::iterator before);
  void EndLate();
  void EndOverrun();
  void EndDone();
  void GoOn(Job &job, HopEnd end);
  bool Redirect(Job &job, HopEnd &end);
  void EndHop(Job &job);
  void EndGivenUp(const CURL *handle, CURLcode code);
  void Finish(Job &job, const HopEnd &end);
  void AnswerAll(Job &job, const HopEnd &end);
  void AnswerOne(const Task &task, const HopEnd &end);
  void Drop(Job &job);
  void EndAll();
  bool IsServersFault(const Job &job, const HopEnd &end) const;
  bool IsLast(const Job &job) const { return job.target + 1 == job.targets.size(); }
  int64_t DeadlineMs(const Job &job) const;
  bool IsRemembered(const std::string &key, size_t maxLen, HopEnd &end);

  const kxFetchSettings m_settings;
  const Proxies m_proxies;

  mutable sxMutex m_mutex;
  std::vector<Letter> m_letters GUARDED_BY(m_mutex);
  kxFetchCounters m_counters GUARDED_BY(m_mutex);
  int m_numAskers GUARDED_BY(m_mutex) = 0;
  bool m_isStopping GUARDED_BY(m_mutex) = false;
  CURLM *m_wakeable GUARDED_BY(m_mutex) = nullptr;  // while the thread can be woken
  std::thread m_thread GUARDED_BY(m_mutex);

  CURLM *m_multi = nullptr;
  Sockets m_sockets;
  AnswerRoom m_room;
  FailureMemory m_failures;
  std::map<std::string, std::unique_ptr<Job>> m_jobs;
  std::unordered_map<const kxFetchTask *, Job *> m_byTask;
  std::list<Job *> m_waiting;
  std::map<CURL *, Job *> m_running;
  std::map<std::string, int> m_runningOfHost;
  std::map<std::string, std::unique_ptr<Hop>> m_givenUp;  // by host; they still look it up
  std::deque<int64_t> m_lookUps;                          // that go on without their hop: until when at most
  int64_t m_nowMs = 0;
  int64_t m_nextDeadlineMs = INT64_MAX;  // not after the first one
  bool m_isTurnFree = false;             // something may start that could not before
};

#endif
