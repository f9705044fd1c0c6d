#include "platform/background.h"

#include <memory>
#include <new>
#include <system_error>
#include <thread>
#include <utility>

#include "kxcert/platform/log.h"

namespace {

class Background {
 public:
  std::shared_ptr<kxEventLoop> Loop() {
    const sxLock lock(m_mutex);
    if (m_env == nullptr && !m_ended) Begin();
    return m_env == nullptr ? nullptr : m_env->Loop();
  }

  void End() {
    std::thread thread;
    {
      const sxLock lock(m_mutex);
      m_ended = true;
      thread.swap(m_thread);
      if (m_env != nullptr) m_env->Loop()->Stop();
    }
    if (!thread.joinable()) return;
    if (thread.get_id() == std::this_thread::get_id()) return thread.detach();  // its work ends the process
    thread.join();
    std::unique_ptr<sxd_env> env;  // goes after the lock: what it drops may ask for it
    const sxLock lock(m_mutex);
    env.swap(m_env);
  }

 private:
  void Begin() REQUIRES(m_mutex) try {
    const std::shared_ptr<kxEventLoop> loop = kxEventLoop::New(nullptr);
    if (loop == nullptr) return tderrorFunc("background", 1, 0, "%s: no environment", "kxBackground_Loop");
    m_env = std::make_unique<sxd_env>(loop);
    m_thread = std::thread([loop] { loop->Run(-1); });
  } catch (const std::system_error &) {
    m_env.reset();
    tderrorFunc("background", 1, 0, "%s: no thread", "kxBackground_Loop");
  }

  sxMutex m_mutex;
  std::unique_ptr<sxd_env> m_env GUARDED_BY(m_mutex);
  std::thread m_thread GUARDED_BY(m_mutex);
  bool m_ended GUARDED_BY(m_mutex) = false;
};

Background &TheBackground() {
  static auto *const background = new Background;  // work may be posted while static objects go
  return *background;
}

// When it goes, before the static objects that were there first and what libcrypto holds, the thread does.
struct EndsIt {
  ~EndsIt() { TheBackground().End(); }
};

}  // namespace

std::shared_ptr<kxEventLoop> kxBackground_Loop() {
  std::shared_ptr<kxEventLoop> loop = TheBackground().Loop();
  static const EndsIt ends;
  return loop;
}

bool kxBackground_Post(std::function<void()> work) {
  const std::shared_ptr<kxEventLoop> loop = kxBackground_Loop();
  return loop != nullptr && loop->Post(0, std::move(work)) == 0;
}
