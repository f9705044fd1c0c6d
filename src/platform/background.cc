#include "platform/background.h"

#include <pthread.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <new>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>

#include "kxcert/platform/log.h"

namespace {

// For what is at work when the process ends: it may need a lock that whoever ends the process holds.
constexpr std::chrono::seconds kEndLimit(5);

class Background {
 public:
  std::shared_ptr<kxEventLoop> Loop() {
    const sxLock lock(m_mutex);
    if (m_env == nullptr && !m_hasEnded) Begin();
    return m_env == nullptr || m_hasEnded ? nullptr : m_env->Loop();
  }

  bool HasEnded() const { return m_hasEnded; }

  void End() {
    std::thread thread;
    std::future<void> ended;
    {
      const sxLock lock(m_mutex);
      m_hasEnded = true;
      thread.swap(m_thread);
      ended = std::move(m_threadEnded);
      if (m_env != nullptr) m_env->Loop()->Stop();
    }
    if (!thread.joinable()) return;
    const bool isOwn = thread.get_id() == std::this_thread::get_id();  // its work ends the process
    if (isOwn || ended.wait_for(kEndLimit) != std::future_status::ready) return thread.detach();
    thread.join();
    std::unique_ptr<sxd_env> env;  // goes after the lock: what it drops may ask for it
    const sxLock lock(m_mutex);
    env.swap(m_env);
  }

  // A child has the memory of a thread, and not the thread. What it inherited is the parent's: it touches none of it.
  void WatchForks() {
    pthread_atfork([] { Get().LockForFork(); }, [] { Get().UnlockInParent(); }, [] { Get().ForgetInChild(); });
  }

  static Background &Get() {
    static auto *const background = new Background;  // lives on: work may be posted while static objects go
    return *background;
  }

 private:
  void Begin() REQUIRES(m_mutex) try {
    const std::shared_ptr<kxEventLoop> loop = kxEventLoop::New(nullptr);
    if (loop == nullptr) return tderrorFunc("background", 1, 0, "%s: no environment", "kxBackground_Loop");
    m_env = std::make_unique<sxd_env>(loop);
    std::promise<void> ended;
    m_threadEnded = ended.get_future();
    m_thread = std::thread([loop, promise = std::move(ended)]() mutable {
      loop->Run(-1);
      promise.set_value();
    });
  } catch (const std::system_error &) {
    m_env.reset();
    tderrorFunc("background", 1, 0, "%s: no thread", "kxBackground_Loop");
  }

  void LockForFork() { m_atFork.emplace(m_mutex); }
  void UnlockInParent() { m_atFork.reset(); }
  void ForgetInChild() KXCERT_THREADS(no_thread_safety_analysis) {
    static_cast<void>(m_env.release());
    static_cast<void>(new std::thread(std::move(m_thread)));
    m_atFork.reset();
  }

  sxMutex m_mutex;
  std::optional<sxLock> m_atFork;  // between the steps of a fork
  std::unique_ptr<sxd_env> m_env GUARDED_BY(m_mutex);
  std::thread m_thread GUARDED_BY(m_mutex);
  std::future<void> m_threadEnded GUARDED_BY(m_mutex);
  std::atomic<bool> m_hasEnded{false};
};

// When it goes, before the static objects that were there first and what libcrypto holds, the thread does.
struct EndsIt {
  EndsIt() { Background::Get().WatchForks(); }
  ~EndsIt() { Background::Get().End(); }
};

}  // namespace

std::shared_ptr<kxEventLoop> kxBackground_Loop() {
  static const EndsIt ends;
  return Background::Get().Loop();
}

// What waits when the process ends is dropped, not done.
bool kxBackground_Post(std::function<void()> work) {
  const std::shared_ptr<kxEventLoop> loop = kxBackground_Loop();
  return loop != nullptr && loop->Post(0, [held = std::move(work)] {
    if (!Background::Get().HasEnded()) held();
  }) == 0;
}
