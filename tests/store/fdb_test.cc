#include "kxcert/store/fdb.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "support/fileFaults.h"
#include "support/heapPeak.h"
#include "support/logCapture.h"
#include "support/tempDir.h"

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::UnorderedElementsAre;

namespace {

// A database of its own in the folder "db_1".
class Fdb : public testing::Test {
 protected:
  Fdb() : m_db(fdb_open(m_dir.File("db").c_str(), "1"), fdb_close) {}

  int Store(const std::string &key, const std::string &value) {
    return fdb_store(m_db.get(), key.c_str(), value.data(), static_cast<int>(value.size()));
  }
  // The value, or "-" when there is none to be had.
  std::string Read(const std::string &key) {
    void *block = this;
    const int len = fdb_read(m_db.get(), key.c_str(), &block);
    EXPECT_EQ(len < 0, block == nullptr);
    const std::string value = len < 0 ? "-" : std::string(static_cast<char *>(block), static_cast<size_t>(len));
    free(block);
    return value;
  }
  std::vector<std::string> Keys() {
    std::vector<std::string> keys;
    fdb_iterator *iter = fdb_iter(m_db.get());
    while (const char *key = fdb_iter_next(iter)) keys.emplace_back(key);
    EXPECT_EQ(nullptr, fdb_iter_next(iter));
    fdb_iter_destroy(iter);
    return keys;
  }
  std::vector<std::string> Files() const {
    std::vector<std::string> names;
    for (const auto &entry : fs::directory_iterator(Folder())) names.push_back(entry.path().filename());
    return names;
  }
  std::string Folder() const { return m_dir.File("db_1"); }

  // Runs it with each step failing in turn, until none is left to fail. @return how many there were
  int FailEachStep(const std::function<int()> &operation, const std::function<void()> &check) {
    for (int n = 1;; ++n) {
      SCOPED_TRACE(n);
      const int numOpen = NumOpenFiles();
      bool failed = false;
      {
        const FailNth fault(n);
        const int result = operation();
        failed = fault.Failed();
        EXPECT_EQ(failed ? -1 : 0, result);
      }
      EXPECT_EQ(numOpen, NumOpenFiles());
      if (!failed) return n - 1;
      check();
    }
  }

  const TempDir m_dir;
  std::unique_ptr<fdb_handle, decltype(&fdb_close)> m_db;
};

TEST_F(Fdb, KeepsRecordsAsFilesOfTheirOctets) {
  const std::string octets("a\0b\xFF", 4);
  EXPECT_EQ(0, Store("k1", octets));
  EXPECT_EQ(0, Store("k2", std::string(100000, 'x')));
  EXPECT_EQ(0, Store("k2", "shorter"));
  EXPECT_EQ(octets, m_dir.Read("db_1/rec_k1"));
  EXPECT_EQ("shorter", Read("k2"));
  EXPECT_THAT(Files(), UnorderedElementsAre("rec_k1", "rec_k2"));
  m_db.reset(fdb_open(m_dir.File("db").c_str(), "1"));   // what is there is used
  EXPECT_THAT(Keys(), UnorderedElementsAre("k1", "k2"));
  EXPECT_EQ(0, fdb_remove(m_db.get(), "k1"));
  EXPECT_EQ(-1, fdb_remove(m_db.get(), "k1"));
  EXPECT_EQ("-", Read("k1"));
  m_dir.Write("db_1/rec_empty", "");
  EXPECT_EQ("", Read("empty"));
  EXPECT_EQ(-1, Store("k2", ""));
  EXPECT_EQ("shorter", Read("k2"));
}

TEST_F(Fdb, RefusesNullArguments) {
  void *out = nullptr;
  fdb_handle *db = m_db.get();
  EXPECT_EQ(nullptr, fdb_open(nullptr, "1"));
  EXPECT_EQ(nullptr, fdb_open("x", nullptr));
  EXPECT_EQ(nullptr, fdb_open(m_dir.File("absent/db").c_str(), "1"));
  for (const int result : {fdb_read(nullptr, "k", &out), fdb_read(db, nullptr, &out), fdb_read(db, "k", nullptr),
                           fdb_store(nullptr, "k", "v", 1), fdb_store(db, nullptr, "v", 1),
                           fdb_store(db, "k", nullptr, 1), fdb_store(db, "k", "v", -1),
                           fdb_remove(nullptr, "k"), fdb_remove(db, nullptr), fdb_destroy(nullptr)}) {
    EXPECT_EQ(-1, result);
  }
  EXPECT_EQ(nullptr, fdb_iter(nullptr));
  EXPECT_EQ(nullptr, fdb_iter_next(nullptr));
  fdb_iter_destroy(nullptr);
  fdb_close(nullptr);
  EXPECT_THAT(Files(), ElementsAre());
}

TEST_F(Fdb, AStoreThatFailsAtAnyStepLeavesTheOldRecordAlone) {
  ASSERT_EQ(0, Store("k", "old"));
  const auto check = [this] {
    EXPECT_EQ("old", Read("k"));
    EXPECT_THAT(Files(), ElementsAre("rec_k"));
  };
  EXPECT_EQ(8, FailEachStep([this] { return Store("k", "new"); }, check));
  EXPECT_EQ("new", Read("k"));
}

TEST_F(Fdb, ReadingAndRemovingFailAtAnyStep) {
  ASSERT_EQ(0, Store("k", "old"));
  const auto check = [this] { EXPECT_THAT(Files(), ElementsAre("rec_k")); };
  EXPECT_EQ(5, FailEachStep([this] { return Read("k") == "old" ? 0 : -1; }, check));
  EXPECT_EQ(1, FailEachStep([this] { return fdb_remove(m_db.get(), "k"); }, check));
}

TEST_F(Fdb, TriesFiveTemporaryNames) {
  std::vector<std::string> names;
  int numTaken = 4;
  const FileFake fake([&](kxFileStep step, const char *path) {
    if (step != kxStep_createNew) return 0;
    names.emplace_back(path);
    return static_cast<int>(names.size()) <= numTaken ? EEXIST : 0;
  });
  EXPECT_EQ(0, Store("k", "first"));
  EXPECT_EQ(5U, names.size());
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names.end(), std::adjacent_find(names.begin(), names.end()));
  names.clear();
  numTaken = 5;
  LogCapture log;
  EXPECT_EQ(-1, Store("k", "second"));
  EXPECT_EQ(5U, names.size());
  EXPECT_TRUE(log.Has("[fdb] fdb_store: fdb_open_tmp failed"));
  EXPECT_EQ("first", Read("k"));
}

