#include "kxcert/platform/wholeFile.h"

#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "support/fileFake.h"
#include "support/script.h"

namespace {

TEST(WholeFile, DoesWhatTheStepsSay) {
  const TempDir dir;
  Script()
      .In(dir)
      .On("whole", [](const char *path, const char *text, bool replace) {
        const int rc = kxFile_WriteWhole(path, text, text == nullptr ? 1 : std::strlen(text), replace);
        return std::string(rc == 0 ? "done" : std::strerror(errno));
      })
      .Run("platform/wholeFile.steps");
}

// The old file or the new one, and the answer says which. Syncing the folder may fail.
TEST(WholeFile, IsWholeWhateverFails) {
  const TempDir folder;
  const std::string file = folder.File("f");
  for (const bool replace : {false, true}) {
    const auto before = [&] { replace ? void(folder.Write("f", "old")) : void(std::remove(file.c_str())); };
    const auto write = [&] { return kxFile_WriteWhole(file.c_str(), "new", 3, replace); };
    EXPECT_LE(7, FailEachStep(before, write, [&](int rc, bool) {
      const bool isThere = access(file.c_str(), F_OK) == 0;
      EXPECT_EQ(rc == 0 || replace, isThere);
      if (isThere) { EXPECT_EQ(rc == 0 ? "new" : "old", folder.Read("f")); }
    }));
  }
}

}  // namespace
