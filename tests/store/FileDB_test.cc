#include "kxcert/store/FileDB.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <future>
#include <set>
#include <string>

#include "kxcert/platform/mutex.h"
#include "platform/mutexFake.h"
#include "support/caseFile.h"
#include "support/logCapture.h"
#include "support/scopedEnv.h"
#include "support/tempDir.h"

namespace {

bool Refuse() { return false; }
char g_value[] = "value";

int Store(FileDB &db, const char *key) { return db.Store(key, g_value, 5); }
int Length(FileDB &db, const char *key) {
  void *block = g_value;
  const int len = db.Get(key, &block);
  EXPECT_EQ(len < 0, block == nullptr);
  free(block);
  return len;
}

class FileDBTest : public testing::Test {
 protected:
  ~FileDBTest() override { MtMutex_SetFake({}); }
  const TempDir m_dir;
  const std::string m_name = m_dir.File("db");
  LogCapture m_log;
};

TEST_F(FileDBTest, TheEnvironmentSaysWhatLocks) {
  for (const CaseRow &row : CaseRows("store/lockTypes.txt", 2)) {
    SCOPED_TRACE(row.where);
    const bool isSet = row[0] != "(none)", storeLocks = row[1] != "-", getLocks = row[1] == "write read";
    const std::string value = isSet ? CaseText(row[0]) : "";
    const ScopedEnv type("FDB_ENV_LOCK_TYPE", isSet ? value.c_str() : nullptr);
    m_log.Clear();
    const std::unique_ptr<FileDB> db = FileDB_New(m_name.c_str(), "1", "T", "User::Init");
    EXPECT_EQ(isSet, m_log.Has("[T] User::Init: FDB_ENV_LOCK_TYPE=" + value));
    ASSERT_EQ(0, Store(*db, "k"));
    MtMutex_SetFake({.mayLock = Refuse});
    EXPECT_EQ(getLocks ? -1 : 5, Length(*db, "k"));
    EXPECT_EQ(storeLocks ? -1 : 0, Store(*db, "k2"));
    EXPECT_EQ(storeLocks ? -1 : 0, db->Remove("k"));
    EXPECT_EQ(-1, db->Destroy());
    MtMutex_SetFake({});
    EXPECT_EQ(storeLocks ? 5 : -1, Length(*db, "k"));   // refused, nothing was touched
    EXPECT_EQ(0, db->Destroy());
  }
}

TEST_F(FileDBTest, WhatCouldNotBeMadeFailsForGood) {
  FileDB closed(m_dir.File("absent/db").c_str(), "1");
  EXPECT_EQ(-1, Store(closed, "k"));
  EXPECT_EQ(-1, closed.Lock());
  EXPECT_EQ(nullptr, FileDB_Iter(closed).Next());
  FileDB_Safe db(m_name.c_str(), "1");
  MtMutex_SetFake({.mayCreate = Refuse});
  EXPECT_EQ(-1, Store(db, "k"));
  EXPECT_TRUE(m_log.Has("FileDB_Locker::Lock: MtMutexCreateRecursive("));
  MtMutex_SetFake({});
  EXPECT_EQ(-1, db.Lock());
  EXPECT_EQ(-1, db.Unlock());
}

TEST_F(FileDBTest, IteratingHoldsTheLockOfEveryObjectOnTheFolder) {
  FileDB_Safe db(m_name.c_str(), "1"), same(m_name.c_str(), "1"), other(m_name.c_str(), "2");
  ASSERT_EQ(0, Store(db, "a"));
  ASSERT_EQ(0, Store(db, "b"));
  std::future<int> stored;
  std::set<std::string> keys;
  {
    FileDB_SafeIter iter(db);
    stored = std::async(std::launch::async, [&] { return Store(same, "c"); });
    EXPECT_EQ(0, std::async(std::launch::async, [&] { return Store(other, "x"); }).get());   // a lock of its own
    while (const char *key = iter.Next()) {
      keys.insert(key);
      EXPECT_EQ(5, Length(db, key));   // the holder's own operations go on
      EXPECT_EQ(0, db.Remove(key));
    }
    EXPECT_EQ(std::future_status::timeout, stored.wait_for(std::chrono::milliseconds(30)));
  }
  EXPECT_EQ(0, stored.get());
  EXPECT_EQ((std::set<std::string>{"a", "b"}), keys);
}

TEST_F(FileDBTest, UnlocksWhateverHappened) {
  FileDB_Safe db(m_name.c_str(), "1");
  ASSERT_EQ(0, Store(db, "k"));
  ASSERT_EQ(0, db.Lock());
  MtMutex_SetFake({.mayLock = Refuse});
  {
    FileDB_SafeIter iter(db);
    EXPECT_EQ(nullptr, iter.Next());
  }
  EXPECT_TRUE(m_log.Has("FileDB_Iter::Next: bad iterator"));
  EXPECT_EQ(-1, db.Unlock());   // given back already
}

}  // namespace