// What the system writes only in part, as on a full disk.
TEST_F(Fdb, AShortWriteIsAFailure) {
  ASSERT_EQ(0, Store("k", "old"));
  rlimit before;
  ASSERT_EQ(0, getrlimit(RLIMIT_FSIZE, &before));
  const rlimit small = {4096, before.rlim_max};
  const auto oldHandler = signal(SIGXFSZ, SIG_IGN);
  LogCapture log;
  setrlimit(RLIMIT_FSIZE, &small);
  const int result = Store("k", std::string(10000, 'n'));
  setrlimit(RLIMIT_FSIZE, &before);
  signal(SIGXFSZ, oldHandler);
  EXPECT_EQ(-1, result);
  EXPECT_TRUE(log.Has("fdb_store: fwrite(buf_len=10000): File too large"));
  EXPECT_TRUE(log.Has("fdb_store: fail while storing data in temp file " + Folder() + "/tmp"));
  EXPECT_EQ("old", Read("k"));
  EXPECT_THAT(Files(), ElementsAre("rec_k"));
}

TEST_F(Fdb, ARecordThatShrinksKeepsItsLength) {
  ASSERT_EQ(0, Store("k", "0123456789"));
  const FileFake fake([this](kxFileStep step, const char *) {
    if (step == kxStep_read) fs::resize_file(Folder() + "/rec_k", 3);
    return 0;
  });
  EXPECT_EQ(std::string("012\0\0\0\0\0\0\0", 10), Read("k"));
}

TEST_F(Fdb, ARecordThatIsReplacedIsReadWhole) {
  for (const std::string other : {"longer than the one before", "short"}) {
    ASSERT_EQ(0, Store("k", "0123456789"));
    const std::string file = m_dir.Write("other", other);
    const FileFake fake([&file](kxFileStep step, const char *path) {
      if (step == kxStep_openRead) fs::rename(file, path);
      return 0;
    });
    EXPECT_EQ(other, Read("k"));
  }
}

TEST_F(Fdb, MeasuresALinkAsTheLink) {
  const std::string target = m_dir.Write("target", std::string(1000, 't'));
  fs::create_symlink(target, Folder() + "/rec_link");
  EXPECT_EQ(std::string(target.size(), 't'), Read("link"));
}

TEST_F(Fdb, RefusesTwoGigabytesWithoutMakingRoom) {
  const std::string file = m_dir.Write("db_1/rec_big", "x");
  std::error_code refused;
  fs::resize_file(file, uintmax_t{1} << 31, refused);
  if (refused) GTEST_SKIP() << refused.message();
  const HeapPeak peak;
  EXPECT_EQ("-", Read("big"));
  EXPECT_GT(100000U, peak.Bytes());
}

