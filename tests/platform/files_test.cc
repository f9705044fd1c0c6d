#include "kxcert/platform/files.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <set>
#include <string>

#include "support/fileFaults.h"
#include "support/tempDir.h"

namespace {

TEST(Files, CreatesWhatIsNewAndOpensOnlyFiles) {
  const TempDir dir;
  const std::string file = dir.File("new"), link = dir.File("link"), pipe = dir.File("pipe");
  const int fd = kxFile_CreateNew(file.c_str());
  ASSERT_GE(fd, 0);
  struct stat made;
  ASSERT_EQ(0, stat(file.c_str(), &made));
  EXPECT_EQ(0600, made.st_mode & 07777);
  EXPECT_EQ(0, kxFile_Write(fd, "abc", 3));
  EXPECT_EQ(0, kxFile_Sync(fd));
  EXPECT_EQ(0, kxFile_Close(fd));
  EXPECT_EQ(-1, kxFile_CreateNew(file.c_str()));
  EXPECT_EQ(EEXIST, errno);
  ASSERT_EQ(0, symlink(file.c_str(), link.c_str()));
  EXPECT_EQ(-1, kxFile_OpenWrite(link.c_str()));
  EXPECT_EQ(ELOOP, errno);
  EXPECT_EQ(-1, kxFile_OpenWrite(dir.File("absent").c_str()));
  EXPECT_EQ("abc", dir.Read("new"));
  ASSERT_EQ(0, mkfifo(pipe.c_str(), 0600));
  const int reading = kxFile_OpenRead(pipe.c_str());   // waits for no writer
  char octet;
  EXPECT_EQ(0, kxFile_Read(reading, &octet, 1));
  EXPECT_EQ(0, kxFile_Close(reading));
}

TEST(Files, FillsTemplatesDifferently) {
  std::set<std::string> names;
  for (int i = 0; i < 100; ++i) {
    char name[] = "/dir/tmpXXXXXX";
    ASSERT_EQ(0, kxFile_FillTemplate(name));
    EXPECT_EQ(0, std::string(name).rfind("/dir/tmp", 0));
    names.insert(name);
  }
  EXPECT_EQ(100U, names.size());   // among 62^6
  char tooShort[] = "XXXXX";
  EXPECT_EQ(-1, kxFile_FillTemplate(tooShort));
}

TEST(Files, ClosesWhateverTheFakeSays) {
  const TempDir dir;
  const int before = NumOpenFiles();
  const int fd = kxFile_OpenRead(dir.Write("file", "x").c_str());
  kxDir *folder = kxDir_Open(dir.Path().c_str());
  {
    const FileFake fake([](kxFileStep, const char *) { return ENOSPC; });
    EXPECT_EQ(-1, kxFile_Close(fd));
    EXPECT_EQ(ENOSPC, errno);
    EXPECT_EQ(-1, kxDir_Close(folder));
    EXPECT_EQ(-1, kxFile_OpenRead(dir.File("file").c_str()));
    EXPECT_EQ(nullptr, kxDir_Open(dir.Path().c_str()));
  }
  EXPECT_EQ(before, NumOpenFiles());
}

}  // namespace
