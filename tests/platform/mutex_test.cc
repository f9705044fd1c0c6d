#include "kxcert/platform/mutex.h"

#include "platform/mutexFake.h"
#include "support/onThreads.h"
#include "support/script.h"

namespace {

bool Refuse() { return false; }

void CountOnThreads(MtMutex *mutex) {
  int count = 0;   // plain on purpose
  OnThreads(2, [&](int) {
    for (int i = 0; i < 5000; ++i) {
      MtMutexLock(mutex);
      ++count;
      MtMutexUnLock(mutex);
    }
  });
  EXPECT_EQ(10000, count);
}

TEST(MtMutex, DoesWhatTheStepsSay) {
  Script()
      .On("Mutex", MtMutexCreate)
      .On("Recursive", MtMutexCreateRecursive)
      .On("lock", MtMutexLock)
      .On("unlock", MtMutexUnLock)
      .On("unlockOnAnotherThread", [](MtMutex *mutex) {
        int result = 0;
        OnThreads(1, [&](int) { result = MtMutexUnLock(mutex); });
        return result;
      })
      .On("destroy", MtMutexDestroy)
      .On("countOnThreads", CountOnThreads)
      .On("refuseCreating", [] { MtMutex_SetFake({.mayCreate = Refuse}); })
      .On("refuseLocking", [] { MtMutex_SetFake({.mayLock = Refuse}); })
      .On("refuseUnlocking", [] { MtMutex_SetFake({.mayUnlock = Refuse}); })
      .On("refuseNothing", [] { MtMutex_SetFake({}); })
      .Run("platform/mutex.steps");
}

}  // namespace
