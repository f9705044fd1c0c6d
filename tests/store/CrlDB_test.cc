#include "kxcert/store/CrlDB.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>

#include "kxcert/cert/sxCRL.h"
#include "kxcert/cert/sxGeneralName.h"
#include "kxcert/store/FileDB.h"
#include "support/fileFaults.h"
#include "support/fixedClock.h"
#include "support/logCapture.h"
#include "support/runCommand.h"
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

  std::string KeyOf(const sxGeneralName &dp, const char *suffix) {
    char *key = m_db.Key(dp, suffix);
    const std::string text = key != nullptr ? key : "(null)";
    free(key);
    return text;
  }
  std::string FileOf(const char *suffix) { return "CrlCache_1/rec_" + KeyOf(m_dp, suffix); }
  CrlRef Get(const char *suffix, long now) { return CrlRef(m_db.Get(m_dp, suffix, now, &m_expiry)); }
  bool Exists(const std::string &file) const { return fs::exists(m_dir.File(file)); }

  const TempDir m_dir;
  const Octets m_der = TestCrl(3);
  const CrlRef m_crl;
  const sxGeneralName m_dp{sxGN_uri, kUri, sizeof kUri - 1};
  CrlDB m_db;
  long m_expiry = -7;
};

TEST_F(CrlDatabase, KeysAreMd5OfTextAndSuffixWithTheirNul) {
  const auto md5 = [](const std::string &text) {
    return RunCommand("printf '" + text + "\\0' | openssl md5 -r").substr(0, 32);
  };
  EXPECT_EQ(md5(kUri), KeyOf(m_dp, nullptr));
  EXPECT_EQ(md5(kUri), KeyOf(m_dp, ""));
  EXPECT_EQ(md5(std::string(kUri) + "My CA"), KeyOf(m_dp, "My CA"));
  EXPECT_EQ("(null)", KeyOf(sxGeneralName(), "My CA"));
}

TEST_F(CrlDatabase, RecordsAreExpiryAndDer) {
  ASSERT_EQ(0, m_db.Store(m_dp, "CA", m_crl.get(), kNow));
  EXPECT_EQ(Expiry(kNow) + std::string(m_der.begin(), m_der.end()), m_dir.Read(FileOf("CA")));
  LogCapture log;
  EXPECT_EQ(nullptr, Get("CA", kNow));
  EXPECT_TRUE(log.Has("[CrlDB] CrlDB::Get: old record"));
  EXPECT_TRUE(Exists(FileOf("CA")));
  EXPECT_EQ(nullptr, Get(nullptr, kNow - 1));
  EXPECT_TRUE(log.Has("CrlDB::Get: record not found"));
  EXPECT_EQ(-7, m_expiry);
  const CrlRef found = Get("CA", kNow - 1);
  ASSERT_NE(nullptr, found);
  EXPECT_EQ(m_der, Octets(found->GetBuf(), found->GetBuf() + found->BufLen()));
  EXPECT_EQ(kNow, m_expiry);
  EXPECT_EQ(0, m_db.Remove(m_dp, "CA"));
  EXPECT_EQ(-1, m_db.Remove(m_dp, "CA"));
  EXPECT_TRUE(log.Has("CrlDB::Remove: fdb->Remove failed (key = " + KeyOf(m_dp, "CA") + ")."));
}

TEST_F(CrlDatabase, ExpiriesBeyond32BitsBecomeTheNearest) {
  struct { long given; int32_t stored; } const cases[] = {
      {LONG_MAX, INT32_MAX}, {INT32_MAX, INT32_MAX}, {0, 0}, {LONG_MIN, INT32_MIN},
  };
  for (const auto &c : cases) {
    ASSERT_EQ(0, m_db.Store(m_dp, nullptr, m_crl.get(), c.given));
    EXPECT_EQ(Expiry(c.stored), m_dir.Read(FileOf(nullptr)).substr(0, 4));
    EXPECT_EQ(c.stored > 0, Get(nullptr, c.stored > 0 ? c.stored - 1 : c.stored) != nullptr);
  }
}

TEST_F(CrlDatabase, RefusesBadArguments) {
  LogCapture log;
  sxCRL_Encoder noOctets;
  EXPECT_EQ(-1, m_db.Store(m_dp, nullptr, nullptr, kNow));
  EXPECT_EQ(-1, m_db.Store(m_dp, nullptr, &noOctets, kNow));
  EXPECT_TRUE(log.Has("CrlDB::Store: bad args"));
  EXPECT_EQ(nullptr, m_db.Get(m_dp, nullptr, kNow, nullptr));
  EXPECT_TRUE(log.Has("CrlDB::Get: bad args"));
  EXPECT_EQ(-1, m_db.Store(sxGeneralName(), nullptr, m_crl.get(), kNow));
  EXPECT_TRUE(log.Has("CrlDB::Store: fdb->Store failed"));
  EXPECT_EQ(-1, m_db.InitPath(nullptr));
  EXPECT_TRUE(log.Has("CrlDB::InitPath: no path"));
  CrlDB noPath;
  EXPECT_EQ(-1, noPath.Store(m_dp, nullptr, m_crl.get(), kNow));
  EXPECT_EQ(nullptr, noPath.Get(m_dp, nullptr, kNow, &m_expiry));
  noPath.GarbageCollector();
  EXPECT_EQ(-1, noPath.Destroy());
}

