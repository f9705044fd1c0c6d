#include "kxcert/foundation/sxPKobj.h"

#include <unistd.h>

#include "kxcert/foundation/sxPKobj_imp.h"
#include "kxcert/platform/mutex.h"
#include "platform/mutexFake.h"
#include "support/onThreads.h"
#include "support/script.h"

namespace {

// Counts how many of its kind have died.
struct Probe : sxPKobj_imp {
  ~Probe() override { ++s_numDead; }
  static inline int s_numDead = 0;
};

TEST(sxPKobj, DoesWhatTheStepsSay) {
  Script()
      .On("New", [] { return new sxPKobj(new Probe); })                    // for its last free to delete
      .On("Local", [] { return std::make_unique<sxPKobj>(new Probe); })    // goes as an object of a block does
      .On("Empty", [] { return new sxPKobj(nullptr); })
      .On("save", sxSavePKobj)
      .On("free", sxFreePKobj)
      .On("incRef", &sxPKobj::IncRef)
      .On("decRef", &sxPKobj::DecRef)
      .On("dead", [] { return std::exchange(Probe::s_numDead, 0); })
      .On("useMutex", sxPKobj::UseMutex)
      .On("usingMutex", &sxPKobj::UsingMutex)
      .On("lock", sxPKobj::Lock)
      .On("unlock", sxPKobj::Unlock)
      .On("letLock", [](bool may) {
        MtMutex_SetFake(may ? MtMutexFake{} : MtMutexFake{.mayLock = [] { return false; }});
      })
      .On("saveAndFreeOnThreads", [](sxPKobj *obj) {
        OnThreads(2, [obj](int) {
          for (int i = 0; i < 2000; ++i) {
            sxSavePKobj(obj);
            sxFreePKobj(obj);
          }
        });
      })
      .Run("foundation/sxPKobj.steps");
}

// In a process of its own: here the mutex may exist already.
TEST(sxPKobjDeathTest, UseMutexFailsWhenTheMutexCannotBeMade) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        LogCapture log;
        MtMutex_SetFake({.mayCreate = [] { return false; }});
        const bool failed = sxPKobj::UseMutex() == -1 && log.Has("sxPKobj_imp::UseMutex: Failed to create Mutex");
        MtMutex_SetFake({});
        _exit(failed && sxPKobj::UseMutex() == 0 ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
}

}  // namespace
