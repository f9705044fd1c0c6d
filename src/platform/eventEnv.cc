#include "kxcert/platform/eventEnv.h"

#include <event2/event.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <new>
#include <utility>

#include "eventEnv_imp.h"
#include "kxcert/platform/defaultEnv.h"

namespace {

struct DefaultLoop {
  sxMutex mutex;
  std::weak_ptr<kxEventLoop> loop GUARDED_BY(mutex);
};

DefaultLoop &TheDefault() {
  static auto *const loop = new DefaultLoop;  // lives on: threads may ask while static objects go
  return *loop;
}

// Timers to the microsecond: the coarse clock that is usual would make them late by milliseconds.
event_base *NewPreciseBase() {
  const std::unique_ptr<event_config, decltype(&event_config_free)> config(event_config_new(), event_config_free);
  if (config == nullptr || event_config_set_flag(config.get(), EVENT_BASE_FLAG_PRECISE_TIMER) != 0) return nullptr;
  return event_base_new_with_config(config.get());
}

}  // namespace

void kxEventLoop::FreeBase::operator()(event_base *base) const { event_base_free(base); }
void kxEventLoop::FreeEvent::operator()(event *entry) const { event_free(entry); }

std::shared_ptr<kxEventLoop> kxEventLoop::New(event_base *lent) {
  const std::shared_ptr<kxEventLoop> loop(new kxEventLoop);
  return loop->Open(lent) ? loop : nullptr;
}

std::shared_ptr<kxEventLoop> kxEventLoop::Default() {
  DefaultLoop &known = TheDefault();
  const sxLock lock(known.mutex);
  return known.loop.lock();
}

bool kxEventLoop::Open(event_base *lent) {
  if (lent == nullptr) m_own.reset(NewPreciseBase());
  m_base = lent != nullptr ? lent : m_own.get();
  // Our own descriptor wakes the loop, so that a lent one needs no locks.
  m_wakeFd = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
  if (m_base == nullptr || m_wakeFd < 0) return false;
  m_wake.reset(event_new(
      m_base, m_wakeFd, EV_READ | EV_PERSIST,
      [](evutil_socket_t, short, void *self) { static_cast<kxEventLoop *>(self)->MakeDueCalls(); }, this));
  return m_wake != nullptr && event_add(m_wake.get(), nullptr) == 0;
}

kxEventLoop::~kxEventLoop() {
  m_wake.reset();  // before its loop; only one that never opened has it still
  if (m_wakeFd >= 0) close(m_wakeFd);
}

// All memory is taken here, where a failure can be told.
int kxEventLoop::Post(int delayMs, std::function<void()> call) try {
  if (delayMs < 0) return -1;
  std::list<Call> posted(1);
  posted.front().function = std::move(call);
  posted.front().due = delayMs == 0 ? Clock::time_point::min() : Clock::now() + std::chrono::milliseconds(delayMs);
  const sxLock lock(m_mutex);
  if (m_closed) return -1;
  m_posted.splice(m_posted.end(), posted);
  const uint64_t one = 1;
  // It can only fail by being full, and then the loop wakes as well.
  static_cast<void>(!write(m_wakeFd, &one, sizeof one));
  return 0;
} catch (const std::bad_alloc &) { return -1; }

void kxEventLoop::MakeDueCalls() {
  const std::shared_ptr<kxEventLoop> self = shared_from_this();  // a call may close the environment
  uint64_t count = 0;
  static_cast<void>(!read(m_wakeFd, &count, sizeof count));
  std::list<Call> posted;
  {
    const sxLock lock(m_mutex);
    posted.swap(m_posted);
  }
  // By time, so that those which are late all alike keep their order.
  posted.sort([](const Call &x, const Call &y) { return x.due < y.due; });
  while (!posted.empty() && !m_closed) {
    const auto call = posted.begin();
    m_waiting.splice(m_waiting.end(), posted, call);
    if (call->due <= Clock::now()) {
      Make(call);
    } else {
      call->loop = this;
      call->self = call;
      SetTimer(*call);
    }
  }
}

