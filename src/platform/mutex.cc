#include "kxcert/platform/mutex.h"
#include "platform/guarded.h"
#include "platform/mutexFake.h"

#include <pthread.h>

#include <atomic>
#include <map>
#include <memory>
#include <string>

struct MtMutex {
  pthread_mutex_t system;
  std::string name;       // empty: not shared
  unsigned numUsers = 1;  // touched with the registry's lock only
};

namespace {

std::atomic<bool (*)()> g_mayCreate{nullptr};
std::atomic<bool (*)()> g_mayLock{nullptr};
std::atomic<bool (*)()> g_mayUnlock{nullptr};

bool Allowed(const std::atomic<bool (*)()> &fake) {
  bool (*const ask)() = fake.load(std::memory_order_relaxed);
  return ask == nullptr || ask();
}

struct NamedMutexes {
  sxMutex lock;
  std::map<std::string, MtMutex *> byName GUARDED_BY(lock);  // an entry goes with the last user of its mutex
};

NamedMutexes &Named() {
  static auto *named = new NamedMutexes;  // lives on: static destructors give mutexes back too
  return *named;
}

// Only the kinds that know their owner, so that unlocking what is not held is refused, not undefined.
std::unique_ptr<MtMutex> Make(int kind) {
  auto made = std::make_unique<MtMutex>();
  pthread_mutexattr_t attr;
  if (!Allowed(g_mayCreate) || pthread_mutexattr_init(&attr) != 0) return nullptr;
  const bool done = pthread_mutexattr_settype(&attr, kind) == 0 && pthread_mutex_init(&made->system, &attr) == 0;
  pthread_mutexattr_destroy(&attr);
  return done ? std::move(made) : nullptr;
}

}  // namespace

MtMutex *MtMutexCreate() { return Make(PTHREAD_MUTEX_ERRORCHECK).release(); }

MtMutex *MtMutexCreateRecursive(const char *name) {
  if (name == nullptr || *name == '\0') return Make(PTHREAD_MUTEX_RECURSIVE).release();
  NamedMutexes &named = Named();
  const sxLock guard(named.lock);
  const auto found = named.byName.find(name);
  if (found != named.byName.end()) {
    ++found->second->numUsers;
    return found->second;
  }
  std::unique_ptr<MtMutex> made = Make(PTHREAD_MUTEX_RECURSIVE);
  if (!made) return nullptr;
  made->name = name;
  named.byName.emplace(name, made.get());
  return made.release();
}

int MtMutexLock(MtMutex *mutex) {
  if (mutex == nullptr || !Allowed(g_mayLock)) return -1;
  return pthread_mutex_lock(&mutex->system) == 0 ? 0 : -1;
}

int MtMutexUnLock(MtMutex *mutex) {
  if (mutex == nullptr || !Allowed(g_mayUnlock)) return -1;
  return pthread_mutex_unlock(&mutex->system) == 0 ? 0 : -1;
}

void MtMutexDestroy(MtMutex *mutex) {
  if (mutex == nullptr) return;
  if (!mutex->name.empty()) {
    NamedMutexes &named = Named();
    const sxLock guard(named.lock);
    if (--mutex->numUsers != 0) return;
    named.byName.erase(mutex->name);
  }
  pthread_mutex_destroy(&mutex->system);
  delete mutex;
}

void MtMutex_SetFake(const MtMutexFake &fake) {
  g_mayCreate = fake.mayCreate;
  g_mayLock = fake.mayLock;
  g_mayUnlock = fake.mayUnlock;
}
