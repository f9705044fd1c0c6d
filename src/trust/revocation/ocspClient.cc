// Asking responders. An Asking is one question on one environment, with everybody there who waits for its answer;
// whoever asks the same meanwhile joins. It lives in the completion of the fetch that it waits for, and everything
// about it belongs to the loop's thread.
#include <array>
#include <atomic>
#include <chrono>
#include <list>
#include <map>
#include <utility>

#include "kxcert/cert/sxDN.h"
#include "kxcert/keys/sxPubKey.h"
#include "kxcert/platform/clock.h"
#include "kxcert/platform/log.h"
#include "kxcert/trust/ocsp.h"
#include "platform/fetcher_imp.h"
#include "trust/revocation/ocspCertId.h"
#include "trust/sharedRef.h"

namespace {

constexpr char kFunc[] = "sxOcsp_Ask";
constexpr char kContentType[] = "application/ocsp-request";  // RFC 6960, A.1

using Clock = std::chrono::steady_clock;

int MsSince(Clock::time_point start) {
  return static_cast<int>(std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count());
}

// What was asked, with references of its own.
struct Job {
  explicit Job(const sxOcspAsk &asked) : ask(asked), cert(asked.cert), issuer(asked.issuer) {}

  sxOcspQuestion Question(const sxOcspResponder *responder) const {
    sxOcspQuestion question;
    question.cert = cert.get();
    question.issuer = issuer.get();
    question.responder = responder != nullptr ? responder->cert.Get(0) : nullptr;
    question.policy = ask.policy;
    question.timeSec = ask.timeSec != kOcspNoTime ? ask.timeSec : kxClock_Now();
    return question;
  }

  const sxOcspAsk ask;
  const SharedRef<sxCert> cert;
  const SharedRef<sxCert> issuer;
};

bool AnswersFromMemory(const Job &job, sxOcspOutcome *outcome) {
  const auto find = [&](const sxOcspResponder *responder) {
    return sxOcspMemory_Find(job.Question(responder), &outcome->answer, &outcome->octets);
  };
  for (const sxOcspResponder &each : job.ask.responders) {
    if (each.cert.Get(0) != nullptr && find(&each)) return true;
  }
  return find(nullptr);
}

// Equal for questions that have the same answer.
using Key = std::array<unsigned char, 32>;

bool MakeKey(const Job &job, Key *key) {
  std::vector<unsigned char> all(job.cert->GetBuf(), job.cert->GetBuf() + job.cert->BufLen());
  all.insert(all.end(), job.issuer->GetBuf(), job.issuer->GetBuf() + job.issuer->BufLen());
  const auto addText = [&all](const std::string &text) {
    all.insert(all.end(), text.c_str(), text.c_str() + text.size() + 1);
  };
  const sxOcspPolicy &policy = job.ask.policy;
  for (const int number : {static_cast<int>(policy.nonce), policy.certIdDigest, policy.startGraceSec,
                           policy.endGraceSec, policy.maxAgeSec, job.ask.responderTimeoutMs}) {
    addText(std::to_string(number));
  }
  addText(std::to_string(job.ask.timeSec));
  for (const sxOcspResponder &each : job.ask.responders) {
    addText(each.url);
    const sxCert *const cert = each.cert.Get(0);
    addText(std::to_string(cert != nullptr ? cert->BufLen() : 0));
    if (cert != nullptr) all.insert(all.end(), cert->GetBuf(), cert->GetBuf() + cert->BufLen());
  }
  return kx_md_hashbuf(sx_md_sha256, all.data(), all.size(), key->data(), static_cast<int>(key->size())) == 0;
}

class Asking;

std::atomic<int> numWaiting{0};

// Somebody who waits.
class Waiter final : public sxOcspTask, public std::enable_shared_from_this<Waiter> {
 public:
  Waiter(std::shared_ptr<kxEventLoop> loop, sxOcspDone done) : m_loop(std::move(loop)), m_done(std::move(done)) {
    ++numWaiting;
  }
  ~Waiter() override { --numWaiting; }

  void Cancel() override;

  // Once.
  sxOcspDone TakeDone() {
    const sxLock lock(m_mutex);
    return std::exchange(m_done, nullptr);
  }
  bool IsWaiting() {
    const sxLock lock(m_mutex);
    return m_done != nullptr;
  }
  void Answer(const sxOcspOutcome &outcome) {
    const std::shared_ptr<Waiter> self = shared_from_this();
    if (const sxOcspDone done = TakeDone(); done != nullptr) done(outcome);
  }

