#include "kxcert/platform/eventEnv.h"

#include <event2/event.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <new>
#include <utility>

#include "eventEnv_imp.h"

void sxd_env::FreeBase::operator()(event_base *base) const { event_base_free(base); }
void sxd_env::FreeEvent::operator()(event *entry) const { event_free(entry); }

std::unique_ptr<sxd_env> sxd_env::New(event_base *lent) {
  std::unique_ptr<sxd_env> env(new sxd_env);
  return env->Open(lent) ? std::move(env) : nullptr;
}

bool sxd_env::Open(event_base *lent) {
  if (lent == nullptr) m_own.reset(event_base_new());
  m_base = lent != nullptr ? lent : m_own.get();
  // Our own descriptor wakes the loop, so that a lent one needs no locks.
  m_wakeFd = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
  if (m_base == nullptr || m_wakeFd < 0) return false;
  m_wake.reset(event_new(m_base, m_wakeFd, EV_READ | EV_PERSIST,
                         [](evutil_socket_t, short, void *self) { static_cast<sxd_env *>(self)->MakeDueCalls(); }, this));
  return m_wake != nullptr && event_add(m_wake.get(), nullptr) == 0;
}

sxd_env::~sxd_env() {
  m_waiting.clear();
  m_wake.reset();
  if (m_wakeFd >= 0) close(m_wakeFd);
}

// All memory is taken here, where a failure can be told.
int sxd_env::Post(int delayMs, std::function<void()> call) try {
  if (delayMs < 0) return -1;
  std::list<Call> posted(1);
  posted.front().function = std::move(call);
  posted.front().due = delayMs == 0 ? Clock::time_point::min() : Clock::now() + std::chrono::milliseconds(delayMs);
  const std::lock_guard<std::mutex> lock(m_mutex);
  m_posted.splice(m_posted.end(), posted);
  const uint64_t one = 1;
  // It can only fail by being full, and then the loop wakes as well.
  static_cast<void>(!write(m_wakeFd, &one, sizeof one));
  return 0;
} catch (const std::bad_alloc &) {
  return -1;
}

void sxd_env::MakeDueCalls() {
  uint64_t count = 0;
  static_cast<void>(!read(m_wakeFd, &count, sizeof count));
  std::list<Call> posted;
  {
    const std::lock_guard<std::mutex> lock(m_mutex);
    posted.swap(m_posted);
  }
  // By time, so that those which are late all alike keep their order.
  posted.sort([](const Call &x, const Call &y) { return x.due < y.due; });
  while (!posted.empty()) {
    const auto call = posted.begin();
    m_waiting.splice(m_waiting.end(), posted, call);
    if (call->due <= Clock::now()) {
      Make(call);
    } else {
      call->env = this;
      call->self = call;
      SetTimer(*call);
    }
  }
}

void sxd_env::SetTimer(Call &call) {
  call.timer.reset(event_new(m_base, -1, 0, [](evutil_socket_t, short, void *opaque) {
    const auto *const due = static_cast<Call *>(opaque);
    due->env->Make(due->self);
  }, &call));
  const auto leftUs = std::chrono::duration_cast<std::chrono::microseconds>(call.due - Clock::now()).count();
  timeval wait = {};
  if (leftUs > 0) wait = {static_cast<time_t>(leftUs / 1000000), static_cast<suseconds_t>(leftUs % 1000000)};
  if (call.timer == nullptr || event_add(call.timer.get(), &wait) != 0) Make(call.self);   // early, not never
}

void sxd_env::Make(std::list<Call>::iterator call) {
  std::list<Call> made;
  made.splice(made.end(), m_waiting, call);   // it may post, and destroy what it was about
  call->function();
}

int sxd_env::Run(int maxMs) {
  Event end;   // its timer goes with it
  if (maxMs >= 0) {
    end.reset(event_new(m_base, -1, 0, [](evutil_socket_t, short, void *base) {
      event_base_loopbreak(static_cast<event_base *>(base));
    }, m_base));
    const timeval limit = {maxMs / 1000, static_cast<suseconds_t>(maxMs % 1000 * 1000)};
    if (end == nullptr || event_add(end.get(), &limit) != 0) return -1;
  }
  return event_base_dispatch(m_base) < 0 ? -1 : 0;
}

void sxd_env::Stop() {
  static_cast<void>(Post(0, [this] { event_base_loopbreak(m_base); }));
}

sxd_env *sxd_env_create() { return sxd_env::New(nullptr).release(); }
sxd_env *sxd_env_wrap(event_base *base) { return base == nullptr ? nullptr : sxd_env::New(base).release(); }
void sxd_env_destroy(sxd_env *env) { const std::unique_ptr<sxd_env> gone(env); }
int sxd_env_run(sxd_env *env) { return env == nullptr ? -1 : env->Run(-1); }
int sxd_env_run_for(sxd_env *env, int maxMs) { return env == nullptr || maxMs < 0 ? -1 : env->Run(maxMs); }
void sxd_env_stop(sxd_env *env) {
  if (env != nullptr) env->Stop();
}

int T_event_sched_e(sxd_env *env, int delayMs, T_event_callback callback, void *opaque) {
  if (env == nullptr || callback == nullptr) return -1;
  return env->Post(delayMs, [callback, opaque] { callback(opaque); });
}