TEST_F(CrlDatabase, SurvivesRecordsCutShort) {
  ASSERT_EQ(0, m_db.Store(m_dp, nullptr, m_crl.get(), kNow));
  const std::string whole = m_dir.Read(FileOf(nullptr));
  for (size_t len = 0; len < whole.size(); ++len) {
    m_dir.Write(FileOf(nullptr), whole.substr(0, len));
    LogCapture log;
    ASSERT_EQ(nullptr, Get(nullptr, kNow - 1)) << len;
    EXPECT_TRUE(log.Has(len < 4 ? "CrlDB::Get: old record" : "CrlDB::Get: bad crl")) << len;
  }
  EXPECT_TRUE(Exists(FileOf(nullptr)));
}

TEST_F(CrlDatabase, CollectsWhatIsExpiredShortOrUnreadable) {
  FixedClock clock(kNow);
  LogCapture log;
  m_db.Init();
  m_dir.Write("CrlCache_1/rec_short", "abc");
  m_dir.Write("CrlCache_1/rec_now", Expiry(kNow) + "x");
  m_dir.Write("CrlCache_1/rec_later", Expiry(kNow + 1) + "not a CRL, yet not expired");
  m_dir.Write("CrlCache_1/foreign", "x");
  fs::create_symlink("nowhere", m_dir.File("CrlCache_1/rec_dangling"));
  clock.Set(-1);
  m_db.GarbageCollector();
  EXPECT_TRUE(log.Has("[CrlDB] CrlDB:GarbageCollector: Performing CRL cache garbage collection."));
  EXPECT_TRUE(log.Has("CrlDB:GarbageCollector: time"));
  EXPECT_TRUE(Exists("CrlCache_1/rec_short"));
  clock.Set(kNow);
  m_db.GarbageCollector();
  EXPECT_TRUE(log.Has("CrlDB:GarbageCollector: fdb->Get failed (key = dangling)."));
  EXPECT_TRUE(Exists("CrlCache_1/rec_later"));
  EXPECT_TRUE(Exists("CrlCache_1/foreign"));
  for (const char *gone : {"short", "now", "dangling"}) {
    EXPECT_FALSE(fs::is_symlink(m_dir.File(std::string("CrlCache_1/rec_") + gone)) ||
                 Exists(std::string("CrlCache_1/rec_") + gone)) << gone;
  }
}

TEST_F(CrlDatabase, CloseAndBeginAnew) {
  const int numOpen = NumOpenFiles();
  ASSERT_EQ(0, m_db.Store(m_dp, nullptr, m_crl.get(), kNow));
  const TempDir second;
  ASSERT_EQ(0, m_db.InitPath(second.Path().c_str()));
  EXPECT_FALSE(fs::exists(second.File("CrlCache_1")));   // until first use
  EXPECT_EQ(nullptr, Get(nullptr, kNow - 1));
  EXPECT_TRUE(fs::exists(second.File("CrlCache_1")));
  ASSERT_EQ(0, m_db.InitPath(m_dir.Path().c_str()));
  EXPECT_NE(nullptr, Get(nullptr, kNow - 1));
  EXPECT_EQ(0, m_db.Destroy());
  EXPECT_FALSE(Exists("CrlCache_1"));
  EXPECT_EQ(nullptr, Get(nullptr, kNow - 1));
  EXPECT_TRUE(Exists("CrlCache_1"));
  EXPECT_EQ(numOpen, NumOpenFiles());
}

TEST_F(CrlDatabase, TheProcessHasOne) {
  FixedClock clock(kNow);
  ASSERT_EQ(0, sxCRLCache_set_dbpath(m_dir.Path().c_str()));
  ASSERT_EQ(0, sxCRLCache_db().Store(m_dp, "old", m_crl.get(), kNow));
  ASSERT_EQ(0, sxCRLCache_db().Store(m_dp, "new", m_crl.get(), kNow + 1));
  crl_db_garbage_collector(this);
  EXPECT_FALSE(Exists(FileOf("old")));
  EXPECT_TRUE(Exists(FileOf("new")));
  EXPECT_EQ(0, remove_crl_cache_db());
  EXPECT_FALSE(Exists("CrlCache_1"));
}

}  // namespace
