#include "kxcert/store/CrlDB.h"

#include <gtest/gtest.h>
#include <sys/time.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>

#include "kxcert/cert/sxCRL.h"
#include "kxcert/cert/sxGeneralName.h"
#include "support/caseFile.h"
#include "support/fileFake.h"
#include "support/fixedClock.h"
#include "support/logCapture.h"
#include "support/tempDir.h"
#include "support/testCrl.h"

namespace fs = std::filesystem;

namespace {

constexpr long kNow = 1893456000;   // 2030-01-01 00:00 UTC
constexpr char kUri[] = "http://ca.example/1.crl";

struct FreeCrl {
  void operator()(sxCRL *crl) const { sxCRL_Free(crl); }
};
using CrlRef = std::unique_ptr<sxCRL, FreeCrl>;

std::string Expiry(int32_t sec) {
  char octets[4];
  std::memcpy(octets, &sec, sizeof octets);
  return {octets, sizeof octets};
}

class CrlDatabase : public testing::Test {
 protected:
  CrlDatabase() : m_crl(sxCRL_Decode(m_der.data(), LenOf(m_der))) { EXPECT_EQ(0, m_db.InitPath(m_dir.Path().c_str())); }

  std::string KeyOf(const char *suffix) {
    const std::unique_ptr<char, decltype(&free)> key(m_db.Key(m_dp, suffix), free);
    return key.get();
  }
  std::string FileOf(const char *suffix) { return "CrlCache_1/rec_" + KeyOf(suffix); }
  int Store(const char *suffix, long expiry) { return m_db.Store(m_dp, suffix, m_crl.get(), expiry); }
  CrlRef Get(const char *suffix, long now) { return CrlRef(m_db.Get(m_dp, suffix, now, &m_expiry)); }
  bool Exists(const std::string &file) const { return fs::exists(fs::symlink_status(m_dir.File(file))); }

