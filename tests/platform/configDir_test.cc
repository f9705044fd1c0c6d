#include "platform/configDir.h"

#include <gmock/gmock.h>

#include "support/scopedEnv.h"

namespace {

TEST(ConfigDir, IsWhatTheEnvironmentNamesWithoutASlashAtTheEnd) {
  constexpr struct { const char *value; const char *dir; } kCases[] = {
      {"/a/b", "/a/b"}, {"/a/b//", "/a/b"}, {"rel", "rel"}, {"/", ""}};
  for (const auto &c : kCases) {
    const ScopedEnv env("KXCERT_CONF_DIR", c.value);
    EXPECT_EQ(c.dir, kxConfigDir());
  }
  for (const char *value : {"", static_cast<const char *>(nullptr)}) {   // the installed one otherwise
    const ScopedEnv env("KXCERT_CONF_DIR", value);
    EXPECT_THAT(kxConfigDir(), testing::EndsWith("etc/kxcert"));
  }
}

}  // namespace
