// Signing files; that the signatures are openssl's too is held by tests/command/file.bats.
#include "kxcert/signedfile/fileSign.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "kxcert/signedfile/fileSignVerify.h"
#include "support/caseFile.h"
#include "support/fileFake.h"
#include "support/keyFiles.h"
#include "support/tempDir.h"

namespace {

constexpr uint64_t kTime = 1000;

const std::map<std::string, int> kResults = {{"OK", FSG_OK}, {"SIGNED", FSG_SIGNED}, {"NOT_TEXT", FSG_NOT_TEXT}};
const std::map<std::string, int> kOldResults = {
    {"OK", FSV_OK}, {"OLD_NOT_SIGNED", FSV_OLD_NOT_SIGNED}, {"OLD_IS_LATER", FSV_OLD_IS_LATER}};

// "@1200" becomes so many x.
std::string Content(const std::string &cell) {
  std::string text = CaseText(cell);
  for (size_t at; (at = text.find('@')) != std::string::npos;) {
    size_t numDigits = 0;
    const size_t count = std::stoul(text.substr(at + 1), &numDigits);
    text.replace(at, numDigits + 1, std::string(count, 'x'));
  }
  return text;
}

class SignFile : public testing::Test {
 protected:
  int Sign(const std::string &file, bool replace = false) {
    return FileSign(file.c_str(), nullptr, m_key.get(), kTime, replace);
  }
  int Verify(const std::string &file) { return FileVerifyWithKey(file.c_str(), nullptr, nullptr, m_key.get()); }
  int NumFiles() const {
    int count = -2;  // itself and the folder above
    kxDir *const dir = kxDir_Open(m_folder.Path().c_str());
    while (kxDir_Next(dir) != nullptr) ++count;
    kxDir_Close(dir);
    return count;
  }

