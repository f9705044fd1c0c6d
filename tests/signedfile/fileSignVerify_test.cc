#include "kxcert/signedfile/fileSignVerify.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstring>
#include <filesystem>
#include <memory>
#include <string>

#include "kxcert/keys/sxPubKey.h"
#include "kxcert/foundation/attributeSet.h"
#include "kxcert/foundation/base64.h"
#include "support/logCapture.h"
#include "support/runCommand.h"
#include "support/scopedEnv.h"
#include "support/tempDir.h"

namespace {

const std::string kTestKeyFile = KXCERT_TEST_DATA "/signedfile/test.key";

std::string Base64(const std::string &octets) {
  char *const text = Base64Encode(reinterpret_cast<const unsigned char *>(octets.data()), static_cast<int>(octets.size()));
  std::string line(text);
  Base64FreeBuffer(text);
  std::erase(line, '\n');
  return line;
}

std::string TimeOctets(uint64_t seconds) {
  std::string octets;
  for (int shift = 56; shift >= 0; shift -= 8) octets += static_cast<char>(seconds >> shift);
  return octets;
}

// Signs with the openssl command what stands in the folder's file "signed".
class FileSign : public testing::Test {
 protected:
  std::string Signature(const std::string &signedOctets, const std::string &keyFile = kTestKeyFile) {
    m_folder.Write("signed", signedOctets);
    const std::string in = m_folder.File("signed");
    RunCommand("openssl dgst -sha512 -binary -out " + in + ".digest " + in + " && openssl pkeyutl -sign -inkey " + keyFile +
               " -in " + in + ".digest -out " + in + ".sig");
    return m_folder.Read("signed.sig");
  }
  static std::string Block(const std::string &time, const std::string &signature) {
    return "# NORVANE SIGNATURE BEGINS #\nversion 1\nTimeStamp = " + Base64(time) + "\nother\nSIG = " + Base64(signature) +
           "\n# NORVANE SIGNATURE ENDS #\n";
  }
  // A text file with its block; what is signed has no control characters.
  std::string TextFile(const std::string &name, uint64_t seconds, const std::string &content, const std::string &signedContent) {
    const std::string time = TimeOctets(seconds);
    return m_folder.Write(name, Block(time, Signature((seconds != 0 ? time : "") + signedContent)) + content);
  }
  static int Verify(const std::string &file, const char *oldFile = nullptr, const char *keyFile = nullptr) {
    return FileSignVerify(file.c_str(), oldFile, keyFile);
  }

