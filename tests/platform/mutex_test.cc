#include "kxcert/platform/mutex.h"
#include "platform/mutexFake.h"

#include <gtest/gtest.h>

#include "support/onThreads.h"

namespace {

bool Refuse() { return false; }

int UnlockOnAnotherThread(MtMutex *mutex) {
  int result = 0;
  OnThreads(1, [&](int) { result = MtMutexUnLock(mutex); });
  return result;
}

TEST(MtMutex, KeepsThreadsApart) {
  MtMutex *mutex = MtMutexCreate();
  ASSERT_NE(nullptr, mutex);
  int count = 0;   // plain on purpose
  OnThreads(2, [&](int) {
    for (int i = 0; i < 5000; ++i) {
      MtMutexLock(mutex);
      ++count;
      MtMutexUnLock(mutex);
    }
  });
  EXPECT_EQ(10000, count);
  MtMutexDestroy(mutex);
}

TEST(MtMutex, RefusesWhatWouldBeUndefined) {
  EXPECT_EQ(-1, MtMutexLock(nullptr));
  EXPECT_EQ(-1, MtMutexUnLock(nullptr));
  MtMutexDestroy(nullptr);
  MtMutex *mutex = MtMutexCreate();
  EXPECT_EQ(-1, MtMutexUnLock(mutex));
  EXPECT_EQ(0, MtMutexLock(mutex));
  EXPECT_EQ(-1, MtMutexLock(mutex));   // a plain one is not recursive
  EXPECT_EQ(-1, UnlockOnAnotherThread(mutex));
  EXPECT_EQ(0, MtMutexUnLock(mutex));
  MtMutexDestroy(mutex);
}

TEST(MtMutex, ARecursiveOneIsLockedAsOftenAsItIsUnlocked) {
  MtMutex *mutex = MtMutexCreateRecursive(nullptr);
  for (int i = 0; i < 2; ++i) EXPECT_EQ(0, MtMutexLock(mutex));
  EXPECT_EQ(-1, UnlockOnAnotherThread(mutex));
  for (int i = 0; i < 2; ++i) EXPECT_EQ(0, MtMutexUnLock(mutex));
  EXPECT_EQ(-1, MtMutexUnLock(mutex));
  MtMutexDestroy(mutex);
}

TEST(MtMutex, EqualNamesShareOneUntilItsLastUserIsGone) {
  MtMutex *first = MtMutexCreateRecursive("MtMutex_test");
  MtMutex *other = MtMutexCreateRecursive("MtMutex_test2");
  MtMutex *unnamed = MtMutexCreateRecursive(nullptr);
  EXPECT_NE(first, other);
  EXPECT_NE(unnamed, MtMutexCreateRecursive("MtMutex_test"));   // a second user of the first
  MtMutex_SetFake({.mayCreate = Refuse});   // from here on only sharing can succeed
  EXPECT_EQ(first, MtMutexCreateRecursive("MtMutex_test"));
  MtMutexDestroy(first);
  MtMutexDestroy(first);
  EXPECT_EQ(first, MtMutexCreateRecursive("MtMutex_test"));
  MtMutexDestroy(first);
  MtMutexDestroy(first);
  EXPECT_EQ(nullptr, MtMutexCreateRecursive("MtMutex_test"));
  EXPECT_EQ(nullptr, MtMutexCreate());
  MtMutex_SetFake({});
  MtMutexDestroy(other);
  MtMutexDestroy(unnamed);
}

TEST(MtMutex, TheFakeRefusesAndChangesNothing) {
  MtMutex *mutex = MtMutexCreate();
  MtMutex_SetFake({.mayLock = Refuse});
  EXPECT_EQ(-1, MtMutexLock(mutex));
  MtMutex_SetFake({.mayUnlock = Refuse});
  EXPECT_EQ(0, MtMutexLock(mutex));
  EXPECT_EQ(-1, MtMutexUnLock(mutex));
  MtMutex_SetFake({});
  EXPECT_EQ(0, MtMutexUnLock(mutex));
  MtMutexDestroy(mutex);
}

}  // namespace
