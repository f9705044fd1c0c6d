#include "kxcert/platform/fetcher.h"

#include <algorithm>
#include <atomic>
#include <utility>
#include <vector>

#include "platform/fetcher_imp.h"

namespace {

struct Registered {
  sxMutex mutex;
  std::shared_ptr<kxFetcher> fetcher GUARDED_BY(mutex);
};

Registered &TheFetcher() {
  static auto *const registered = new Registered;  // requests may end while static objects go
  return *registered;
}

bool IsUrl(const std::string &url) {
  const auto isPrintable = [](char c) { return c > ' ' && c < '\x7f'; };
  return !url.empty() && url.size() <= kMaxFetchUrlLen && std::ranges::all_of(url, isPrintable);
}

// What the loop's calls, the component and the asker share. Whoever ends it takes the completion first.
class Task final : public kxFetchTask, public kxEventClient, public std::enable_shared_from_this<Task> {
 public:
  Task(std::shared_ptr<kxEventLoop> loop, std::shared_ptr<kxFetcher> fetcher, const std::string &url,
       const kxFetchLimits &limits, kxFetchDone done)
      : m_loop(std::move(loop)), m_url(url), m_limits(limits), m_fetcher(std::move(fetcher)), m_done(std::move(done)) {}

  const std::string &Url() const override { return m_url; }
  const kxFetchLimits &Limits() const override { return m_limits; }
  event_base *Base() const override { return m_loop->Base(); }

  void Begin() {
    std::shared_ptr<kxFetcher> fetcher;
    {
      const sxLock lock(m_mutex);
      if (m_done == nullptr) return;  // cancelled before
      m_begun = m_fetcher;
      fetcher = m_fetcher;
    }
    m_loop->AddClient(weak_from_this());
    const auto self = shared_from_this();
    // It holds the task, so that one which the component forgot is answered as well.
    if (m_loop->Post(m_limits.timeoutMs, [self] { self->End(kxFetch_timedOut, {}); }) != 0) {
      return End(kxFetch_failed, {});
    }
    fetcher->Begin(self);
  }

  void Answer(kxFetchResult result, const unsigned char *octets, size_t len) override {
    if (m_answered.exchange(true)) return;
    ForgetComponent();
    std::vector<unsigned char> copy;
    if (result == kxFetch_OK && len > m_limits.maxLen) result = kxFetch_tooLong;
    if (result == kxFetch_OK && octets != nullptr) copy.assign(octets, octets + len);
    const auto self = shared_from_this();
    m_loop->Post(0, [self, result, held = std::move(copy)] { self->End(result, held); });
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
    const sxLock lock(m_mutex);
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

  void End(kxFetchResult result, const std::vector<unsigned char> &octets) {
    const kxFetchDone done = TakeDone();
    TellComponent();
    if (done == nullptr) return;
    done(result, result == kxFetch_OK ? octets.data() : nullptr, octets.size());
  }

  const std::shared_ptr<kxEventLoop> m_loop;
  const std::string m_url;
  const kxFetchLimits m_limits;
  std::atomic<bool> m_answered{false};
  sxMutex m_mutex;
  std::shared_ptr<kxFetcher> m_fetcher GUARDED_BY(m_mutex);
  std::shared_ptr<kxFetcher> m_begun GUARDED_BY(m_mutex);  // to be told when nobody waits any more
  kxFetchDone m_done GUARDED_BY(m_mutex);                  // null once it was called or dropped
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

kxFetchResult kxFetch_StartOn(const std::shared_ptr<kxEventLoop> &loop, const std::string &url,
                              const kxFetchLimits &limits, kxFetchDone done, std::shared_ptr<kxFetchTask> *task) {
  std::shared_ptr<kxFetcher> fetcher;
  {
    Registered &registered = TheFetcher();
    const sxLock lock(registered.mutex);
    fetcher = registered.fetcher;
  }
  if (fetcher == nullptr) return kxFetch_noFetcher;
  if (loop == nullptr || done == nullptr || !IsUrl(url) || limits.maxLen < 1 || limits.timeoutMs < 1) {
    return kxFetch_badRequest;
  }
  const auto begun = std::make_shared<Task>(loop, std::move(fetcher), url, limits, std::move(done));
  if (loop->Post(0, [begun] { begun->Begin(); }) != 0) return kxFetch_badRequest;
  if (task != nullptr) *task = begun;
  return kxFetch_OK;
}

kxFetchResult kxFetch_Start(sxd_env *env, const std::string &url, const kxFetchLimits &limits, kxFetchDone done,
                            std::shared_ptr<kxFetchTask> *task) {
  return kxFetch_StartOn(env != nullptr ? env->Loop() : nullptr, url, limits, std::move(done), task);
}