  const TempDir m_folder;
  const PubKeyRef m_key = EcTestKey("secp521r1");
};

TEST_F(SignFile, SignsTextsAndLeavesTheOthers) {
  for (const CaseRow &row : CaseRows("signedfile/sign.txt", 3)) {
    SCOPED_TRACE(row[0]);
    const std::string content = Content(row[1]), file = m_folder.Write("file", content);
    ASSERT_EQ(kResults.at(row[2]), Sign(file));
    EXPECT_EQ(1, NumFiles());
    const std::string after = m_folder.Read("file");
    if (row[2] != "OK") {
      EXPECT_EQ(content, after);
      continue;
    }
    EXPECT_EQ(FSV_OK, Verify(file));
    EXPECT_TRUE(after.ends_with(content));
    EXPECT_EQ(FSG_SIGNED, Sign(file));
    ASSERT_EQ(FSG_OK, Sign(file, true));
    EXPECT_EQ(FSV_OK, Verify(file));
    EXPECT_TRUE(m_folder.Read("file").ends_with("# NORVANE SIGNATURE ENDS\n" + content)) << "one block, not two";
    EXPECT_EQ(std::string::npos, m_folder.Read("file").substr(0, after.size() - content.size()).find("BEGINS", 40));
  }
}

TEST_F(SignFile, EveryOctetThatIsSignedCounts) {
  const std::string content = "one\ttwo\r\nthree\n", file = m_folder.Write("file", content);
  const std::string sigFile = m_folder.File("sig");
  ASSERT_EQ(FSG_OK, FileSign2(file.c_str(), sigFile.c_str(), m_key.get(), kTime, false));
  ASSERT_EQ(FSG_OK, Sign(file));
  const std::string whole = m_folder.Read("file");
  const size_t start = whole.size() - content.size();
  const size_t time = whole.find("TimeStamp = "), signature = whole.find("SIG = ");
  for (size_t i = 0; i < whole.size(); ++i) {
    for (const int bit : {0x01, 0x20}) {
      std::string changed = whole;
      changed[i] = static_cast<char>(changed[i] ^ bit);
      const bool inContent = i >= start;
      const bool isMarker = (i >= time && i < time + 12 + 11) || (i >= signature && i < signature + 6 + 180);
      if (!inContent && !isMarker) continue;
      const bool unsignedStill = inContent && whole[i] <= 31 && changed[i] <= 31;
      EXPECT_EQ(unsignedStill, Verify(m_folder.Write("changed", changed)) == FSV_OK) << i << " " << bit;
    }
  }
  for (size_t i = 0; i < content.size(); ++i) {
    std::string changed = content;
    changed[i] = static_cast<char>(changed[i] ^ 1);
    m_folder.Write("changed", changed);
    EXPECT_EQ(FSV_NOT_VERIFIED,
              FileVerifyWithKey(m_folder.File("changed").c_str(), sigFile.c_str(), nullptr, m_key.get()));
  }
}

TEST_F(SignFile, OldFilesOfEveryKind) {
  const std::string file = m_folder.Write("new", "new\n");
  ASSERT_EQ(FSG_OK, Sign(file));
  for (const CaseRow &row : CaseRows("signedfile/oldFiles.txt", 3)) {
    const std::string old = m_folder.Write("old", Content(row[1]));
    EXPECT_EQ(kOldResults.at(row[2]), FileVerifyWithKey(file.c_str(), nullptr, old.c_str(), m_key.get())) << row[0];
  }
}

TEST_F(SignFile, RefusesWhatItCannotSign) {
  const std::string file = m_folder.Write("file", "text\n"), taken = m_folder.Write("taken", "stays");
  const PubKeyRef publicPart = PublicPart(*m_key), other = EcTestKey("secp384r1"), rsa = RsaTestKey(1024);
  for (sxPubKey *const key : {publicPart.get(), other.get(), rsa.get(), static_cast<sxPubKey *>(nullptr)}) {
    EXPECT_EQ(FSG_BAD_KEY, FileSign(file.c_str(), nullptr, key, kTime, false));
  }
  EXPECT_EQ(FSG_BAD_TIME, FileSign(file.c_str(), nullptr, m_key.get(), 0, false));
  EXPECT_EQ(FSG_NO_FILE, Sign(m_folder.File("none")));
  EXPECT_EQ(FSG_NO_FILE, Sign(m_folder.Path()));
  EXPECT_EQ(FSG_EXISTS, FileSign(file.c_str(), taken.c_str(), m_key.get(), kTime, false));
  EXPECT_EQ(FSG_EXISTS, FileSign2(file.c_str(), taken.c_str(), m_key.get(), kTime, false));
  EXPECT_EQ(FSG_EXISTS, FileSign2(file.c_str(), m_folder.Path().c_str(), m_key.get(), kTime, true));
  EXPECT_EQ("stays", m_folder.Read("taken"));
  EXPECT_EQ(FSG_OK, FileSign2(file.c_str(), taken.c_str(), m_key.get(), kTime, true));
  EXPECT_EQ(2, NumFiles());
}

TEST_F(SignFile, KeepsPermissionsAndLinks) {
  const std::string file = m_folder.Write("file", "text\n"), link = m_folder.File("link");
  ASSERT_EQ(0, chmod(file.c_str(), 0640));
  ASSERT_EQ(0, symlink("file", link.c_str()));
  ASSERT_EQ(FSG_OK, Sign(link));
  struct stat info;
  ASSERT_EQ(0, lstat(link.c_str(), &info));
  EXPECT_TRUE(S_ISLNK(info.st_mode));
  ASSERT_EQ(0, lstat(file.c_str(), &info));
  EXPECT_EQ(0640U, info.st_mode & 0777U);
  EXPECT_EQ(FSV_OK, Verify(file));
}

// Whatever step fails, the file is the old one or the new one, and nothing else is left of a failure but what could
// not be removed.
TEST_F(SignFile, IsWholeWhateverFails) {
  const std::string content = "text\n";
  for (int failing = 0; failing < 200; ++failing) {
    const std::string file = m_folder.Write("file", content);
    int step = 0, rc = 0;
    bool failed = false;
    {
      const FileFake fake([&](kxFileStep which, const char *) {
        const bool fails = step++ == failing && which != kxStep_remove;
        failed = failed || fails;
        return fails ? EIO : 0;
      });
      rc = fake.While([&] { return Sign(file); });
    }
    const std::string after = m_folder.Read("file");
    EXPECT_EQ(rc != FSG_OK, after == content) << failing;
    EXPECT_EQ(rc == FSG_OK, Verify(file) == FSV_OK) << failing;
    EXPECT_EQ(1, NumFiles()) << failing;
    if (step <= failing) {
      EXPECT_GT(failing, 8);
      return;
    }
  }
  FAIL() << "no end of steps";
}

}  // namespace
