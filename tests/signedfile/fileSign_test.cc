// Signing files; that the signatures are openssl's too is held by tests/command/file.bats.
#include "kxcert/signedfile/fileSign.h"

#include <filesystem>

#include "kxcert/signedfile/fileSignVerify.h"
#include "support/fileFake.h"
#include "support/keyFiles.h"
#include "support/script.h"

namespace {

constexpr uint64_t kTime = 1000;

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
  std::string Sign(const std::string &file, bool replace = false) {
    return FSG_RC_to_str(FileSign(file.c_str(), nullptr, m_key.get(), kTime, replace));
  }
  int Verify(const std::string &file, const char *sigFile = nullptr, const char *oldFile = nullptr) {
    return FileVerifyWithKey(file.c_str(), sigFile, oldFile, m_key.get());
  }
  long NumFiles() const { return std::distance(std::filesystem::directory_iterator(m_folder.Path()), {}); }

  const TempDir m_folder;
  const PubKeyRef m_key = EcTestKey("secp521r1");
};

TEST_F(SignFile, SignsTextsAndLeavesTheOthers) {
  for (const CaseRow &row : CaseRows("signedfile/sign.txt", 3)) {
    SCOPED_TRACE(row[0]);
    const std::string content = Content(row[1]), file = m_folder.Write("file", content);
    EXPECT_EQ(row[2], Sign(file));
    EXPECT_EQ(1, NumFiles());
    const std::string after = m_folder.Read("file");
    EXPECT_TRUE(after.ends_with(content));
    EXPECT_EQ(row[2] == "Signed", after.size() > content.size());
    if (row[2] != "Signed") continue;
    EXPECT_EQ(FSV_OK, Verify(file));
    EXPECT_EQ("File is signed already", Sign(file));
    ASSERT_EQ("Signed", Sign(file, true));
    EXPECT_EQ(FSV_OK, Verify(file));
    EXPECT_TRUE(m_folder.Read("file").ends_with("# NORVANE SIGNATURE ENDS\n" + content)) << "one block, not two";
    EXPECT_EQ(std::string::npos, m_folder.Read("file").substr(0, after.size() - content.size()).find("BEGINS", 40));
  }
}

// Control characters of a text may become others.
TEST_F(SignFile, EveryOctetThatIsSignedCounts) {
  const std::string content = "one\ttwo\r\nthree\n", file = m_folder.Write("file", content);
  const std::string sigFile = m_folder.File("sig");
  ASSERT_EQ(FSG_OK, FileSign2(file.c_str(), sigFile.c_str(), m_key.get(), kTime, false));
  ASSERT_EQ("Signed", Sign(file));
  const std::string whole = m_folder.Read("file");
  const auto expect = [&](const std::string &text, size_t at, int bit, bool isGood, const char *with) {
    std::string changed = text;
    changed[at] = static_cast<char>(changed[at] ^ bit);
    EXPECT_EQ(isGood, Verify(m_folder.Write("changed", changed), with) == FSV_OK) << at << " " << bit;
  };
  for (const int bit : {0x01, 0x20}) {
    for (const auto &[marker, len] : {std::pair{"TimeStamp = ", 12 + 11}, {"SIG = ", 6 + 180}}) {
      for (int i = 0; i < len; ++i) expect(whole, whole.find(marker) + static_cast<size_t>(i), bit, false, nullptr);
    }
    for (size_t i = 0; i < content.size(); ++i) {
      const bool staysControl = content[i] < 32 && (content[i] ^ bit) < 32;
      expect(whole, whole.size() - content.size() + i, bit, staysControl, nullptr);
      expect(content, i, bit, false, sigFile.c_str());
    }
  }
}

TEST_F(SignFile, OldFilesOfEveryKind) {
  const std::string file = m_folder.Write("new", "new\n");
  ASSERT_EQ("Signed", Sign(file));
  for (const CaseRow &row : CaseRows("signedfile/oldFiles.txt", 3)) {
    const std::string old = m_folder.Write("old", Content(row[1]));
    EXPECT_EQ(row[2], std::to_string(Verify(file, nullptr, old.c_str()))) << row[0];
  }
}

TEST_F(SignFile, DoesWhatTheStepsSay) {
  Script()
      .In(m_folder)
      .On("Key", TestKey)
      .On("publicPart", PublicPart)
      .On("sign", [](const char *file, const char *out, sxPubKey *key, uint64_t seconds, bool replace) {
        return FSG_RC_to_str(FileSign(file, out, key, seconds, replace));
      })
      .On("signBeside", [](const char *file, const char *sigFile, sxPubKey *key, uint64_t seconds, bool replace) {
        return FSG_RC_to_str(FileSign2(file, sigFile, key, seconds, replace));
      })
      .On("verify", FileVerifyWithKey)
      .On("isLink", [](const std::string &path) { return std::filesystem::is_symlink(path); })
      .Run("signedfile/fileSign.steps");
}

// Whatever step fails, the file is the old one or the new one, and nothing else is left of a failure.
TEST_F(SignFile, IsWholeWhateverFails) {
  const std::string content = "text\n", file = m_folder.File("file");
  const auto before = [&] { m_folder.Write("file", content); };
  EXPECT_LT(8, FailEachStep(before, [&] { return Sign(file); }, [&](const std::string &rc, bool) {
    EXPECT_EQ(rc != "Signed", m_folder.Read("file") == content);
    EXPECT_EQ(rc == "Signed", Verify(file) == FSV_OK);
    EXPECT_EQ(1, NumFiles());
  }));
}

}  // namespace
