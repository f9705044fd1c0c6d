#include "kxcert/store/Cert_Cache_DB.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <filesystem>

#include "kxcert/cert/sxDN.h"
#include "kxcert/store/FileDB.h"
#include "kxcert/store/storeFolder.h"
#include "support/derOctets.h"
#include "support/fileFake.h"
#include "support/fixedClock.h"
#include "support/logCapture.h"
#include "support/tempDir.h"
#include "support/testPki.h"

namespace fs = std::filesystem;

namespace {

constexpr long kNow = kTestNow;

class CertDatabase : public testing::Test {
 protected:
  CertDatabase() { EXPECT_EQ(0, m_db.InitPath(m_dir.Path().c_str())); }

  int Store(long expiry) { return m_db.Store(m_dn, m_cert.Get(), expiry); }
  // Whether it is found, and whole.
  bool Finds(const sxDN &dn, long now) {
    sxCert *found = m_db.Get(dn, now, &m_expiry);
    const bool isSame = found != nullptr && *found == *m_cert.Get();
    EXPECT_EQ(found != nullptr, isSame);
    sxCert_Free(found);
    return isSame;
  }

  const TempDir m_dir;
  const TestCert m_cert{"O=Store/CN=CA", nullptr, CaOptions()};
  const sxDN m_dn{"CN=CA,O=Store"};
  Cert_Cache_DB m_db;
  long m_expiry = -7;
};

// When a record is old, and what is stored of a time, hold for CRLs as well: see there.
TEST_F(CertDatabase, RecordsAreExpiryAndDerUnderMd5OfTheName) {
  const std::string file = "CertCache_1/rec_95532a89bb04dd49cde9b0ec2b0e6dca";   // printf 'CN=CA,O=Store\0' | md5sum
  const int32_t expiry = kNow;
  const std::string record = std::string(reinterpret_cast<const char *>(&expiry), 4) + StringOf(DerOf(*m_cert.Get()));
  LogCapture log;
  ASSERT_EQ(0, Store(kNow));
  EXPECT_EQ(record, m_dir.Read(file));
  EXPECT_FALSE(Finds(m_dn, kNow));
  EXPECT_FALSE(Finds(sxDN("CN=CA,O=Stor"), kNow - 1));
  EXPECT_EQ(-7, m_expiry);
  EXPECT_TRUE(Finds(m_dn, kNow - 1));
  EXPECT_EQ(kNow, m_expiry);
  EXPECT_TRUE(log.Has("[CERT] Cert_Cache_DB::Get: succeeded to get Cert: 0x"));
  m_dir.Write(file, record.substr(0, record.size() - 1));
  EXPECT_FALSE(Finds(m_dn, kNow - 1));
  EXPECT_TRUE(log.Has("Cert_Cache_DB::Get: bad cert"));
  EXPECT_EQ(0, m_db.Remove(m_dn));
  EXPECT_EQ(-1, m_db.Remove(m_dn));
  EXPECT_EQ(-1, m_db.Store(sxDN(), m_cert.Get(), kNow));
}

// Every step of the system refused in turn: the old record or the new one is found, nothing else lies there, and what
// said that it is done is done.
TEST_F(CertDatabase, SurvivesAFailureAtEachStep) {
  const FixedClock clock(kNow);
  const sxDN late("CN=late");
  const auto fail = [&](auto operation, auto check) {
    const auto before = [&] {
      ASSERT_EQ(0, Store(kNow + 1));
      ASSERT_EQ(0, m_db.Store(late, m_cert.Get(), kNow));
    };
    FailEachStep(before, operation, check);
  };
  const auto expectFound = [this](long expiry) {
    EXPECT_TRUE(Finds(m_dn, kNow));
    EXPECT_EQ(expiry, m_expiry);
  };
  fail([this] { return Store(kNow + 2); }, [&](int rc, bool hasFailed) {
    EXPECT_TRUE(hasFailed || rc == 0);
    expectFound(rc == 0 ? kNow + 2 : kNow + 1);
  });
  fail([this] { return Finds(m_dn, kNow); }, [](bool isFound, bool hasFailed) { EXPECT_EQ(!hasFailed, isFound); });
  fail([this] { return m_db.GarbageCollector(), 0; }, [&](int, bool) { expectFound(kNow + 1); });
  EXPECT_EQ(1, std::distance(fs::directory_iterator(m_dir.File("CertCache_1")), {})) << "nothing failed any more";
  fail([this] { return m_db.Remove(m_dn); }, [&](int rc, bool hasFailed) {
    EXPECT_TRUE(hasFailed || rc == 0);
    if (rc != 0) return expectFound(kNow + 1);
    EXPECT_FALSE(Finds(m_dn, kNow));
  });
}

// Only what lstat does not find is gone, and only what it says is a link leads nowhere.
TEST_F(CertDatabase, WhatCannotBeLookedAtIsUnreadableAndStays) {
  const FixedClock clock(kNow);
  ASSERT_EQ(0, Store(kNow + 1));
  const sxStoreFolder folder(m_dir.File("CertCache_1").c_str(), sxStoreKind::kCerts);
  for (const auto &[refused, error] : {std::pair{kxStep_info, EACCES}, {kxStep_openRead, ENOENT}, {kxStep_openRead, EMFILE}}) {
    const FileFake::Refuse refuse = [step = refused, err = error](kxFileStep at, const char *) { return at == step ? err : 0; };
    bool removed = false;
    const auto look = [&] {
      m_db.GarbageCollector();
      return folder.Repair("rec_95532a89bb04dd49cde9b0ec2b0e6dca", kNow, removed).state;
    };
    EXPECT_EQ(sxStoreState::kUnreadable, FileFake(refuse).While(look));
    EXPECT_FALSE(removed);
    EXPECT_TRUE(Finds(m_dn, kNow));
  }
  ASSERT_EQ(0, mkfifo(m_dir.File("CertCache_1/rec_pipe").c_str(), 0600));
  const FileFake::Refuse refuse = [](kxFileStep at, const char *) { return at == kxStep_openRead ? EIO : 0; };
  EXPECT_EQ(sxStoreState::kForeign, FileFake(refuse).While([&] { return folder.Look("rec_pipe", kNow).state; }));
}

constexpr int kNumProcesses = 4;
constexpr int kShortRounds = 40;

struct Shared {   // how often each process stored, from before and from after
  std::atomic<int> begun[kNumProcesses], done[kNumProcesses];
  std::atomic<int> torn, reads, walks;
};

sxDN NameOf(int process) { return sxDN(("CN=" + std::to_string(process)).c_str()); }

// Stores under its own name, reads the others', walks the keys and collects, until it is killed.
void Work(Cert_Cache_DB &db, const sxCert &cert, Shared &shared, int self) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);   // nobody is left over by a test that fails
  for (int i = 0;; ++i) {
    std::atomic<int> &done = shared.done[self];
    shared.begun[self] = done + 1;
    if (db.Store(NameOf(self), &cert, kNow + 1 + done) == 0) ++done;
    db.Store(NameOf(kNumProcesses + self), &cert, kNow);   // for the collectors
    long expiry = 0;
    const int other = (self + i) % kNumProcesses;
    const bool isThere = shared.done[other] > 0;
    sxCert *found = db.Get(NameOf(other), kNow, &expiry);
    if (found != nullptr ? !(*found == cert) : isThere) ++shared.torn;
    shared.reads += found != nullptr ? 1 : 0;
    sxCert_Free(found);
    if (i % 8 == self) db.GarbageCollector();
    FileDB_SafeIter iter(*db.FDB());
    while (iter.Next() != nullptr) {}
    ++shared.walks;
  }
}

