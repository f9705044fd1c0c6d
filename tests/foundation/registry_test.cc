#include "kxcert/foundation/registry.h"

#include <gmock/gmock.h>

#include "support/caseFile.h"
#include "support/logCapture.h"
#include "support/scopedEnv.h"
#include "support/tempDir.h"

namespace {

class RegistryTest : public testing::Test {
 protected:
  const TempDir m_dir;
  const ScopedEnv m_env{"KXCERT_CONF_DIR", m_dir.Path().c_str()};
  LogCapture m_log;
  NvpRegKey *const m_root = NvpRegGlobalEntry_HKEY_LOCAL_MACHINE();
};

TEST_F(RegistryTest, WithoutAUsableFileNoKeyOpens) {
  EXPECT_EQ(nullptr, NvpRegCreateKey(m_root, "SOFTWARE"));
  EXPECT_THAT(m_log.Lines(), testing::IsEmpty());
  NvpRegCloseKey(m_root);
  NvpRegCloseKey(nullptr);
  m_dir.Write("registry", "(:SOFTWARE");
  EXPECT_EQ(nullptr, NvpRegCreateKey(m_root, "SOFTWARE"));
  EXPECT_TRUE(m_log.Has(m_dir.File("registry") + ": line 1, column 11: "));
}

TEST_F(RegistryTest, OpensKeysByPathAndReadsThirtyTwoBits) {
  m_dir.Write("registry", "(:SOFTWARE (:Norvane (:Tarnel (:zero (0) :most (4294967295)"
                          " :more (4294967296) :less (-1) :text (abc) :deeper (:x (7))))))");
  for (const CaseRow &row : CaseRows("foundation/registry.txt", 3)) {
    SCOPED_TRACE(row.where);
    NvpRegKey *const key = NvpRegCreateKey(m_root, row[0] == "\"\"" ? "" : row[0].c_str());
    unsigned value = 5;
    EXPECT_EQ(row[1].empty(), key == nullptr);
    EXPECT_EQ(row[2] == "-" ? -1 : 0, NvpRegQueryValueEx(key, row[1].c_str(), &value));
    EXPECT_EQ(row[2] == "-" ? "5" : row[2], std::to_string(value));
    NvpRegCloseKey(key);
  }
  NvpRegKey *const upper = NvpRegCreateKey(m_root, "SOFTWARE\\Norvane");
  NvpRegKey *const below = NvpRegCreateKey(upper, "Tarnel\\deeper");   // a key opens what is below itself
  unsigned value = 5;
  EXPECT_EQ(0, NvpRegQueryValueEx(below, "x", &value));
  EXPECT_EQ(7U, value);
  NvpRegCloseKey(below);
  NvpRegCloseKey(upper);
}

}  // namespace
