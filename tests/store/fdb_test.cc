#include "kxcert/store/fdb.h"

#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <thread>

#include "support/fileFake.h"
#include "support/heapPeak.h"
#include "support/scopedEnv.h"
#include "support/script.h"

namespace fs = std::filesystem;

namespace {

long NumOpenFiles() {
  const fs::directory_iterator open("/proc/self/fd");
  return std::distance(begin(open), end(open));
}

using Db = std::unique_ptr<fdb_handle, decltype(&fdb_close)>;
Db Open(const char *name, const char *version) { return {fdb_open(name, version), fdb_close}; }

int StoreIn(fdb_handle *db, const char *key, const std::string &value) {
  return fdb_store(db, key, value.data(), static_cast<int>(value.size()));
}
// The value, or "-" when there is none to be had.
std::string ReadFrom(fdb_handle *db, const char *key) {
  void *block = &block;
  const int len = fdb_read(db, key, &block);
  EXPECT_EQ(len < 0, block == nullptr);
  const std::unique_ptr<void, decltype(&free)> owned(block, free);
  return len < 0 ? "-" : std::string(static_cast<char *>(block), static_cast<size_t>(len));
}

std::string Spaced(const std::set<std::string> &words) {
  std::string all;
  for (const std::string &word : words) all += (all.empty() ? "" : " ") + word;
  return all;
}
std::string KeysOf(fdb_handle *db) {
  std::set<std::string> keys;
  const std::unique_ptr<fdb_iterator, decltype(&fdb_iter_destroy)> iter(fdb_iter(db), fdb_iter_destroy);
  while (const char *key = fdb_iter_next(iter.get())) EXPECT_TRUE(keys.insert(key).second) << key;
  EXPECT_EQ(nullptr, fdb_iter_next(iter.get()));
  return Spaced(keys);
}
std::string FilesIn(const std::string &folder) {
  std::set<std::string> names;
  for (const auto &entry : fs::directory_iterator(folder)) names.insert(entry.path().filename());
  return Spaced(names);
}

TEST(FdbSteps, DoWhatTheyShould) {
  const TempDir dir;
  const long numOpen = NumOpenFiles();
  Script()
      .In(dir)
      .On("Open", Open)
      .On("store", StoreIn)
      .On("storeOctets", [](fdb_handle *db, const char *key, const char *octets, int len) {
        return fdb_store(db, key, octets, len);
      })
      .On("read", ReadFrom)
      .On("readNowhere", [](fdb_handle *db, const char *key) { return fdb_read(db, key, nullptr); })
      .On("readLittle", [](fdb_handle *db, const char *key) {   // with little memory
        const HeapPeak peak;
        const std::string found = ReadFrom(db, key);
        EXPECT_GT(100000U, peak.Bytes());
        return found;
      })
      .On("remove", fdb_remove)
      .On("keys", KeysOf)
      .On("nextOfNone", [] { return fdb_iter_next(fdb_iter(nullptr)); })
      .On("destroy", fdb_destroy)
      .On("closeNoFile", [] { return kxFile_Close(-1); })
      .On("files", FilesIn)
      .On("folder", [](const std::string &path) { return fs::create_directory(path); })
      .On("resize", [](const std::string &file, uintmax_t size) { fs::resize_file(file, size); })
      .On("moreOpenFiles", [numOpen] { return NumOpenFiles() - numOpen; })
      .Run("store/fdb.steps");
}

// A database of its own in the folder "db_1".
class Fdb : public testing::Test {
 protected:
  int Store(const std::string &key, const std::string &value) { return StoreIn(m_db.get(), key.c_str(), value); }
  std::string Read(const std::string &key) { return ReadFrom(m_db.get(), key.c_str()); }
  template <class Operation, class Check>
  int FailEachStep(Operation operation, Check check) {
    const long numOpen = NumOpenFiles();
    return ::FailEachStep([] {}, operation, [&](int result, bool hasFailed) {
      EXPECT_EQ(hasFailed ? -1 : 0, result);
      EXPECT_EQ(numOpen, NumOpenFiles());
      if (hasFailed) check();
    });
  }