  std::weak_ptr<Asking> asking;                        // of the loop's thread, like the next
  std::list<std::shared_ptr<Waiter>>::iterator place;  // in the asking's list, as long as it is there

 private:
  const std::shared_ptr<kxEventLoop> m_loop;
  sxMutex m_mutex;
  sxOcspDone m_done GUARDED_BY(m_mutex);  // null once it was called or dropped
};

struct Table {
  sxMutex mutex;
  std::map<std::pair<const kxEventLoop *, Key>, std::weak_ptr<Asking>> underWay GUARDED_BY(mutex);
};

Table &TheTable() {
  static auto *const table = new Table;  // questions may end while static objects go
  return *table;
}

// How much an answer tells when none is good or revoked; of equal ones the first counts.
constexpr int kNothingYet = 0, kNotFetched = 1, kSentSomething = 2, kSaidSomething = 3;

int Weight(const sxOcspAsked &asked) {
  if (asked.result >= sxOcsp_good) return kSaidSomething;
  return asked.fetch == kxFetch_OK ? kSentSomething : kNotFetched;
}

// RFC 5019, 5 wants every responder to know both ways; some only know one. One that did not answer in time is not
// asked again.
bool IsWorthPosting(const sxOcspAsked &asked) {
  return !asked.posted && (asked.fetch == kxFetch_failed || asked.result == sxOcsp_notDecoded ||
                           asked.result == sxOcsp_malformedRequest);
}

class Asking final : public kxEventClient, public std::enable_shared_from_this<Asking> {
 public:
  Asking(std::shared_ptr<kxEventLoop> loop, std::shared_ptr<const Job> job, const Key *key)
      : m_loop(std::move(loop)), m_job(std::move(job)), m_hasKey(key != nullptr) {
    if (key != nullptr) m_key = *key;
  }
  ~Asking() { Forget(); }

  // Joins the one that is under way, or begins it.
  static void Begin(const std::shared_ptr<kxEventLoop> &loop, const std::shared_ptr<const Job> &job,
                    const std::shared_ptr<Waiter> &waiter) {
    Key key;
    const bool hasKey = MakeKey(*job, &key);
    std::shared_ptr<Asking> asking;
    if (hasKey) {
      Table &table = TheTable();
      const sxLock lock(table.mutex);
      const auto known = table.underWay.find({loop.get(), key});
      if (known != table.underWay.end()) asking = known->second.lock();
    }
    if (asking != nullptr) return asking->Join(waiter, job->ask.timeoutMs);
    asking = std::make_shared<Asking>(loop, job, hasKey ? &key : nullptr);
    if (hasKey) {
      Table &table = TheTable();
      const sxLock lock(table.mutex);
      table.underWay[{loop.get(), key}] = asking;
    }
    loop->AddClient(asking);
    asking->Join(waiter, job->ask.timeoutMs);
    asking->Next();
  }

  void Drop(Waiter &waiter) {
    Remove(waiter);
    if (m_waiters.empty()) Stop();
  }

  void EnvironmentGone() override {
    for (const auto &waiter : std::exchange(m_waiters, {})) waiter->TakeDone();
    m_task.reset();
  }

 private:
  void Join(const std::shared_ptr<Waiter> &waiter, int timeoutMs) {
    m_deadline = std::max(m_deadline, Clock::now() + std::chrono::milliseconds(timeoutMs));
    waiter->asking = weak_from_this();
    waiter->place = m_waiters.insert(m_waiters.end(), waiter);
    const auto endLate = [weak = std::weak_ptr<Waiter>(waiter)] {
      const std::shared_ptr<Waiter> late = weak.lock();
      const std::shared_ptr<Asking> asking = late != nullptr ? late->asking.lock() : nullptr;
      if (asking != nullptr) asking->EndLate(*late);
    };
    m_loop->Post(timeoutMs, endLate);
  }

  void Remove(Waiter &waiter) {
    waiter.asking.reset();
    m_waiters.erase(waiter.place);
  }

