#include "kxcert/signedfile/fileSignVerify.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstring>
#include <filesystem>

#include "kxcert/foundation/attributeSet.h"
#include "kxcert/foundation/base64.h"
#include "kxcert/keys/sxPubKey.h"
#include "kxcert/platform/digest.h"
#include "support/caseFile.h"
#include "support/fileFake.h"
#include "support/logCapture.h"
#include "support/scopedEnv.h"
#include "support/tempDir.h"

namespace {

const std::string kData = KXCERT_TEST_DATA "/signedfile/";
const std::map<std::string, FSV_RC> kResults = {
    {"OK", FSV_OK}, {"NOT_VERIFIED", FSV_NOT_VERIFIED}, {"NOT_SIGNED", FSV_NOT_SIGNED}, {"OLD_IS_LATER", FSV_OLD_IS_LATER}};

std::string Base64(const std::string &octets) {
  const auto *const data = reinterpret_cast<const unsigned char *>(octets.data());
  const std::unique_ptr<char, decltype(&Base64FreeBuffer)> text(Base64Encode(data, static_cast<int>(octets.size())),
                                                                Base64FreeBuffer);
  return std::string(text.get(), std::strcspn(text.get(), "\n"));
}

// In Base64; made by make.py.
std::string SignatureOf(const std::string &name) {
  for (const CaseRow &row : CaseRows("signedfile/signatures.txt", 5)) {
    if (row[0] == name) return row[4];
  }
  throw std::runtime_error("no signature " + name);
}

std::string Block(const std::string &time, const std::string &signature) {
  return "# NORVANE SIGNATURE BEGINS #\nversion 1\nTimeStamp = " + Base64(CaseText(time)) + "\nother\nSIG = " + signature +
         "\n# NORVANE SIGNATURE ENDS #\n";
}

constexpr char kSeven[] = "0000000000000007";
constexpr char kThousand[] = "00000000000003e8";

class FileSign : public testing::Test {
 protected:
  std::string Signed(const std::string &time, const std::string &signature, const std::string &content) {
    return m_folder.Write("signed", Block(time, SignatureOf(signature)) + content);
  }
  static int Verify(const std::string &file, const char *oldFile = nullptr, const char *keyFile = nullptr) {
    return FileSignVerify(file.c_str(), oldFile, keyFile);
  }

