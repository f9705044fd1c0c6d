#include "kxcert/platform/configDir.h"

#include <gmock/gmock.h>

#include "support/scopedEnv.h"

namespace {

TEST(ConfigDir, IsWhatTheEnvironmentNamesWithoutASlashAtTheEnd) {
  struct Case { const char *value; const char *dir; };
  constexpr Case kCases[] = {{"/a/b", "/a/b"}, {"/a/b//", "/a/b"}, {"rel", "rel"}, {"/", ""}};
  for (const Case &c : kCases) {
    const ScopedEnv env("KXCERT_CONF_DIR", c.value);
    EXPECT_EQ(c.dir, kxConfigDir());
  }
}

TEST(ConfigDir, IsTheInstalledOneOtherwise) {
  for (const char *value : {"", static_cast<const char *>(nullptr)}) {
    const ScopedEnv env("KXCERT_CONF_DIR", value);
    EXPECT_THAT(kxConfigDir(), testing::EndsWith("etc/kxcert"));
  }
}

}  // namespace