// KXCERT_KILL_ROUNDS=2000 makes a long run of it.
TEST_F(CertDatabase, LosesNothingWhenProcessesAreKilled) {
  const FixedClock clock(kNow);
  const char *wanted = getenv("KXCERT_KILL_ROUNDS");
  const int numRounds = wanted != nullptr ? std::atoi(wanted) : kShortRounds;
  auto *shared = static_cast<Shared *>(
      mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  ASSERT_NE(MAP_FAILED, static_cast<void *>(shared));
  m_db.Init();
  unsigned seed = 1;
  pid_t children[kNumProcesses] = {};
  const auto start = [&](int self) {
    children[self] = fork();
    if (children[self] == 0) Work(m_db, *m_cert.Get(), *shared, self);
    ASSERT_LT(0, children[self]);
  };
  for (int self = 0; self < kNumProcesses; ++self) start(self);
  for (int round = 0; round < numRounds; ++round) {
    const int victim = rand_r(&seed) % kNumProcesses;
    usleep(static_cast<useconds_t>(2000 + rand_r(&seed) % 6000));
    kill(children[victim], SIGKILL);
    ASSERT_EQ(children[victim], waitpid(children[victim], nullptr, 0));
    const int done = shared->done[victim], begun = shared->begun[victim];
    const bool isFound = Finds(NameOf(victim), kNow);
    ASSERT_TRUE(isFound || done == 0) << "round " << round;
    if (isFound) {
      ASSERT_LE(kNow + done, m_expiry) << "round " << round;
      ASSERT_GE(kNow + begun, m_expiry) << "round " << round;
      shared->done[victim] = static_cast<int>(m_expiry - kNow);
    }
    start(victim);
  }
  for (const pid_t child : children) kill(child, SIGKILL);
  for (const pid_t child : children) waitpid(child, nullptr, 0);
  EXPECT_EQ(0, shared->torn);
  EXPECT_LT(0, shared->reads);
  EXPECT_LT(0, shared->walks);
  printf("%d rounds: %d reads, %d walks\n", numRounds, shared->reads.load(), shared->walks.load());
  munmap(shared, sizeof(Shared));
}

}  // namespace