  const TempDir m_dir;
  const std::string m_folder = m_dir.File("db_1");
  Db m_db = Open(m_dir.File("db").c_str(), "1");
};

TEST_F(Fdb, AFailureAtAnyStepLeavesTheOldRecordAlone) {
  ASSERT_EQ(0, Store("k", "old"));
  const auto check = [this] {
    EXPECT_EQ("old", Read("k"));
    EXPECT_EQ("rec_k", FilesIn(m_folder));
  };
  EXPECT_EQ(5, FailEachStep([this] { return Read("k") == "old" ? 0 : -1; }, check));
  EXPECT_EQ(8, FailEachStep([this] { return Store("k", "new"); }, check));
  ASSERT_EQ(0, Store("k", "old"));
  EXPECT_EQ(1, FailEachStep([this] { return fdb_remove(m_db.get(), "k"); }, check));
}

TEST_F(Fdb, TheCallerOrTheEnvironmentSaysWhatAStoreWaitsFor) {
  for (const CaseRow &row : CaseRows("store/durable.txt", 3)) {
    SCOPED_TRACE(row.where);
    const ScopedEnv env("KXCERT_FDB_DURABLE", row[0] == "(none)" ? nullptr : row[0].c_str());
    m_db.reset(fdb_open(m_dir.File("db").c_str(), "1"));
    EXPECT_EQ(0, fdb_set_durable(std::stoi(row[1])));
    std::multiset<kxFileStep> steps;
    const FileFake fake([&steps](kxFileStep step, const char *) { return steps.insert(step), 0; });
    EXPECT_EQ(0, Store("k", "old"));
    EXPECT_EQ(row[2].starts_with("file"), steps.contains(kxStep_sync));
    EXPECT_EQ(row[2] == "file folder", steps.contains(kxStep_dirSync));
  }
  for (const int unknown : {-2, 3}) EXPECT_EQ(-1, fdb_set_durable(unknown));
  for (const auto &[refused, found] : {std::pair{kxStep_openRead, "old"}, {kxStep_dirSync, "new"}}) {
    const FileFake::Refuse refuse = [at = refused](kxFileStep step, const char *) { return step == at ? EMFILE : 0; };
    EXPECT_EQ(-1, FileFake(refuse).While([this] { return Store("k", "new"); }));
    EXPECT_EQ(found, Read("k"));   // the new one is there, but may not outlive a power cut
  }
  EXPECT_EQ(0, fdb_set_durable(-1));
}

TEST_F(Fdb, TriesFiveTemporaryNames) {
  std::set<std::string> names;
  size_t numTaken = 4;
  const FileFake fake([&](kxFileStep step, const char *path) {
    if (step == kxStep_createNew) names.insert(path);
    return step == kxStep_createNew && names.size() <= numTaken ? EEXIST : 0;
  });
  EXPECT_EQ(0, Store("k", "first"));
  EXPECT_EQ(5U, names.size());
  names.clear();
  numTaken = 6;
  LogCapture log;
  EXPECT_EQ(-1, Store("k", "second"));
  EXPECT_EQ(5U, names.size());
  EXPECT_TRUE(log.Has("[fdb] fdb_store: fdb_open_tmp failed"));
}

TEST_F(Fdb, ARecordThatShrinksKeepsItsLength) {
  ASSERT_EQ(0, Store("k", "0123456789"));
  const FileFake fake([this](kxFileStep step, const char *) {
    if (step == kxStep_read) fs::resize_file(m_folder + "/rec_k", 3);
    return 0;
  });
  EXPECT_EQ(std::string("012\0\0\0\0\0\0\0", 10), Read("k"));
}

// A value that says by its first octet how long it is.
std::string Value(int seed) {
  return std::string(static_cast<size_t>(20000 + 7919 * seed), static_cast<char>('a' + seed));
}
bool IsWhole(const std::string &found) { return !found.empty() && found[0] >= 'a' && found == Value(found[0] - 'a'); }

TEST_F(Fdb, ReadersNeverSeeHalfARecord) {
  ASSERT_EQ(0, Store("k", Value(0)));
  std::atomic<bool> done = false;
  std::thread writer([&] {
    for (int i = 0; i < 60; ++i) EXPECT_EQ(0, Store("k", Value(i % 20)));
    done = true;
  });
  while (!done) {
    const std::string found = Read("k");
    EXPECT_TRUE(IsWhole(found)) << found.size();
  }
  writer.join();
}

}  // namespace
