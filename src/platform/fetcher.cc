#include "kxcert/platform/fetcher.h"

#include <algorithm>
#include <atomic>
#include <climits>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/fetcher_imp.h"

namespace {

constexpr int kWaitGraceMs = 1000;  // beyond a request's own time limit

struct Registered {
  sxMutex mutex;
  std::shared_ptr<kxFetcher> fetcher GUARDED_BY(mutex);
};

Registered &TheFetcher() {
  static auto *const registered = new Registered;  // requests may end while static objects go
  return *registered;
}

bool IsPrintable(std::string_view text) {
  return std::ranges::all_of(text, [](char c) { return c >= ' ' && c <= '~'; });
}
bool IsField(std::string_view text) { return text.size() <= kMaxFetchFieldLen && IsPrintable(text); }

bool IsGood(const kxFetchRequest &request) {
  return kxFetch_IsUrl(request.url) && request.limits.maxLen >= 1 && request.limits.timeoutMs >= 1 &&
         request.body.size() <= kMaxFetchBodyLen && IsField(request.contentType) && IsField(request.known.entityTag) &&
         IsField(request.known.lastModified);
}

// What a component may say; the others are said here.
bool IsResult(kxFetchResult result) {
  switch (result) {
    case kxFetch_OK:
    case kxFetch_unchanged:
    case kxFetch_failed:
    case kxFetch_tooLong:
    case kxFetch_timedOut:
    case kxFetch_refused: return true;
    default: return false;
  }
}

// What is kept of an answer until its turn on the loop comes.
struct Kept {
  Kept(const kxFetchAnswer &answer, const kxFetchRequest &request) : head(answer) {
    const bool knowsOne = !request.known.entityTag.empty() || !request.known.lastModified.empty();
    if (head.result == kxFetch_unchanged && !knowsOne) head.result = kxFetch_failed;
    if (!IsResult(head.result)) head.result = kxFetch_failed;
    if (head.result == kxFetch_OK && head.len > request.limits.maxLen) {
      head.result = kxFetch_tooLong;
      head.reason = "longer than " + std::to_string(request.limits.maxLen) + " octets";
    }
    if (head.result != kxFetch_OK || head.octets == nullptr) {
      head.keeper.reset();
    } else if (head.keeper == nullptr) {
      const auto copy = std::make_shared<std::vector<unsigned char>>(head.octets, head.octets + head.len);
      head.octets = copy->data();
      head.keeper = copy;
    }
    for (std::string *field : {&head.version.entityTag, &head.version.lastModified}) {
      if (!IsField(*field)) std::string().swap(*field);
    }
    if (!IsPrintable(head.reason)) head.reason = "a reason that is not printable";
    if (head.reason.size() > kMaxFetchFieldLen) head.reason = head.reason.substr(0, kMaxFetchFieldLen);
    if (head.keeper == nullptr) head.octets = nullptr, head.len = 0;
  }

  kxFetchAnswer head;
};

kxFetchAnswer Only(kxFetchResult result, const char *reason) {
  kxFetchAnswer answer;
  answer.result = result;
  answer.reason = reason;
  return answer;
}

// What the loop's calls, the component and the asker share. Whoever ends it takes the completion first.
class Task final : public kxFetchTask, public kxEventClient, public std::enable_shared_from_this<Task> {
 public:
  Task(std::shared_ptr<kxEventLoop> loop, std::shared_ptr<kxFetcher> fetcher, kxFetchRequest request, kxFetchDone done)
      : m_loop(std::move(loop)),
        m_request(std::move(request)),
        m_fetcher(std::move(fetcher)),
        m_done(std::move(done)) {}

  const kxFetchRequest &Request() const override { return m_request; }
  event_base *Base() const override { return m_loop->Base(); }

  void Begin() {
    std::shared_ptr<kxFetcher> fetcher;
    {
      const sxLock lock(m_mutex);
      if (m_done == nullptr) return;  // cancelled before
      m_begun = m_fetcher;
      fetcher = m_fetcher;
      m_self = shared_from_this();  // so that one which the component forgot is answered as well
    }
    m_loop->AddClient(weak_from_this());
    // The timer stays for its whole time, what it is about only until there is an answer.
    const auto endLate = [known = weak_from_this()] {
      if (const auto task = known.lock()) task->End(Kept(Only(kxFetch_timedOut, "timed out"), task->m_request));
    };
    if (m_loop->Post(m_request.limits.timeoutMs, endLate) != 0) {
      return End(Kept(Only(kxFetch_failed, "no memory"), m_request));
    }
    fetcher->Begin(shared_from_this());
  }

  void Answer(const kxFetchAnswer &answer) override {
    if (m_answered.exchange(true)) return;
    ForgetComponent();
    // A function is copied, an answer is not.
    const auto kept = std::make_shared<Kept>(answer, m_request);
    const auto self = shared_from_this();
    m_loop->Post(0, [self, kept] { self->End(*kept); });
  }

