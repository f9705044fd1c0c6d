#include "fetch/engine.h"

#include <signal.h>

#include <algorithm>
#include <chrono>
#include <climits>
#include <system_error>
#include <utility>

#include "kxcert/platform/digest.h"
#include "kxcert/platform/log.h"

namespace {

constexpr char kTopic[] = "FETCH";
constexpr int kIdleMs = 60'000;
constexpr int kStepMs = 10;       // between two looks at what does not go through libcurl
constexpr int kMaxAnswerMs = 50;  // is left for an answer to be there before its asker's own time is up
// A server that lets the time run out was given this much at least, or is not blamed; a little less than the five
// seconds that many ask with.
constexpr int kPatienceMs = 4'500;
constexpr size_t kMaxLookUps = 64;  // that go on although nobody waits for them
constexpr int64_t kLookUpMs = 30'000;
constexpr char kEnded[] = "the fetching component ended";

int64_t NowMs() {
  using std::chrono::duration_cast, std::chrono::milliseconds, std::chrono::steady_clock;
  return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

bool InitLibrary() {
  static const bool isInit = curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK;  // for the life of the process
  return isInit;
}

std::string DigestOf(const std::string &text) {
  unsigned char digest[32];
  if (text.empty() || kx_md_hashbuf(sx_md_sha256, text.data(), text.size(), digest, sizeof digest) != 0) return text;
  return {digest, std::end(digest)};
}

std::string FailureKeyOf(const kxFetchRequest &request) { return request.url + "\n" + DigestOf(request.body); }
std::string KeyOf(const kxFetchRequest &request) {
  return FailureKeyOf(request) + "\n" + request.contentType + "\n" + request.known.entityTag + "\n" +
         request.known.lastModified;
}
// URLs hold no line feed, so that the two kinds of keys differ.
std::string ServerKeyOf(const Target &target) { return "\n" + target.server; }

HopEnd EndOf(kxFetchResult result, const std::string &reason) {
  HopEnd end;
  end.result = result;
  end.reason = reason;
  return end;
}

void Lend(const HopEnd &end, kxFetchAnswer &answer) {
  answer.result = end.result;
  answer.reason = end.reason;
  answer.version = end.version;
  answer.octets = end.octets.get();
  answer.len = end.len;
  answer.keeper = end.octets;  // one for all who asked
}

HopEnd OursOf(kxFetchResult result, const std::string &reason) {
  HopEnd end = EndOf(result, reason);
  end.isOurs = true;
  return end;
}

bool IsSuccess(const HopEnd &end) { return end.result == kxFetch_OK || end.result == kxFetch_unchanged; }

// When it is answered: a little before the asker's own timer ends it with fewer words.
int64_t DeadlineOf(const kxFetchRequest &request, int64_t begunMs) {
  const int timeoutMs = std::min(request.limits.timeoutMs, kMaxFetchMs);
  return begunMs + timeoutMs - std::min(timeoutMs / 10, kMaxAnswerMs);
}

}  // namespace

kxFetchEngine::kxFetchEngine(const kxFetchSettings &settings, const Proxies &proxies)
    : m_settings(settings),
      m_proxies(proxies),
      m_room(settings.maxOctets),
      m_failures(settings.firstPauseMs, settings.longestPauseMs, settings.maxFailures) {}

kxFetchEngine::~kxFetchEngine() = default;

void kxFetchEngine::Begin(const Task &task) {
  const char *whyNot = kEnded;
  {
    const sxLock lock(m_mutex);
    if (!m_isStopping) {
      whyNot = m_numAskers >= m_settings.maxAskers ? "too many requests" : Launch() ? nullptr : "no thread";
      if (whyNot == nullptr) {
        ++m_numAskers;
        return Post(task, nullptr);
      }
      m_counters.turnedAway += 1;
    }
  }
  kxFetchAnswer answer;
  answer.reason = whyNot;
  task->Answer(answer);
}

void kxFetchEngine::Cancel(kxFetchTask &task) {
  const sxLock lock(m_mutex);
  if (!m_isStopping && m_thread.joinable()) Post(nullptr, &task);
}

void kxFetchEngine::Stop() {
  std::thread thread;
  {
    const sxLock lock(m_mutex);
    m_isStopping = true;
    if (m_wakeable != nullptr) curl_multi_wakeup(m_wakeable);
    thread = std::move(m_thread);
  }
  if (thread.joinable()) thread.join();
}

kxFetchCounters kxFetchEngine::Counters() const {
  const sxLock lock(m_mutex);
  return m_counters;
}

bool kxFetchEngine::Launch() {
  if (m_thread.joinable()) return true;
  // Signals are other threads' business; what a closed connection would raise is told by errors.
  sigset_t all, before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  try {
    m_thread = std::thread([this] { Run(); });
  } catch (const std::system_error &) { tderrorFunc(kTopic, 1, 0, "kxFetchEngine: no thread"); }
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  return m_thread.joinable();
}

void kxFetchEngine::Post(const Task &begun, const kxFetchTask *cancelled) {
  m_letters.push_back({begun, cancelled, NowMs()});
  if (m_letters.size() == 1 && m_wakeable != nullptr) curl_multi_wakeup(m_wakeable);
}

void kxFetchEngine::Count(uint64_t kxFetchCounters::*counter, size_t number) {
  const sxLock lock(m_mutex);
  m_counters.*counter += number;
}

void kxFetchEngine::Run() {
  m_multi = InitLibrary() ? curl_multi_init() : nullptr;
  {
    const sxLock lock(m_mutex);
    m_wakeable = m_multi;
    if (m_multi == nullptr) m_isStopping = true;
  }
  while (TakeLetters()) {
    Turn();
    curl_multi_poll(m_multi, nullptr, 0, PollMs(), nullptr);
  }
  {
    const sxLock lock(m_mutex);
    m_wakeable = nullptr;
  }
  EndAll();
  curl_multi_cleanup(m_multi);  // null is fine
}

bool kxFetchEngine::TakeLetters() {
  std::vector<Letter> letters;
  bool isStopping;
  {
    const sxLock lock(m_mutex);
    letters.swap(m_letters);
    isStopping = m_isStopping;
  }
  m_nowMs = NowMs();
  for (const Letter &letter : letters) {
    if (letter.begun == nullptr)
      Leave(letter.cancelled);
    else if (isStopping)
      AnswerOne(letter.begun, EndOf(kxFetch_failed, kEnded));
    else
      Admit(letter.begun, letter.atMs);
  }
  return !isStopping;
}

void kxFetchEngine::Turn() {
  int numRunning = 0;
  curl_multi_perform(m_multi, &numRunning);
  m_nowMs = NowMs();
  EndDone();
  EndOverrun();
  EndLate();
  while (!m_lookUps.empty() && m_lookUps.front() <= m_nowMs) {
    m_lookUps.pop_front();
    m_isTurnFree = true;
  }
  while (std::exchange(m_isTurnFree, false)) StartThoseThatMay();
}

int kxFetchEngine::PollMs() const {
  if (m_jobs.empty()) return kIdleMs;
  int64_t until = m_nextDeadlineMs;
  for (const auto &[handle, job] : m_running) {
    if (job->hop->HasMore()) return 0;
    if (job->hop->IsStepping()) until = m_nowMs + kStepMs;
  }
  if (!m_lookUps.empty()) until = std::min(until, m_lookUps.front());
  return static_cast<int>(std::clamp<int64_t>(std::min(until, m_nextDeadlineMs) - m_nowMs, 0, kIdleMs));
}

int64_t kxFetchEngine::DeadlineMs(const Job &job) const {
  if (job.hop == nullptr || IsLast(job)) return job.deadlineMs;
  // Servers that may be asked after this one have their share of the time.
  const auto numLeft = static_cast<int64_t>(job.targets.size() - job.target);
  return job.hopBegunMs + std::max<int64_t>((job.deadlineMs - job.hopBegunMs) / numLeft, 1);
}

bool kxFetchEngine::IsRemembered(const std::string &key, size_t maxLen, HopEnd &end) {
  const FailureMemory::Failure *const failure = m_failures.Find(key, m_nowMs);
  if (failure == nullptr || (failure->result == kxFetch_tooLong && maxLen > failure->maxLen)) return false;
  const std::string pause = std::to_string((failure->untilMs - m_nowMs + 999) / 1000);
  end = EndOf(failure->result, "not asked again before " + pause + " s: " + failure->reason);
  end.isRemembered = true;
  return true;
}

void kxFetchEngine::AnswerOne(const Task &task, const HopEnd &end) {
  kxFetchAnswer answer;
  Lend(end, answer);
  task->Answer(answer);
  const sxLock lock(m_mutex);
  --m_numAskers;
}

void kxFetchEngine::Admit(const Task &task, int64_t atMs) {
  const kxFetchRequest &request = task->Request();
  const std::string key = KeyOf(request);
  if (const auto known = m_jobs.find(key); known != m_jobs.end()) {
    Count(&kxFetchCounters::joined);
    return Join(*known->second, task, atMs);
  }
  auto job = std::make_unique<Job>();
  const std::string wrong = kxFetch_ReadUrl(request.url, m_settings, job->targets);
  if (!wrong.empty()) {
    Count(&kxFetchCounters::refused);
    return AnswerOne(task, EndOf(kxFetch_refused, wrong));
  }
  job->failureKey = FailureKeyOf(request);
  HopEnd end;
  if (IsRemembered(job->failureKey, request.limits.maxLen, end)) {
    Count(&kxFetchCounters::remembered);
    return AnswerOne(task, end);
  }
  // Many letters may come at once, while there are turns to take.
  const auto isFull = [this] { return m_waiting.size() >= static_cast<size_t>(m_settings.maxWaiting); };
  while (isFull() && std::exchange(m_isTurnFree, false)) StartThoseThatMay();
  if (isFull()) {
    Count(&kxFetchCounters::turnedAway);
    return AnswerOne(task, EndOf(kxFetch_failed, "too many transfers wait for their turn"));
  }
  job->key = key;
  job->request = std::make_shared<const kxFetchRequest>(request);
  job->begunMs = m_nowMs;
  Wait(*job, m_waiting.end());
  Join(*job, task, atMs);
  m_jobs[key] = std::move(job);
}

void kxFetchEngine::Join(Job &job, const Task &task, int64_t atMs) {
  const kxFetchRequest &request = task->Request();
  const int64_t deadlineMs = DeadlineOf(request, atMs);
  job.askers[task.get()] = {task, deadlineMs};
  m_byTask[task.get()] = &job;
  job.maxLens.insert(request.limits.maxLen);
  job.deadlinesMs.insert(deadlineMs);
  SetLimits(job);
}

// The largest of those who wait for it now.
void kxFetchEngine::SetLimits(Job &job) {
  job.maxLen = *job.maxLens.rbegin();
  job.deadlineMs = std::min(*job.deadlinesMs.rbegin(), job.begunMs + kMaxFetchMs);
  if (job.hop != nullptr) job.hop->SetMaxLen(job.maxLen);
  m_nextDeadlineMs = std::min(m_nextDeadlineMs, DeadlineMs(job));
}

void kxFetchEngine::Leave(const kxFetchTask *task) {
  const auto known = m_byTask.find(task);
  if (known == m_byTask.end()) return;
  Job &job = *known->second;
  const auto asker = job.askers.find(task);
  const bool isLate = m_nowMs >= asker->second.deadlineMs;
  job.maxLens.erase(job.maxLens.find(asker->second.task->Request().limits.maxLen));
  job.deadlinesMs.erase(job.deadlinesMs.find(asker->second.deadlineMs));
  m_byTask.erase(known);
  job.askers.erase(asker);
  {
    const sxLock lock(m_mutex);
    --m_numAskers;
  }
  if (!job.askers.empty()) return SetLimits(job);
  if (isLate && job.hop != nullptr) {  // the asker's own timer came first
    job.target = job.targets.size() - 1;
    return GoOn(job, job.hop->TimeOut());
  }
  Count(&kxFetchCounters::cancelled);
  Drop(job);
}

void kxFetchEngine::Wait(Job &job, std::list<Job *>::iterator before) {
  job.place = m_waiting.insert(before, &job);
  job.isWaiting = true;
  m_isTurnFree = true;
}

bool kxFetchEngine::MayStart(const Job &job) const {
  const Target &target = job.targets[job.target];
  const auto ofHost = m_runningOfHost.find(target.host);
  if (ofHost != m_runningOfHost.end() && ofHost->second >= m_settings.maxTransfersPerHost) return false;
  return m_running.size() < static_cast<size_t>(m_settings.maxTransfers) &&
         (target.isNumber || (m_lookUps.size() + m_givenUp.size() < kMaxLookUps && !m_givenUp.contains(target.host)));
}

std::string kxFetchEngine::WhyItWaits(const Job &job) const {
  const Target &target = job.targets[job.target];
  return m_givenUp.contains(target.host) ? target.server + ": its name was not found in time"
                                         : "other transfers took its time";
}

void kxFetchEngine::StartThoseThatMay() {
  for (auto place = m_waiting.begin(); place != m_waiting.end();) {
    Job &job = **place++;
    HopEnd end;
    if (IsRemembered(ServerKeyOf(job.targets[job.target]), 0, end))
      GoOn(job, std::move(end));
    else if (MayStart(job))
      Start(job);
  }
}

void kxFetchEngine::Start(Job &job) {
  const Target &target = job.targets[job.target];
  m_waiting.erase(job.place);
  job.isWaiting = false;
  if (!std::exchange(job.isBegun, true)) Count(&kxFetchCounters::begun);
  job.hop = std::make_unique<Hop>(m_settings, job.request, target, m_proxies.For(target), m_sockets, m_room);
  job.hopBegunMs = m_nowMs;
  m_running[job.hop->Handle()] = &job;
  ++m_runningOfHost[target.host];
  m_nextDeadlineMs = std::min(m_nextDeadlineMs, DeadlineMs(job));
  if (!job.hop->Start(m_multi, job.maxLen)) GoOn(job, OursOf(kxFetch_failed, "no memory"));
}

void kxFetchEngine::EndDone() {
  std::vector<std::pair<Job *, CURLcode>> done;
  std::vector<std::pair<const CURL *, CURLcode>> givenUp;
  int numLeft = 0;
  while (const CURLMsg *const message = curl_multi_info_read(m_multi, &numLeft)) {
    const auto running = m_running.find(message->easy_handle);
    if (message->msg != CURLMSG_DONE) continue;
    if (running == m_running.end())
      givenUp.emplace_back(message->easy_handle, message->data.result);
    else if (running->second->hop->IsDone(message->data.result)) {
      done.emplace_back(running->second, message->data.result);
    }
  }
  for (const auto &[handle, job] : m_running) {
    if (job->hop->Step()) done.emplace_back(job, CURLE_OK);
  }
  for (const auto &[handle, code] : givenUp) EndGivenUp(handle, code);
  for (const auto &[job, code] : done) GoOn(*job, job->hop->Finish(code));
}

void kxFetchEngine::EndOverrun() {
  std::vector<Job *> overrun;
  for (const auto &[handle, job] : m_running) {
    if (job->hop->IsOverrun()) overrun.push_back(job);
  }
  for (Job *job : overrun) GoOn(*job, job->hop->Fail(kxFetch_tooLong, "much more than the octets of an answer"));
}

void kxFetchEngine::EndLate() {
  if (m_nowMs < m_nextDeadlineMs) return;
  std::vector<Job *> late;
  m_nextDeadlineMs = INT64_MAX;
  for (const auto &[key, job] : m_jobs) {
    const int64_t deadlineMs = DeadlineMs(*job);
    if (m_nowMs >= deadlineMs)
      late.push_back(job.get());
    else
      m_nextDeadlineMs = std::min(m_nextDeadlineMs, deadlineMs);
  }
  for (Job *job : late) {
    if (job->hop != nullptr)
      GoOn(*job, job->hop->TimeOut());
    else
      Finish(*job, OursOf(kxFetch_timedOut, WhyItWaits(*job)));
  }
}

void kxFetchEngine::GoOn(Job &job, HopEnd end) {
  const std::string server = ServerKeyOf(job.targets[job.target]);
  end.isOurs = !IsServersFault(job, end);
  EndHop(job);
  if (end.wasServerDown && !end.isOurs) m_failures.Add(server, {end.result, end.reason}, m_nowMs);
  if (end.wasReached) m_failures.Forget(server);
  if (!end.location.empty() && Redirect(job, end)) return;
  if (IsSuccess(end) || IsLast(job) || m_nowMs >= job.deadlineMs) return Finish(job, end);
  ++job.target;
  Wait(job, m_waiting.begin());
}

// It is not the server's that nobody waited as long as servers may take.
bool kxFetchEngine::IsServersFault(const Job &job, const HopEnd &end) const {
  if (end.isOurs || end.result != kxFetch_timedOut) return !end.isOurs;
  const int patienceMs = end.wasReached ? kPatienceMs : std::min(kPatienceMs, m_settings.connectTimeoutMs);
  return job.hop != nullptr && m_nowMs - job.hopBegunMs >= patienceMs;
}

// @param[out] end  why it is not followed
bool kxFetchEngine::Redirect(Job &job, HopEnd &end) {
  const Target &from = job.targets[job.target];
  Target to;
  if (job.numRedirects++ == m_settings.maxRedirects) {
    end.reason = from.server + ": more than " + std::to_string(m_settings.maxRedirects) + " redirects";
    return false;
  }
  const std::string wrong = kxFetch_Follow(from, end.location, m_settings, to);
  if (!wrong.empty()) {
    end.result = kxFetch_refused;
    end.reason = from.server + ": " + wrong;
    return false;
  }
  job.targets = {to};
  job.target = 0;
  Wait(job, m_waiting.begin());
  return true;
}

// Takes it from those that run, or that wait.
void kxFetchEngine::EndHop(Job &job) {
  if (std::exchange(job.isWaiting, false)) m_waiting.erase(job.place);
  if (job.hop == nullptr) return;
  m_running.erase(job.hop->Handle());
  const auto ofHost = m_runningOfHost.find(job.hop->Whom().host);
  if (--ofHost->second == 0) m_runningOfHost.erase(ofHost);
  std::unique_ptr<Hop> hop = std::move(job.hop);
  m_isTurnFree = true;
  if (!hop->IsLookingUp()) return;
  // Who asks next waits for what is under way: one that many have given up is looked up by one thread.
  hop->GiveUp();
  const std::string host = hop->Whom().host;
  if (!hop->IsWithCurl() || m_givenUp.contains(host)) return m_lookUps.push_back(m_nowMs + kLookUpMs);
  m_givenUp[host] = std::move(hop);
}

void kxFetchEngine::EndGivenUp(const CURL *handle, CURLcode code) {
  const auto ended = std::ranges::find_if(m_givenUp, [=](const auto &row) { return row.second->Handle() == handle; });
  if (ended == m_givenUp.end()) return;
  Hop &hop = *ended->second;
  const HopEnd end = hop.Finish(code);
  if (code == CURLE_OPERATION_TIMEDOUT && hop.IsLookingUp()) m_lookUps.push_back(m_nowMs + kLookUpMs);
  // It had its time. That there is no connection to a name that was found is of nobody's doing but ours.
  const bool isNotFound = code == CURLE_OPERATION_TIMEDOUT || code == CURLE_COULDNT_RESOLVE_HOST;
  if (isNotFound && end.wasServerDown) m_failures.Add(ServerKeyOf(hop.Whom()), {end.result, end.reason}, m_nowMs);
  m_givenUp.erase(ended);
  m_isTurnFree = true;
}

void kxFetchEngine::Finish(Job &job, const HopEnd &end) {
  if (end.isRemembered) {
    Count(&kxFetchCounters::remembered, job.askers.size());
  } else if (IsSuccess(end)) {
    Count(&kxFetchCounters::answered);
    m_failures.Forget(job.failureKey);
  } else {
    Count(end.result == kxFetch_refused ? &kxFetchCounters::refused : &kxFetchCounters::failed);
    if (job.isBegun && !end.isOurs) m_failures.Add(job.failureKey, {end.result, end.reason, job.maxLen}, m_nowMs);
    tderrorFunc(kTopic, 3, 0, "kxFetchEngine: %s: %s", job.request->url.c_str(), end.reason.c_str());
  }
  AnswerAll(job, end);
  Drop(job);
}

void kxFetchEngine::AnswerAll(Job &job, const HopEnd &end) {
  kxFetchAnswer answer;
  Lend(end, answer);
  for (const auto &[known, asker] : job.askers) {
    m_byTask.erase(known);
    asker.task->Answer(answer);
  }
  const sxLock lock(m_mutex);
  m_numAskers -= static_cast<int>(job.askers.size());
}

// Nobody waits for it any more.
void kxFetchEngine::Drop(Job &job) {
  EndHop(job);
  const std::string key = job.key;  // the row's goes before the row is out
  m_jobs.erase(key);
}

void kxFetchEngine::EndAll() {
  for (const auto &[key, job] : m_jobs) {
    job->hop.reset();
    AnswerAll(*job, EndOf(kxFetch_failed, kEnded));
  }
  m_jobs.clear();
  m_givenUp.clear();
}
