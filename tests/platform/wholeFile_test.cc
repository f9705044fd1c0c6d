#include "kxcert/platform/wholeFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "support/fileFake.h"
#include "support/tempDir.h"

namespace {

int Write(const std::string &path, const std::string &text, bool replace) {
  return kxFile_WriteWhole(path.c_str(), text.data(), text.size(), replace);
}

TEST(WholeFile, IsForItsOwnerAndReplacesOnlyWhenTold) {
  const TempDir folder;
  const std::string file = folder.File("key"), link = folder.File("link"), target = folder.Write("target", "stays");
  ASSERT_EQ(0, Write(file, "one", false));
  struct stat info;
  ASSERT_EQ(0, stat(file.c_str(), &info));
  EXPECT_EQ(0600U, info.st_mode & 0777U);
  EXPECT_EQ(-1, Write(file, "two", false));
  EXPECT_EQ(EEXIST, errno);
  EXPECT_EQ("one", folder.Read("key"));
  ASSERT_EQ(0, chmod(file.c_str(), 0644));
  ASSERT_EQ(0, Write(file, "two", true));
  ASSERT_EQ(0, stat(file.c_str(), &info));
  EXPECT_EQ(0600U, info.st_mode & 0777U) << "not the old file's";
  ASSERT_EQ(0, symlink(target.c_str(), link.c_str()));
  EXPECT_EQ(-1, Write(link, "two", false));
  EXPECT_EQ(0, Write(link, "two", true));
  EXPECT_EQ("stays", folder.Read("target"));
  EXPECT_EQ(-1, Write(folder.Path(), "two", true));
  EXPECT_EQ(-1, Write(folder.File("none") + "/key", "two", true));
  EXPECT_EQ(-1, kxFile_WriteWhole(nullptr, "", 0, true));
}

// Of each step that fails: the old file or the new one, and the answer says which. Syncing the folder may fail.
TEST(WholeFile, IsWholeWhateverFails) {
  for (const bool replace : {false, true}) {
    for (int failing = 0;; ++failing) {
      const TempDir folder;
      const std::string file = folder.File("f");
      if (replace) folder.Write("f", "old");
      int step = 0, rc = 0;
      {
        const FileFake fake(
            [&](kxFileStep which, const char *) { return step++ == failing && which != kxStep_remove ? EIO : 0; });
        rc = fake.While([&] { return Write(file, "new", replace); });
      }
      const bool isThere = access(file.c_str(), F_OK) == 0;
      EXPECT_EQ(rc == 0 || replace, isThere) << failing;
      if (isThere) { EXPECT_EQ(rc == 0 ? "new" : "old", folder.Read("f")) << failing; }
      if (step <= failing) {
        EXPECT_GE(failing, 7);
        break;
      }
    }
  }
}

}  // namespace
