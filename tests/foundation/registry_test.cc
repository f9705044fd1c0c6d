#include "kxcert/foundation/registry.h"

#include "support/scopedEnv.h"
#include "support/script.h"

namespace {

std::string Query(NvpRegKey *key, const char *name) {
  unsigned value = 5;
  const int rc = NvpRegQueryValueEx(key, name, &value);
  EXPECT_TRUE(rc == 0 || (rc == -1 && value == 5));
  return rc == 0 ? std::to_string(value) : "-";
}

TEST(Registry, DoesWhatTheStepsSay) {
  const TempDir dir;
  const ScopedEnv env("KXCERT_CONF_DIR", dir.Path().c_str());
  Script()
      .In(dir)
      .On("Root", NvpRegGlobalEntry_HKEY_LOCAL_MACHINE)
      .On("open", NvpRegCreateKey)
      .On("query", Query)
      .On("close", NvpRegCloseKey)
      .On("read", [](const char *path, const char *name) -> std::string {   // of a key that is open as long
        NvpRegKey *const key = NvpRegCreateKey(NvpRegGlobalEntry_HKEY_LOCAL_MACHINE(), path);
        const std::string value = Query(key, name);
        NvpRegCloseKey(key);
        return key == nullptr ? "no key" + value : value;
      })
      .Run("foundation/registry.steps");
}

}  // namespace