  void Forget() {
    if (!std::exchange(m_hasKey, false)) return;
    Table &table = TheTable();
    const sxLock lock(table.mutex);
    const auto own = table.underWay.find({m_loop.get(), m_key});
    const std::weak_ptr<Asking> self = weak_from_this();
    if (own != table.underWay.end() && !own->second.owner_before(self) && !self.owner_before(own->second)) {
      table.underWay.erase(own);
    }
  }

  void Stop() {
    Forget();
    if (const std::shared_ptr<kxFetchTask> task = std::exchange(m_task, nullptr)) task->Cancel();
  }

  void EndLate(Waiter &waiter) {
    const std::shared_ptr<Waiter> late = waiter.shared_from_this();
    sxOcspOutcome outcome = m_outcome;
    if (m_responder < m_job->ask.responders.size()) {
      sxOcspAsked asked = Attempt();
      asked.result = sxOcsp_timedOut;
      asked.fetch = kxFetch_timedOut;
      outcome.asked.push_back(std::move(asked));
    }
    if (m_weight < kSentSomething) outcome.answer.result = sxOcsp_timedOut;
    Drop(waiter);
    late->Answer(outcome);
  }

  // To all, one after the other: each may cancel others, ask anew, or destroy the environment.
  void Finish() {
    const std::shared_ptr<Asking> self = shared_from_this();
    Forget();
    while (!m_waiters.empty()) {
      const std::shared_ptr<Waiter> waiter = m_waiters.front();
      Remove(*waiter);
      waiter->Answer(m_outcome);
    }
  }

  // What is told of the attempt that is under way.
  sxOcspAsked Attempt() const {
    const sxOcspResponder &responder = m_job->ask.responders[m_responder];
    sxOcspAsked asked;
    asked.url = responder.url;
    asked.configured = responder.configured;
    asked.posted = m_posts;
    asked.costMs = MsSince(m_started);
    return asked;
  }

  // Until a fetch is begun, or nobody is left to be asked.
  void Next() {
    while (m_responder < m_job->ask.responders.size()) {
      m_started = Clock::now();
      const int leftMs = -MsSince(m_deadline);
      if (leftMs <= 0) break;
      const kxFetchResult begun = Fetch(std::min(leftMs, m_job->ask.responderTimeoutMs));
      if (begun == kxFetch_OK) return;
      sxOcspAsked asked = Attempt();
      asked.fetch = begun;
      asked.why = begun == kxFetch_noFetcher ? "no component that fetches is registered" : "it cannot be asked";
      Keep(std::move(asked), sxOcspAnswer(), nullptr);
    }
    if (m_weight == kNothingYet) m_outcome.answer.result = sxOcsp_timedOut;
    Finish();
  }

  kxFetchResult Fetch(int timeoutMs) {
    const sxOcspResponder &responder = m_job->ask.responders[m_responder];
    const sxOcspSubject subject = {m_job->cert.get(), m_job->issuer.get()};
    if (sxOcsp_MakeRequest({&subject, 1}, m_job->ask.policy, &m_request) != 0) return kxFetch_badRequest;
    kxFetchRequest what;
    what.url = m_posts ? std::string() : sxOcsp_GetUrl(responder.url, m_request.der);
    m_posts = what.url.empty();
    if (m_posts) {
      what.url = responder.url;
      what.body.assign(m_request.der.begin(), m_request.der.end());
      what.contentType = kContentType;
    }
    what.limits = {kMaxOcspResponseLen, timeoutMs};
    const auto done = [self = shared_from_this()](const kxFetchAnswer &answer) { self->Take(answer); };
    return kxFetch_StartOn(m_loop, std::move(what), done, &m_task);
  }

  void Take(const kxFetchAnswer &fetched) {
    m_task.reset();
    sxOcspAsked asked = Attempt();
    asked.fetch = fetched.result;
    asked.why = fetched.reason;
    sxOcspAnswer answer;
    sxOcspKept octets;
    if (fetched.result == kxFetch_OK) {
      sxOcspQuestion question = m_job->Question(&m_job->ask.responders[m_responder]);
      question.nonce = m_request.nonce;
      answer = sxOcspMemory_Take(fetched.octets, fetched.len, question, &octets);
      asked.result = answer.result;
      asked.why = answer.why;
    }
    Keep(std::move(asked), std::move(answer), std::move(octets));
    const bool isDecided = m_outcome.answer.result == sxOcsp_good || m_outcome.answer.result == sxOcsp_revoked;
    if (isDecided) return Finish();
    Next();
  }