TEST_F(Fdb, DestroyingTakesTheRecordsAndTheFolder) {
  ASSERT_EQ(0, Store("a", "1"));
  ASSERT_EQ(0, Store("b", "2"));
  const std::string left = m_dir.Write("db_1/tmpAbCdEf", "half a rec");
  EXPECT_THAT(Keys(), UnorderedElementsAre("a", "b"));
  LogCapture log;
  EXPECT_EQ(-1, fdb_destroy(m_db.get()));
  EXPECT_TRUE(log.Has("fdb_destroy: rmdir(" + Folder() + "): Directory not empty"));
  EXPECT_THAT(Files(), ElementsAre("tmpAbCdEf"));
  fs::remove(left);
  {
    const FileFake noFolder([](kxFileStep step, const char *) { return step == kxStep_dirOpen ? EMFILE : 0; });
    EXPECT_EQ(0, fdb_destroy(m_db.get()));   // tried all the same
  }
  EXPECT_TRUE(log.Has("fdb_destroy: fdb_iter failed"));
  EXPECT_FALSE(fs::exists(Folder()));
}

TEST_F(Fdb, DestroyingLeavesItsStreamOpen) {
  const int before = NumOpenFiles();
  EXPECT_EQ(0, fdb_destroy(m_db.get()));
  EXPECT_EQ(before + 1, NumOpenFiles());
  m_db.reset();
  EXPECT_EQ(before, NumOpenFiles());
}

TEST_F(Fdb, AnIteratorEndsForGoodWhenItsFolderFails) {
  ASSERT_EQ(0, Store("k", "v"));
  fdb_iterator *iter = fdb_iter(m_db.get());
  LogCapture log;
  {
    const FailNth fault(1);
    EXPECT_EQ(nullptr, fdb_iter_next(iter));
  }
  EXPECT_TRUE(log.Has("fdb_iter_next: readdir: "));
  EXPECT_EQ(nullptr, fdb_iter_next(iter));
  fdb_iter_destroy(iter);
}

TEST_F(Fdb, AProcessKilledBetweenStepsLeavesTheOldRecordOrTheNew) {
  int numOld = 0, numNew = 0;
  for (int n = 1;; ++n) {
    SCOPED_TRACE(n);
    ASSERT_EQ(0, Store("k", "old"));
    const bool killed = KilledAtStep(n, [this] { Store("k", "the new one"); });
    const std::string found = Read("k");
    EXPECT_TRUE(found == "old" || found == "the new one") << found;
    ++(found == "old" ? numOld : numNew);
    EXPECT_THAT(Keys(), ElementsAre("k"));
    if (!killed) break;
  }
  EXPECT_EQ(8, numOld);   // one for each step of a store
  EXPECT_EQ(1, numNew);   // the one that was not killed
}

// A value that says by its first octet how long it is.
std::string Repeated(int seed) {
  return std::string(static_cast<size_t>(20000 + 7919 * seed), static_cast<char>('a' + seed));
}
bool IsWhole(const std::string &found) {
  return !found.empty() && found[0] >= 'a' && found == Repeated(found[0] - 'a');
}

// At any moment, within a step too.
TEST_F(Fdb, AProcessKilledAtAnyTimeLeavesWholeRecords) {
  constexpr int kNumKills = 60, kNumValues = 20;
  for (int round = 0; round < kNumKills; ++round) {
    int ready[2];
    ASSERT_EQ(0, pipe(ready));
    const pid_t child = fork();
    if (child == 0) {
      for (int i = 0;; ++i) {
        Store("k" + std::to_string(i % 3), Repeated((round + i) % kNumValues));
        if (i == 2 && write(ready[1], "r", 1) != 1) _exit(1);
      }
    }
    char octet;
    ASSERT_EQ(1, read(ready[0], &octet, 1));
    usleep(static_cast<useconds_t>(round * 137 % 5000));
    kill(child, SIGKILL);
    ASSERT_EQ(child, waitpid(child, nullptr, 0));
    close(ready[0]);
    close(ready[1]);
    EXPECT_THAT(Keys(), UnorderedElementsAre("k0", "k1", "k2"));
    for (const char *key : {"k0", "k1", "k2"}) {
      const std::string found = Read(key);
      ASSERT_TRUE(IsWhole(found)) << round << ": " << found.size();
    }
  }
}

TEST_F(Fdb, ReadersNeverSeeHalfARecord) {
  ASSERT_EQ(0, Store("k", Repeated(0)));
  constexpr int kNumStores = 60;
  std::atomic<bool> done = false;
  std::thread writer([&] {
    for (int i = 0; i < kNumStores; ++i) EXPECT_EQ(0, Store("k", Repeated(i % 20)));
    done = true;
  });
  while (!done) {
    const std::string found = Read("k");
    EXPECT_TRUE(IsWhole(found)) << found.size();
  }
  writer.join();
}

}  // namespace