  const TempDir m_folder;
  const ScopedEnv m_testing{"FSV_TESTING", "1"};
};

TEST_F(FileSign, TextKeepsItsSignatureWithOtherControlCharacters) {
  const std::string text = TextFile("text", 1700000000, "one\ttwo\r\nthree\n", "onetwothree");
  EXPECT_EQ(FSV_OK, Verify(text));
  EXPECT_EQ(FSV_OK, FileSignVerifyC(text.c_str(), nullptr, nullptr));
  const std::string octets = m_folder.Read("text");
  const std::string head = octets.substr(0, octets.find("one"));
  EXPECT_EQ(FSV_OK, Verify(m_folder.Write("lines", head + "one\n\x01two\nthree")));
  EXPECT_EQ(FSV_NOT_VERIFIED, Verify(m_folder.Write("blank", head + "one two\nthree\n")));
  EXPECT_EQ(FSV_NOT_VERIFIED, Verify(m_folder.Write("more", octets + "four")));
  EXPECT_EQ(FSV_OK, Verify(TextFile("timeless", 0, "content\n", "content"))) << "a time of 0 is not signed";
}

TEST_F(FileSign, SeparateBlocksSignEveryOctet) {
  std::string content;
  for (int i = 0; i < 70000; ++i) content += static_cast<char>(i * 7);   // more than two chunks, all values
  const std::string time = TimeOctets(5);
  const std::string file = m_folder.Write("data", content);
  std::string block = Block(time, Signature(time + content));
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
  const std::string text = TextFile("text", 7, "content\n", "content");
  const std::string pipe = m_folder.File("pipe");
  ASSERT_EQ(0, mkfifo(pipe.c_str(), 0600));   // whoever opens it waits for a writer
  std::filesystem::create_symlink("pipe", m_folder.File("toPipe"));
  std::filesystem::create_symlink("text", m_folder.File("toText"));
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

// Without the time nothing says where the content begins: one signature, two pairs of time and content.
TEST_F(FileSign, RefusesATimeOfZeroWhenAsked) {
  const std::string time = "TIMETIME";
  const std::string signature = Signature(time + "content");
  const std::string timed = m_folder.Write("timed.sig", Block(time, signature));
  const std::string timeless = m_folder.Write("timeless.sig", Block(TimeOctets(0), signature));
  const std::string content = m_folder.Write("content", "content");
  const std::string twisted = m_folder.Write("twisted", time + "content");
  const std::string text = m_folder.Write("text", Block(TimeOctets(0), signature) + time + "content");
  for (const bool refuse : {true, false}) {
    fsv_refuse_zero_time(refuse);
    EXPECT_EQ(FSV_OK, FileSignVerify2(content.c_str(), timed.c_str(), nullptr, nullptr));
    EXPECT_EQ(refuse ? FSV_NOT_SIGNED : FSV_OK, FileSignVerify2(twisted.c_str(), timeless.c_str(), nullptr, nullptr));
    EXPECT_EQ(refuse ? FSV_NOT_SIGNED : FSV_OK, Verify(text));
  }
}

TEST_F(FileSign, WhichKeyDecides) {
  const std::string text = TextFile("text", 7, "content\n", "content");
  {
    const ScopedEnv off("FSV_TESTING", nullptr);
    const LogCapture log;
    EXPECT_EQ(FSV_NOT_VERIFIED, Verify(text)) << "the built-in key did not sign this";
    EXPECT_TRUE(log.Has("load_key: Using default public key"));
    EXPECT_FALSE(log.Has("QA key"));
  }
  std::unique_ptr<sxset> set;
  sxset *builtIn = nullptr;
  sxPubKey *const production = load_key(nullptr, &builtIn);
  set.reset(builtIn);
  ASSERT_NE(nullptr, production);
  sxFreePubKey(production);
  SxStream out;
  set->Write(&out);
  const std::string productionFile = m_folder.Write("production.key", out.Text());
  EXPECT_EQ(FSV_NOT_VERIFIED, Verify(text, nullptr, productionFile.c_str())) << "the test key is not tried";

  RunCommand("openssl ecparam -name secp521r1 -genkey -noout -out " + m_folder.File("own.pem") +
             " && openssl ec -in " + m_folder.File("own.pem") + " -pubout -outform DER 2>/dev/null | tail -c 133 | od -An -v -tx1 | "
             "tr -d ' \\n' >" + m_folder.File("own.hex"));
  const std::string ownFile = m_folder.Write(
      "own.key", "(:curve (:NID (716) :comment (\"own\")) :public (" + m_folder.Read("own.hex") + "))");
  const std::string time = TimeOctets(7);
  const std::string own = m_folder.Write("own", Block(time, Signature(time + "content", m_folder.File("own.pem"))) + "content");
  EXPECT_EQ(FSV_OK, Verify(own, nullptr, ownFile.c_str()));
  EXPECT_EQ(FSV_NOT_VERIFIED, Verify(own));

  const LogCapture log;
  for (const char *bad : {"", "(:public (04))", "(:curve (:NID (415)) :public (04))", "(:curve (:NID (716)) :public (04ff))"}) {
    EXPECT_EQ(FSV_NO_KEY, Verify(own, nullptr, m_folder.Write("bad.key", bad).c_str())) << bad;
  }
  EXPECT_EQ(FSV_NO_KEY, Verify(own, nullptr, "/nowhere"));
  EXPECT_TRUE(log.Has("load_key: Failed to open key file '/nowhere'"));
}

TEST_F(FileSign, RefusesAnOlderVersion) {
  const std::string text = TextFile("text", 1000, "new\n", "new");
  const auto oldWith = [this](uint64_t seconds) { return m_folder.Write("old", Block(TimeOctets(seconds), "any") + "old\n"); };
  const LogCapture log;
  EXPECT_EQ(FSV_OK, Verify(text, oldWith(400).c_str()));
  EXPECT_TRUE(log.Has("New file is 600 seconds newer than the old file"));
  EXPECT_EQ(FSV_OK, Verify(text, oldWith(1000).c_str()));
  EXPECT_EQ(FSV_OLD_IS_LATER, Verify(text, oldWith(1001).c_str()));
  EXPECT_EQ(FSV_OLD_IS_LATER, Verify(text, oldWith(UINT64_MAX).c_str())) << "times have no sign";
  EXPECT_EQ(FSV_OLD_NOT_SIGNED, Verify(text, m_folder.Write("plain", "no block\n").c_str()));
  EXPECT_EQ(FSV_OLD_NOT_SIGNED, Verify(text, "/nowhere"));
}

TEST_F(FileSign, BlocksThatAreNone) {
  const std::string time = TimeOctets(9);
  const std::string good = Block(time, "signature");
  const auto without = [&good](const std::string &part) {
    std::string block = good;
    return block.replace(block.find(part), part.size(), "x");
  };
  const struct {
    const char *what;
    std::string content;
    int rc;
  } cases[] = {
      {"empty", "", FSV_NOT_SIGNED},
      {"no begin", without("BEGINS"), FSV_NOT_SIGNED},
      {"no time", without("TimeStamp"), FSV_NOT_SIGNED},
      {"no signature", without("SIG ="), FSV_NOT_SIGNED},
      {"no end", without("ENDS"), FSV_NOT_SIGNED},
      {"seven octets of time", Block(time.substr(1), "s"), FSV_NOT_SIGNED},
      {"nine octets of time", Block(time + "x", "s"), FSV_NOT_SIGNED},
      {"a time that is no Base64", without(Base64(time)), FSV_NOT_SIGNED},
      {"an empty signature", Block(time, ""), FSV_NOT_VERIFIED},
      {"a marker behind 5000 characters", std::string(5000, '-') + good, FSV_NOT_VERIFIED},
      {"NUL in a line", std::string("NORVANE\0SIGNATURE\n", 18) + good, FSV_NOT_VERIFIED},
  };
  for (const auto &test : cases) {
    EXPECT_EQ(test.rc, Verify(m_folder.Write("file", test.content))) << test.what;
  }
  EXPECT_EQ(FSV_FILE_NOT_FOUND, Verify("/nowhere"));
  EXPECT_EQ(FSV_FILE_NOT_FOUND, FileSignVerify(nullptr, nullptr, nullptr));
}

TEST_F(FileSign, TheSteps) {
  const std::string time = TimeOctets(0x0102030405060708);
  const std::string file = m_folder.Write("file", Block(time, "signature") + "content\n");
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
  unsigned char digest[64];
  EXPECT_EQ(FSV_OK, hash_file(file.c_str(), timestamp, digest, true, true));
  m_folder.Write("signed", time + "content");
  RunCommand("openssl dgst -sha512 -binary -out " + m_folder.File("digest") + " " + m_folder.File("signed"));
  EXPECT_EQ(m_folder.Read("digest"), std::string(digest, digest + 64));
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