void kxEventLoop::SetTimer(Call &call) {
  call.timer.reset(event_new(
      m_base, -1, 0,
      [](evutil_socket_t, short, void *opaque) {
        const auto *const due = static_cast<Call *>(opaque);
        due->loop->Make(due->self);
      },
      &call));
  const auto leftUs = std::chrono::duration_cast<std::chrono::microseconds>(call.due - Clock::now()).count();
  timeval wait = {};
  if (leftUs > 0) wait = {static_cast<time_t>(leftUs / 1000000), static_cast<suseconds_t>(leftUs % 1000000)};
  if (call.timer == nullptr || event_add(call.timer.get(), &wait) != 0) Make(call.self);  // early, not never
}

void kxEventLoop::Make(std::list<Call>::iterator call) {
  const std::shared_ptr<kxEventLoop> self = shared_from_this();
  std::list<Call> made;
  made.splice(made.end(), m_waiting, call);  // it may post, destroy what it was about, and close the environment
  call->function();
}

int kxEventLoop::Run(int maxMs) {
  const std::shared_ptr<kxEventLoop> self = shared_from_this();
  Event end;  // its timer goes with it
  if (maxMs >= 0) {
    end.reset(event_new(
        m_base, -1, 0,
        [](evutil_socket_t, short, void *base) { event_base_loopbreak(static_cast<event_base *>(base)); }, m_base));
    const timeval limit = {maxMs / 1000, static_cast<suseconds_t>(maxMs % 1000 * 1000)};
    if (end == nullptr || event_add(end.get(), &limit) != 0) return -1;
  }
  ++m_numRuns;
  const int rc = event_base_dispatch(m_base) < 0 ? -1 : 0;
  end.reset();
  if (--m_numRuns == 0 && m_closed) m_own.reset();
  return rc;
}

void kxEventLoop::Stop() {
  static_cast<void>(Post(0, [this] { event_base_loopbreak(m_base); }));
}

void kxEventLoop::AddClient(std::weak_ptr<kxEventClient> client) {
  if (m_clients.size() >= m_numClientsToSweep) {
    std::erase_if(m_clients, [](const std::weak_ptr<kxEventClient> &known) { return known.expired(); });
    m_numClientsToSweep = std::max(kFirstSweep, 2 * m_clients.size());  // so that each costs the same on average
  }
  m_clients.push_back(std::move(client));
}

void kxEventLoop::Close() {
  {
    std::list<Call> dropped;  // what the closures hold may post again, which is refused
    {
      const sxLock lock(m_mutex);
      m_closed = true;
      dropped.swap(m_posted);
    }
    dropped.splice(dropped.end(), m_waiting);
    m_wake.reset();
  }
  for (const std::weak_ptr<kxEventClient> &known : std::exchange(m_clients, {})) {
    if (const std::shared_ptr<kxEventClient> client = known.lock()) client->EnvironmentGone();
  }
  if (m_numRuns == 0)
    m_own.reset();
  else
    event_base_loopbreak(m_base);
}

sxd_env *sxd_env_create() try {
  const std::shared_ptr<kxEventLoop> loop = kxEventLoop::New(nullptr);
  return loop == nullptr ? nullptr : new sxd_env(loop);
} catch (const std::bad_alloc &) { return nullptr; }
sxd_env *sxd_env_wrap(event_base *base) try {
  const std::shared_ptr<kxEventLoop> loop = base == nullptr ? nullptr : kxEventLoop::New(base);
  return loop == nullptr ? nullptr : new sxd_env(loop);
} catch (const std::bad_alloc &) { return nullptr; }
void sxd_env_destroy(sxd_env *env) { const std::unique_ptr<sxd_env> gone(env); }
int sxd_env_run(sxd_env *env) { return env == nullptr ? -1 : env->Loop()->Run(-1); }
int sxd_env_run_for(sxd_env *env, int maxMs) { return env == nullptr || maxMs < 0 ? -1 : env->Loop()->Run(maxMs); }
void sxd_env_stop(sxd_env *env) {
  if (env != nullptr) env->Loop()->Stop();
}

int T_event_sched_e(sxd_env *env, int delayMs, T_event_callback callback, void *opaque) {
  if (env == nullptr || callback == nullptr) return -1;
  return env->Post(delayMs, [callback, opaque] { callback(opaque); });
}

void sxd_env_set_default(sxd_env *env) {
  DefaultLoop &known = TheDefault();
  const sxLock lock(known.mutex);
  known.loop.reset();
  if (env != nullptr) known.loop = env->Loop();
}
