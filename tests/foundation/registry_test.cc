#include "kxcert/foundation/registry.h"

#include <gmock/gmock.h>

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
  NvpRegKey *key = NvpRegCreateKey(m_root, "SOFTWARE\\Norvane\\Tarnel");
  ASSERT_NE(nullptr, key);
  for (const char *path : {"", "software", "SOFTWARE\\", "SOFTWARE\\None", "\\SOFTWARE",
                           "SOFTWARE\\Norvane\\Tarnel\\text"}) {
    EXPECT_EQ(nullptr, NvpRegCreateKey(m_root, path)) << path;
  }
  unsigned value = 5;
  for (const char *name : {"more", "less", "text", "deeper", "none"}) {
    EXPECT_EQ(-1, NvpRegQueryValueEx(key, name, &value)) << name;
  }
  EXPECT_EQ(5U, value);
  EXPECT_EQ(0, NvpRegQueryValueEx(key, "most", &value));
  EXPECT_EQ(4294967295U, value);
  EXPECT_EQ(0, NvpRegQueryValueEx(key, "zero", &value));
  EXPECT_EQ(0U, value);

  NvpRegKey *below = NvpRegCreateKey(key, "deeper");   // a key opens what is below itself
  EXPECT_EQ(0, NvpRegQueryValueEx(below, "x", &value));
  EXPECT_EQ(7U, value);
  NvpRegCloseKey(below);
  NvpRegCloseKey(key);
}

}  // namespace