  void Cancel() override {
    if (TakeDone() == nullptr) return;
    const auto self = shared_from_this();
    m_loop->Post(0, [self] { self->TellComponent(); });
  }

  void EnvironmentGone() override {
    TakeDone();
    TellComponent();
  }

 private:
  kxFetchDone TakeDone() {
    std::shared_ptr<Task> self;  // goes after the lock
    const sxLock lock(m_mutex);
    self.swap(m_self);
    return std::exchange(m_done, nullptr);
  }

  std::shared_ptr<kxFetcher> ForgetComponent() {
    const sxLock lock(m_mutex);
    m_fetcher.reset();
    return std::exchange(m_begun, nullptr);
  }

  void TellComponent() {
    if (const std::shared_ptr<kxFetcher> fetcher = ForgetComponent()) fetcher->Cancel(*this);
  }

  void End(const Kept &answer) {
    const std::shared_ptr<Task> self = shared_from_this();
    const kxFetchDone done = TakeDone();
    TellComponent();
    if (done != nullptr) done(answer.head);
  }

  const std::shared_ptr<kxEventLoop> m_loop;
  const kxFetchRequest m_request;
  std::atomic<bool> m_answered{false};
  sxMutex m_mutex;
  std::shared_ptr<kxFetcher> m_fetcher GUARDED_BY(m_mutex);
  std::shared_ptr<kxFetcher> m_begun GUARDED_BY(m_mutex);  // to be told when nobody waits any more
  kxFetchDone m_done GUARDED_BY(m_mutex);                  // null once it was called or dropped
  std::shared_ptr<Task> m_self GUARDED_BY(m_mutex);        // while an answer is waited for
};

}  // namespace

kxFetchTask::~kxFetchTask() = default;
kxFetcher::~kxFetcher() = default;

void kxFetcher_Set(std::shared_ptr<kxFetcher> fetcher) {
  Registered &registered = TheFetcher();
  const sxLock lock(registered.mutex);
  registered.fetcher.swap(fetcher);
}

bool kxFetcher_IsSet() {
  Registered &registered = TheFetcher();
  const sxLock lock(registered.mutex);
  return registered.fetcher != nullptr;
}

bool kxFetch_IsUrl(const std::string &url) {
  return !url.empty() && url.size() <= kMaxFetchUrlLen && IsPrintable(url) && url.find(' ') == std::string::npos;
}

bool kxFetch_HasScheme(std::string_view url, std::string_view scheme) {
  return url.size() > scheme.size() && std::ranges::equal(url.substr(0, scheme.size()), scheme, {}, [](char c) {
           return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
         });
}

kxFetchResult kxFetch_StartOn(const std::shared_ptr<kxEventLoop> &loop, kxFetchRequest request, kxFetchDone done,
                              std::shared_ptr<kxFetchTask> *task) {
  std::shared_ptr<kxFetcher> fetcher;
  {
    Registered &registered = TheFetcher();
    const sxLock lock(registered.mutex);
    fetcher = registered.fetcher;
  }
  if (fetcher == nullptr) return kxFetch_noFetcher;
  if (loop == nullptr || done == nullptr || !IsGood(request)) return kxFetch_badRequest;
  const auto begun = std::make_shared<Task>(loop, std::move(fetcher), std::move(request), std::move(done));
  if (loop->Post(0, [begun] { begun->Begin(); }) != 0) return kxFetch_badRequest;
  if (task != nullptr) *task = begun;
  return kxFetch_OK;
}

kxFetchResult kxFetch_Start(sxd_env *env, kxFetchRequest request, kxFetchDone done,
                            std::shared_ptr<kxFetchTask> *task) {
  return kxFetch_StartOn(env != nullptr ? env->Loop() : nullptr, std::move(request), std::move(done), task);
}

kxFetchResult kxFetch_Wait(kxFetchRequest request, const kxFetchDone &done) {
  const std::unique_ptr<sxd_env, decltype(&sxd_env_destroy)> env(sxd_env_create(), sxd_env_destroy);
  if (env == nullptr || done == nullptr) return kxFetch_badRequest;
  bool isDone = false;
  const auto finish = [&](const kxFetchAnswer &answer) {
    isDone = true;
    done(answer);
    sxd_env_stop(env.get());
  };
  const int limitMs = request.limits.timeoutMs;
  const kxFetchResult begun = kxFetch_Start(env.get(), std::move(request), finish);
  if (begun != kxFetch_OK) return begun;
  // The request's own timer ends it, unless a component cancels what it was asked for.
  sxd_env_run_for(env.get(), limitMs < INT_MAX - kWaitGraceMs ? limitMs + kWaitGraceMs : limitMs);
  if (!isDone) done(Only(kxFetch_failed, "cancelled by the fetcher"));
  return begun;
}