  const TempDir m_folder;
  const ScopedEnv m_testing{"FSV_TESTING", "1"};
};

TEST_F(FileSign, VerifiesTexts) {
  for (const CaseRow &row : CaseRows("signedfile/verify.txt", 6)) {
    SCOPED_TRACE(testing::PrintToString(row));
    const std::string file = Signed(row[1], row[2], CaseText(row[3]));
    fsv_refuse_zero_time(true);
    EXPECT_EQ(kResults.at(row[5]), Verify(file));
    fsv_refuse_zero_time(false);
    EXPECT_EQ(kResults.at(row[4]), Verify(file));
    EXPECT_EQ(kResults.at(row[4]), FileSignVerifyC(file.c_str(), nullptr, nullptr));
  }
}

TEST_F(FileSign, SeparateBlocksSignEveryOctet) {
  std::string content;
  for (int i = 0; i < 70000; ++i) content += static_cast<char>(i * 7);   // more than two chunks, all values
  const std::string file = m_folder.Write("data", content);
  std::string block = Block("0000000000000005", SignatureOf("many"));
  block.resize(block.find("# NORVANE SIGNATURE ENDS"));   // need not end here
  const std::string sigFile = m_folder.Write("data.sig", block);
  EXPECT_EQ(FSV_OK, FileSignVerify2(file.c_str(), sigFile.c_str(), nullptr, nullptr));
  EXPECT_EQ(FSV_OK, FileSignVerify2C(file.c_str(), sigFile.c_str(), nullptr, nullptr));
  content[40000] ^= 1;
  m_folder.Write("data", content);
  EXPECT_EQ(FSV_NOT_VERIFIED, FileSignVerify2(file.c_str(), sigFile.c_str(), nullptr, nullptr));
  EXPECT_EQ(FSV_FILE_NOT_FOUND, FileSignVerify2("/nowhere", sigFile.c_str(), nullptr, nullptr));
  EXPECT_EQ(FSV_FILE_NOT_FOUND, FileSignVerify2(file.c_str(), "/nowhere", nullptr, nullptr));
}

TEST_F(FileSign, FindsNoFileInFoldersPipesAndDevices) {
  const std::string text = Signed(kSeven, "seven", "content\n"), pipe = m_folder.File("pipe");
  ASSERT_EQ(0, mkfifo(pipe.c_str(), 0600));   // whoever opens it waits for a writer
  std::filesystem::create_symlink("pipe", m_folder.File("toPipe"));
  std::filesystem::create_symlink("signed", m_folder.File("toText"));
  EXPECT_EQ(FSV_OK, Verify(m_folder.File("toText")));
  for (const std::string &special : {m_folder.Path(), pipe, m_folder.File("toPipe"), std::string("/dev/zero")}) {
    SCOPED_TRACE(special);
    EXPECT_EQ(FSV_FILE_NOT_FOUND, Verify(special));
    EXPECT_EQ(FSV_FILE_NOT_FOUND, Verify(text, special.c_str()));
    EXPECT_EQ(FSV_FILE_NOT_FOUND, Verify(text, nullptr, special.c_str()));
    EXPECT_EQ(FSV_FILE_NOT_FOUND, FileSignVerify2(special.c_str(), text.c_str(), nullptr, nullptr));
    EXPECT_EQ(FSV_FILE_NOT_FOUND, FileSignVerify2(text.c_str(), special.c_str(), nullptr, nullptr));
  }
}

TEST_F(FileSign, WhichKeyDecides) {
  const LogCapture log;
  {
    const ScopedEnv off("FSV_TESTING", nullptr);
    EXPECT_EQ(FSV_NOT_VERIFIED, Verify(Signed(kSeven, "seven", "content\n"))) << "the built-in key did not sign this";
    EXPECT_TRUE(log.Has("load_key: Using default public key"));
    EXPECT_FALSE(log.Has("QA key"));
  }
  sxset *builtIn = nullptr;
  sxPubKey *const production = load_key(nullptr, &builtIn);
  const std::unique_ptr<sxset> set(builtIn);
  ASSERT_NE(nullptr, production);
  sxFreePubKey(production);
  SxStream out;
  set->Write(&out);
  EXPECT_EQ(FSV_NOT_VERIFIED, Verify(m_folder.File("signed"), nullptr, m_folder.Write("key", out.Text()).c_str()))
      << "the test key is not tried";

  const std::string own = Signed(kSeven, "own", "content");
  EXPECT_EQ(FSV_OK, Verify(own, nullptr, (kData + "own.set").c_str()));
  EXPECT_EQ(FSV_NOT_VERIFIED, Verify(own));
  for (const char *bad : {"", "(:public (04))", "(:curve (:NID (415)) :public (04))", "(:curve (:NID (716)) :public (04ff))"}) {
    EXPECT_EQ(FSV_NO_KEY, Verify(own, nullptr, m_folder.Write("bad.key", bad).c_str())) << bad;
  }
  EXPECT_EQ(FSV_NO_KEY, Verify(own, nullptr, "/nowhere"));
  EXPECT_TRUE(log.Has("load_key: Failed to open key file '/nowhere'"));
}

TEST_F(FileSign, RefusesAnOlderVersion) {
  const std::string text = Signed(kThousand, "thousand", "new\n");
  const LogCapture log;
  for (const CaseRow &row : CaseRows("signedfile/older.txt", 2)) {
    const std::string old = m_folder.Write("old", Block(row[0], "YW55") + "old\n");
    EXPECT_EQ(kResults.at(row[1]), Verify(text, old.c_str())) << row.where;
  }
  EXPECT_TRUE(log.Has("New file is 600 seconds newer than the old file"));
  EXPECT_EQ(FSV_OLD_NOT_SIGNED, Verify(text, m_folder.Write("plain", "no block\n").c_str()));
  EXPECT_EQ(FSV_OLD_NOT_SIGNED, Verify(text, "/nowhere"));
  const FileFake::Refuse refuse = [](kxFileStep step, const char *path) {
    return step == kxStep_openRead && std::string_view(path).ends_with("/old") ? EMFILE : 0;
  };
  const std::string old = m_folder.Write("old", "not reached");
  EXPECT_EQ(FSV_READ_FAILED, FileFake(refuse).While([&] { return Verify(text, old.c_str()); }));
}

TEST_F(FileSign, BlocksThatAreNone) {
  for (const CaseRow &row : CaseRows("signedfile/blocks.txt", 4)) {
    std::string block = Block("0000000000000009", "c2lnbmF0dXJl");
    block.replace(block.find(row[1]), row[1].size(), CaseText(row[2]));
    EXPECT_EQ(kResults.at(row[3]), Verify(m_folder.Write("file", block))) << row.where << " " << row[0];
  }
  EXPECT_EQ(FSV_NOT_SIGNED, Verify(m_folder.Write("file", "")));
  EXPECT_EQ(FSV_FILE_NOT_FOUND, Verify("/nowhere"));
  EXPECT_EQ(FSV_FILE_NOT_FOUND, FileSignVerify(nullptr, nullptr, nullptr));
}

TEST_F(FileSign, TheSteps) {
  const std::string time = "\x01\x02\x03\x04\x05\x06\x07\x08", text = time + "content";
  const std::string file = m_folder.Write("file", Block("0102030405060708", "c2lnbmF0dXJl") + "content\n");
  unsigned long long timestamp = 0;
  unsigned char signature[kMaxFileSignatureLen];
  unsigned int sigLen = 4;
  EXPECT_EQ(FSV_NOT_SIGNED, get_timestamp_and_signature(file.c_str(), timestamp, signature, sigLen)) << "no room";
  sigLen = sizeof signature;
  EXPECT_EQ(FSV_NOT_SIGNED, get_timestamp_and_signature(file.c_str(), timestamp, nullptr, sigLen));
  sigLen = sizeof signature;
  EXPECT_EQ(FSV_OK, get_timestamp_and_signature(file.c_str(), timestamp, signature, sigLen));
  EXPECT_EQ(0, std::memcmp(&timestamp, time.data(), 8)) << "in network byte order";
  EXPECT_EQ("signature", std::string(signature, signature + sigLen));
  unsigned char digest[64], expected[64];
  EXPECT_EQ(FSV_OK, hash_file(file.c_str(), timestamp, digest, true, true));
  // Control characters of the content are left out, those of the time are not.
  EXPECT_EQ(0, kx_md_hashbuf(sx_md_sha512, text.data(), text.size(), expected, 64));
  EXPECT_EQ(0, std::memcmp(expected, digest, 64));
  EXPECT_EQ(FSV_READ_FAILED, hash_file(file.c_str(), timestamp, nullptr, true, true));
  EXPECT_EQ(FSV_FILE_NOT_FOUND, hash_file("/nowhere", timestamp, digest, false, false));
}

TEST(FSV, Texts) {
  EXPECT_STREQ("Signature not verified", FSV_RC_to_str(-13));
  EXPECT_STREQ("File not found", FSV_RC_to_str(-1));
  EXPECT_STREQ("unknown error 0", FSV_RC_to_str(0)) << "success has no text: intended";
  EXPECT_STREQ("unknown error -2147483648", FSV_RC_to_str(-2147483647 - 1));
}

}  // namespace