  const TempDir m_dir;
  const Octets m_der = TestCrl(3);
  const CrlRef m_crl;
  const sxGeneralName m_dp{sxGN_uri, kUri, sizeof kUri - 1};
  CrlDB m_db;
  long m_expiry = -7;
  LogCapture m_log;
};

TEST_F(CrlDatabase, RecordsAreExpiryAndDerUnderMd5OfTheName) {
  ASSERT_EQ(0, Store("My CA", kNow));
  const std::string md5 = "5b6d0b4269c3498da68e16eb412fd6b8";   // of the URI, the suffix and a NUL
  EXPECT_EQ(Expiry(kNow) + std::string(m_der.begin(), m_der.end()), m_dir.Read("CrlCache_1/rec_" + md5));
  EXPECT_EQ(nullptr, Get("My CA", kNow));
  EXPECT_TRUE(m_log.Has("[CrlDB] CrlDB::Get: old record"));
  EXPECT_EQ(nullptr, Get(nullptr, kNow - 1));
  EXPECT_TRUE(m_log.Has("CrlDB::Get: record not found"));
  EXPECT_EQ(-7, m_expiry);
  const CrlRef found = Get("My CA", kNow - 1);
  ASSERT_NE(nullptr, found);
  EXPECT_EQ(m_der, Octets(found->GetBuf(), found->GetBuf() + found->BufLen()));
  EXPECT_EQ(kNow, m_expiry);
  EXPECT_EQ(0, m_db.Remove(m_dp, "My CA"));
  EXPECT_EQ(-1, m_db.Remove(m_dp, "My CA"));
  EXPECT_TRUE(m_log.Has("CrlDB::Remove: fdb->Remove failed (key = " + md5 + ")."));
}

TEST_F(CrlDatabase, StoresExpiriesIn32Bits) {
  EXPECT_EQ(-1, m_db.Store(sxGeneralName(), "My CA", m_crl.get(), kNow));   // there is no key
  EXPECT_EQ(-1, m_db.Store(m_dp, nullptr, nullptr, kNow));
  for (const auto &[given, stored] : {std::pair{LONG_MAX, INT32_MAX}, {-1L, -1}, {LONG_MIN, INT32_MIN}}) {
    ASSERT_EQ(0, Store(nullptr, given));
    EXPECT_EQ(Expiry(stored), m_dir.Read(FileOf(nullptr)).substr(0, 4));
  }
}

TEST_F(CrlDatabase, SurvivesRecordsCutShort) {
  ASSERT_EQ(0, Store(nullptr, kNow));
  const std::string whole = m_dir.Read(FileOf(nullptr));
  for (size_t len = 0; len < whole.size(); ++len) {
    m_dir.Write(FileOf(nullptr), whole.substr(0, len));
    m_log.Clear();
    ASSERT_EQ(nullptr, Get(nullptr, kNow - 1)) << len;
    EXPECT_TRUE(m_log.Has(len < 4 ? "CrlDB::Get: old record" : "CrlDB::Get: bad crl")) << len;
  }
}

TEST_F(CrlDatabase, CollectsWhatIsExpiredShortOrUnreadable) {
  FixedClock clock(-1);
  ASSERT_EQ(0, sxCRLCache_set_dbpath(m_dir.Path().c_str()));
  sxCRLCache_db().Init();
  const std::vector<CaseRow> rows = CaseRows("store/collected.txt", 4);
  for (const CaseRow &row : rows) {
    const timeval time = {kNow - std::stol(row[2]), 0}, times[2] = {time, time};
    ASSERT_EQ(0, utimes(m_dir.Write("CrlCache_1/" + row[0], CaseText(row[1])).c_str(), times));
  }
  fs::create_symlink("nowhere", m_dir.File("CrlCache_1/rec_dangling"));
  crl_db_garbage_collector(this);
  EXPECT_TRUE(m_log.Has("CrlDB:GarbageCollector: time"));
  EXPECT_TRUE(Exists("CrlCache_1/rec_short"));
  clock.Set(kNow);
  crl_db_garbage_collector(nullptr);
  EXPECT_TRUE(m_log.Has("CrlDB:GarbageCollector: fdb->Get failed (key = dangling)."));
  for (const CaseRow &row : rows) EXPECT_EQ(row[3] == "kept", fs::remove(m_dir.File("CrlCache_1/" + row[0]))) << row[0];
  EXPECT_TRUE(fs::is_empty(m_dir.File("CrlCache_1")));
  EXPECT_EQ(0, remove_crl_cache_db());
  EXPECT_FALSE(Exists("CrlCache_1"));
  EXPECT_EQ(0, sxCRLCache_db().Store(m_dp, nullptr, m_crl.get(), kNow));   // begins anew
  ASSERT_EQ(0, m_db.InitPath(m_dir.File(".").c_str()));                    // the same folder
  EXPECT_NE(nullptr, Get(nullptr, kNow - 1));
}

// Whatever happens between any two steps of the collector: another process stores, once or at three
// steps in turn, or the system refuses the step for want of descriptors.
TEST_F(CrlDatabase, CollectsTheFileThatItLookedAt) {
  const FixedClock clock(kNow);
  m_db.Init();
  const std::string record = m_dir.File("CrlCache_1/rec_k");
  enum Trouble { kStoredOnce, kStoredThrice, kRefused };
  for (const Trouble trouble : {kStoredOnce, kStoredThrice, kRefused}) {
    int numLeft = 0;
    for (int at = 1; numLeft <= 0; ++at) {
      SCOPED_TRACE(testing::Message() << trouble << " at step " << at);
      std::string expected = Expiry(kNow + 1);
      m_dir.Write("CrlCache_1/rec_k", trouble == kRefused ? expected : Expiry(kNow));
      numLeft = at;
      {
        const FileFake fake([&](kxFileStep, const char *) {
          if (--numLeft > 0 || numLeft <= (trouble == kStoredThrice ? -3 : -1)) return 0;
          if (trouble == kRefused) return EMFILE;
          expected = Expiry(kNow + 1) + std::to_string(numLeft);
          fs::rename(m_dir.Write("CrlCache_1/new", expected), record);
          return 0;
        });
        m_db.GarbageCollector();
      }
      if (numLeft > 0) break;   // no such step any more
      EXPECT_EQ(expected, m_dir.Read("CrlCache_1/rec_k"));
      EXPECT_EQ(1, std::distance(fs::directory_iterator(m_dir.File("CrlCache_1")), {}));
    }
  }
  m_dir.Write("CrlCache_1/rec_k", Expiry(kNow));
  {
    int numLooks = 0;   // at what was moved away: whether the name is free, and whether it is the same file
    const FileFake blind([&](kxFileStep step, const char *path) {
      return step == kxStep_info && path != record && ++numLooks == 2 ? EIO : 0;
    });
    m_db.GarbageCollector();
  }
  EXPECT_EQ(Expiry(kNow), m_dir.Read("CrlCache_1/rec_k")) << "unseen, it is put back";
  const FileFake full([](kxFileStep step, const char *) { return step == kxStep_rename ? ENOSPC : 0; });
  m_db.GarbageCollector();
  EXPECT_FALSE(Exists("CrlCache_1/rec_k")) << "a full disk is to be emptied";
}

}  // namespace
