#include "kxcert/store/FileDB.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <future>
#include <set>
#include <string>
#include <thread>

#include "kxcert/platform/mutex.h"
#include "support/logCapture.h"
#include "support/scopedEnv.h"
#include "support/tempDir.h"

namespace {

bool Refuse() { return false; }

// Refuses mutex operations while it lives.
struct MutexFake {
  explicit MutexFake(const MtMutexFake &fake) { MtMutex_SetFake(fake); }
  ~MutexFake() { MtMutex_SetFake({}); }
};

char g_value[] = "value";

int Store(FileDB &db, const char *key) { return db.Store(key, g_value, 5); }
int Length(FileDB &db, const char *key) {
  void *block = g_value;
  const int len = db.Get(key, &block);
  EXPECT_EQ(len < 0, block == nullptr);
  free(block);
  return len;
}

struct LockTypeCase { const char *value; bool storeLocks, getLocks; };
constexpr LockTypeCase kLockTypeCases[] = {
    {"NO_LOCK", false, false}, {"LOCK_WRITE", true, false}, {"LOCK_ALL", true, true}, {nullptr, true, true},
    {"lock_write", true, true}, {"NO_LOCK ", true, true}, {"", true, true},
};

TEST(FileDB, TheEnvironmentSaysWhatLocks) {
  for (const LockTypeCase &c : kLockTypeCases) {
    SCOPED_TRACE(c.value != nullptr ? c.value : "(unset)");
    const TempDir dir;
    const ScopedEnv type("FDB_ENV_LOCK_TYPE", c.value);
    LogCapture log;
    const std::unique_ptr<FileDB> db = FileDB_New(dir.File("db").c_str(), "1", "T", "User::Init");
    EXPECT_EQ(c.value != nullptr, log.Has("[T] User::Init: FDB_ENV_LOCK_TYPE=" + std::string(c.value ? c.value : "")));
    ASSERT_EQ(0, Store(*db, "k"));
    ASSERT_EQ(5, Length(*db, "k"));
    const MutexFake fake({.mayLock = Refuse});
    EXPECT_EQ(c.getLocks ? -1 : 5, Length(*db, "k"));
    EXPECT_EQ(c.storeLocks ? -1 : 0, Store(*db, "k2"));
    EXPECT_EQ(c.storeLocks ? -1 : 0, db->Remove("k"));
    EXPECT_EQ(-1, db->Destroy());
    MtMutex_SetFake({});
    EXPECT_EQ(c.storeLocks ? 5 : -1, Length(*db, "k"));   // refused, nothing was touched
    EXPECT_EQ(0, db->Destroy());
  }
}

TEST(FileDB, ALockThatCannotBeMadeNeverIs) {
  const TempDir dir;
  FileDB_Safe db(dir.File("db").c_str(), "1");
  LogCapture log;
  EXPECT_EQ(-1, db.Unlock());
  EXPECT_TRUE(log.Has("FileDB_Locker::Unlock: no locker"));
  {
    const MutexFake fake({.mayCreate = Refuse});
    EXPECT_EQ(-1, Store(db, "k"));
    EXPECT_TRUE(log.Has("FileDB_Locker::Lock: MtMutexCreateRecursive("));
  }
  log.Clear();
  EXPECT_EQ(-1, db.Lock());
  EXPECT_EQ(-1, db.Unlock());
  EXPECT_EQ(-1, Length(db, "k"));
  EXPECT_TRUE(log.Lines().empty());   // it is not tried again
}

TEST(FileDB, WhatCouldNotBeOpenedFails) {
  const TempDir dir;
  for (const std::string &name : {dir.File("absent/db"), dir.Write("file_1", "x")}) {
    FileDB db(name.c_str(), name.ends_with("db") ? "1" : nullptr);
    EXPECT_EQ(-1, Store(db, "k"));
    EXPECT_EQ(-1, Length(db, "k"));
    EXPECT_EQ(-1, db.Remove("k"));
    EXPECT_EQ(-1, db.Lock());
    EXPECT_EQ(-1, db.Destroy());
    EXPECT_EQ(nullptr, FileDB_Iter(db).Next());
  }
}

TEST(FileDBIter, HoldsTheLockOfEveryObjectOnTheFolder) {
  const TempDir dir;
  FileDB_Safe db(dir.File("db").c_str(), "1"), same(dir.File("db").c_str(), "1"), other(dir.File("db").c_str(), "2");
  ASSERT_EQ(0, Store(db, "a"));
  ASSERT_EQ(0, Store(db, "b"));
  std::promise<int> stored;
  std::future<int> result = stored.get_future();
  std::thread waiting;
  std::set<std::string> keys;
  {
    FileDB_SafeIter iter(db);
    waiting = std::thread([&] { stored.set_value(Store(same, "c")); });
    std::thread([&other] { EXPECT_EQ(0, Store(other, "x")); }).join();   // another folder, another lock
    while (const char *key = iter.Next()) {
      keys.insert(key);
      EXPECT_EQ(5, Length(db, key));   // the holder's own operations go on
      EXPECT_EQ(0, db.Remove(key));
    }
    EXPECT_EQ(std::future_status::timeout, result.wait_for(std::chrono::milliseconds(50)));
  }
  EXPECT_EQ(0, result.get());
  waiting.join();
  EXPECT_EQ((std::set<std::string>{"a", "b"}), keys);
  EXPECT_EQ(5, Length(db, "c"));
}

TEST(FileDBIter, UnlocksWhateverHappened) {
  const TempDir dir;
  FileDB_Safe db(dir.File("db").c_str(), "1");
  ASSERT_EQ(0, Store(db, "k"));
  LogCapture log;
  {
    const MutexFake fake({.mayLock = Refuse});
    FileDB_SafeIter iter(db);
    EXPECT_EQ(nullptr, iter.Next());
    EXPECT_TRUE(log.Has("FileDB_Iter::Next: bad iterator"));
    EXPECT_FALSE(log.Has("MtMutexUnLock"));
  }
  EXPECT_TRUE(log.Has("FileDB_Locker::Unlock: MtMutexUnLock failed"));
  ASSERT_EQ(0, db.Lock());
  {
    FileDB_SafeIter iter(db);
    EXPECT_STREQ("k", iter.Next());
    iter.Destroy();
    EXPECT_EQ(nullptr, iter.Next());
  }
  EXPECT_EQ(-1, db.Unlock());   // the destructor has given back what was taken before
}

TEST(FileDBLocker, ThreadsThatMeetAtTheFirstLockShareIt) {
  for (int round = 0; round < 50; ++round) {
    FileDB_Locker locker("FileDB_test");
    int count = 0;   // plain on purpose
    const auto work = [&] {
      for (int i = 0; i < 100; ++i) {
        locker.Lock();
        ++count;
        locker.Unlock();
      }
    };
    std::thread first(work), second(work);
    first.join();
    second.join();
    ASSERT_EQ(200, count);
  }
}

}  // namespace