  // And goes on to what is asked next.
  void Keep(sxOcspAsked asked, sxOcspAnswer answer, sxOcspKept octets) {
    answer.result = asked.result;
    const bool decides = asked.result == sxOcsp_good || asked.result == sxOcsp_revoked;
    if (decides || Weight(asked) > m_weight) {
      m_weight = Weight(asked);
      m_outcome.answer = std::move(answer);
      m_outcome.octets = std::move(octets);
    }
    m_posts = IsWorthPosting(asked);
    if (!m_posts) ++m_responder;
    m_outcome.asked.push_back(std::move(asked));
  }

  const std::shared_ptr<kxEventLoop> m_loop;
  const std::shared_ptr<const Job> m_job;
  bool m_hasKey;
  Key m_key = {};
  std::list<std::shared_ptr<Waiter>> m_waiters;
  Clock::time_point m_deadline = Clock::time_point::min();
  size_t m_responder = 0;  // that is asked
  bool m_posts = false;    // it is asked by POST
  sxOcspRequest m_request;
  Clock::time_point m_started;
  std::shared_ptr<kxFetchTask> m_task;
  sxOcspOutcome m_outcome;
  int m_weight = kNothingYet;  // of the answer in it
};

void Waiter::Cancel() {
  if (TakeDone() == nullptr) return;
  m_loop->Post(0, [self = shared_from_this()] {
    if (const std::shared_ptr<Asking> asked = self->asking.lock()) asked->Drop(*self);
  });
}

void Begin(const std::shared_ptr<kxEventLoop> &loop, const std::shared_ptr<const Job> &job,
           const std::shared_ptr<Waiter> &waiter) {
  if (!waiter->IsWaiting()) return;
  sxOcspOutcome outcome;
  outcome.fromMemory = job->ask.useMemory && AnswersFromMemory(*job, &outcome);
  if (outcome.fromMemory) return waiter->Answer(outcome);
  outcome.answer.result = sxOcsp_noResponder;
  if (job->ask.responders.empty()) return waiter->Answer(outcome);
  Asking::Begin(loop, job, waiter);
}

bool IsGood(const sxOcspAsk &ask) {
  return ask.cert != nullptr && ask.issuer != nullptr && ask.cert->OK() != 0 && ask.issuer->OK() != 0 &&
         ask.cert->Issuer()->Equal(*ask.issuer->Subject()) && ask.timeoutMs >= 1 && ask.responderTimeoutMs >= 1;
}

}  // namespace

sxOcspTask::~sxOcspTask() = default;

sxOcspResult sxOcsp_Ask(sxd_env *env, const sxOcspAsk &ask, sxOcspDone done, std::shared_ptr<sxOcspTask> *task) {
  const std::shared_ptr<kxEventLoop> loop = env != nullptr ? env->Loop() : nullptr;
  if (loop == nullptr || done == nullptr || !IsGood(ask)) {
    return tderrorFunc("OCSP", 1, 0, "%s: no environment, no completion, or no issuer's certificate", kFunc),
           sxOcsp_badQuestion;
  }
  const auto waiter = std::make_shared<Waiter>(loop, std::move(done));
  if (numWaiting > kMaxOcspUnderWay) return sxOcsp_tooMany;
  const auto job = std::make_shared<const Job>(ask);
  if (loop->Post(0, [loop, job, waiter] { Begin(loop, job, waiter); }) != 0) return sxOcsp_badQuestion;
  if (task != nullptr) *task = waiter;
  return sxOcsp_good;
}

sxOcspOutcome sxOcsp_Wait(const sxOcspAsk &ask) {
  const std::unique_ptr<sxd_env, decltype(&sxd_env_destroy)> env(sxd_env_create(), sxd_env_destroy);
  sxOcspOutcome outcome;
  bool isDone = false;
  const auto finish = [&](const sxOcspOutcome &got) {
    isDone = true;
    outcome = got;
    sxd_env_stop(env.get());
  };
  const sxOcspResult begun = sxOcsp_Ask(env.get(), ask, finish);
  outcome.answer.result = begun;
  while (begun == sxOcsp_good && !isDone && sxd_env_run(env.get()) == 0) continue;
  return outcome;
}
