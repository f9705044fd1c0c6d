#include "kxcert/foundation/sxPKobj.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include "kxcert/foundation/sxPKobj_imp.h"
#include "kxcert/platform/mutex.h"
#include "platform/mutexFake.h"
#include "support/logCapture.h"
#include "support/onThreads.h"

namespace {

// Counts how many of its kind have died.
struct Probe : sxPKobj_imp {
  explicit Probe(int *numDead) : m_numDead(numDead) {}
  ~Probe() override { ++*m_numDead; }
  int *m_numDead;
};

TEST(sxPKobj, SavedTwiceDiesAtTheThirdFree) {
  int numDead = 0;
  auto *obj = new sxPKobj(new Probe(&numDead));
  sxSavePKobj(obj);
  sxSavePKobj(obj);
  sxFreePKobj(obj);
  sxFreePKobj(obj);
  EXPECT_EQ(0, numDead);
  sxFreePKobj(obj);
  EXPECT_EQ(1, numDead);
  sxSavePKobj(nullptr);
  sxFreePKobj(nullptr);
  auto *empty = new sxPKobj(nullptr);
  sxSavePKobj(empty);
  sxFreePKobj(empty);
}

TEST(sxPKobj, LogsWhatIsFreedOnceTooOftenOrWhileReferenced) {
  LogCapture log;
  int numDead = 0;
  auto *obj = new sxPKobj(new Probe(&numDead));
  EXPECT_EQ(0, obj->DecRef());
  sxFreePKobj(obj);
  { sxPKobj alone(new Probe(&numDead)); }   // its creator's reference needs no free
  EXPECT_THAT(log.Lines(), testing::ElementsAre("sxFreePKobj: negative reference count -1"));
  log.Clear();
  {
    sxPKobj shared(new Probe(&numDead));
    shared.IncRef();
  }
  EXPECT_EQ(3, numDead);
  EXPECT_THAT(log.Lines(), testing::ElementsAre("sxPKobj_imp::~sxPKobj_imp: non zero refcount"));
}

TEST(sxPKobj, CountsFromManyThreadsUnderTheMutex) {
  ASSERT_EQ(0, sxPKobj::UseMutex());
  int numDead = 0;
  auto *obj = new sxPKobj(new Probe(&numDead));
  EXPECT_EQ(1, obj->UsingMutex());
  OnThreads(2, [obj](int) {
    for (int i = 0; i < 2000; ++i) {
      sxSavePKobj(obj);
      sxFreePKobj(obj);
    }
  });
  EXPECT_EQ(0, numDead);
  sxFreePKobj(obj);
  EXPECT_EQ(1, numDead);
}

TEST(sxPKobj, ReportsAFailingMutexAndGoesOn) {
  ASSERT_EQ(0, sxPKobj::UseMutex());
  LogCapture log;
  MtMutex_SetFake({.mayLock = [] { return false; }});
  EXPECT_EQ(0, sxPKobj::Lock());
  EXPECT_EQ(0, sxPKobj::Unlock());   // of a mutex that is not held
  MtMutex_SetFake({});
  ASSERT_EQ(2U, log.Lines().size());
  EXPECT_THAT(log.Lines()[0], testing::StartsWith("sxPKobj_imp::Lock: Failed to Lock Mutex"));
  EXPECT_THAT(log.Lines()[1], testing::StartsWith("sxPKobj_imp::Unlock: Failed to Unlock Mutex"));
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
