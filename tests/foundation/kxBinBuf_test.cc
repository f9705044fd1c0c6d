#include "kxcert/foundation/kxBinBuf.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <utility>

#include "kxcert/foundation/sxString.h"
#include "platform/pageLocks.h"
#include "support/caseFile.h"
#include "support/hexOctets.h"
#include "support/logCapture.h"
#include "support/printed.h"
#include "support/tempDir.h"

namespace {

constexpr unsigned kManyPages = 16 * 4096;   // no neighbour on the heap shares all of these

kxBinBuf Make(const char *hex) {
  const Octets octets = CaseOctets(hex);
  return {octets.data(), static_cast<unsigned>(octets.size())};
}

std::string Hex(const kxBinBuf &buf) { return EncodeHex(buf.Data(), buf.Len()); }

TEST(kxBinBuf, SetKeepsTheBlockUntilItIsTooShort) {
  kxBinBuf buf = Make("00 01 02 03 04 05");
  buf.SetSensitive(true);
  const unsigned char *block = buf.Data();
  buf.Set(buf.Data() + 1, 4);   // overlapping; what is cut off is wiped
  EXPECT_EQ("01020304", Hex(buf));
  EXPECT_EQ("010203040000", EncodeHex(buf.Data(), 6));
  buf.Set(2U);
  buf.Set(2U);
  EXPECT_EQ("0102", Hex(buf));
  EXPECT_EQ("010200000000", EncodeHex(buf.Data(), 6));
  EXPECT_EQ(block, buf.Data());
  buf.Set(CaseOctets("07*9").data(), 9);
  EXPECT_EQ("070707070707070707", Hex(buf));
  block = buf.Data();
  buf.Set(20U);
  EXPECT_EQ(20U, buf.Len());
  EXPECT_NE(block, buf.Data());
  buf.Clear();
  EXPECT_TRUE(buf.IsEmpty());
  EXPECT_EQ(nullptr, buf.Data());
}

TEST(kxBinBuf, JoinsAtEitherEndButNeverWithItself) {
  kxBinBuf buf;
  buf.Append(Make("02"));
  buf.Append(Make("03 04"));
  buf.Prepend(Make("00 01"));
  EXPECT_EQ("0001020304", Hex(buf));
  buf.Append(buf);
  buf.Prepend(buf);
  EXPECT_EQ("0001020304", Hex(buf));
  buf.Append(buf.Data() + 3, 2);   // a part of itself is copied before the block goes
  EXPECT_EQ("00010203040304", Hex(buf));
  EXPECT_THROW(buf.Append(buf.Data(), UINT32_MAX), std::bad_alloc);
  EXPECT_EQ("00010203040304", Hex(buf));
}

TEST(kxBinBuf, EqualityLooksAtBlocksFirst) {
  kxBinBuf zeroLen = Make("01");
  zeroLen.Set(0U);
  kxBinBuf secret = Make("0102");
  secret.SetSensitive(true);
  EXPECT_EQ(kxBinBuf(), kxBinBuf());
  EXPECT_NE(kxBinBuf(), zeroLen);
  EXPECT_NE(zeroLen, kxBinBuf());
  EXPECT_EQ(secret, Make("0102"));
  EXPECT_NE(Make("0103"), secret);
  EXPECT_NE(Make("0102"), Make("010203"));
}

TEST(kxBinBuf, CopiesCarryTheSensitiveFlagAndMovesLeaveNothing) {
  kxBinBuf secret = Make("0102");
  secret.SetSensitive(true);
  kxBinBuf copy;
  copy = secret;
  EXPECT_TRUE(copy.IsSensitive());
  EXPECT_EQ(secret, copy);
  const unsigned char *block = secret.Data();
  const kxBinBuf moved(std::move(secret));
  EXPECT_EQ(block, moved.Data());
  EXPECT_TRUE(moved.IsSensitive());
  copy = Make("03");
  EXPECT_FALSE(copy.IsSensitive());
  kxBinBuf source = Make("04");
  copy = std::move(source);
  EXPECT_EQ("04", Hex(copy));
  EXPECT_TRUE(source.IsEmpty());
}

TEST(kxBinBuf, IsLockedInMemoryWhileSensitive) {
  const size_t before = kxMem_NumLockedPages();
  kxBinBuf buf(kManyPages);
  EXPECT_EQ(before, kxMem_NumLockedPages());
  buf.SetSensitive(true);
  EXPECT_LT(before, kxMem_NumLockedPages());
  buf.Set(10U);   // the block stays, and so does its lock
  buf.SetSensitive(false);
  EXPECT_EQ(before, kxMem_NumLockedPages());
  {
    kxBinBuf copy(kManyPages);
    copy.SetSensitive(true);
    copy.Append(buf);
    EXPECT_LT(before, kxMem_NumLockedPages());
  }
  EXPECT_EQ(before, kxMem_NumLockedPages());
}

TEST(kxBinBuf, PrintsRowsOfSixteen) {
  for (const CaseRow &row : CaseRows("foundation/printedBuffers.txt", 4)) {
    SCOPED_TRACE(testing::PrintToString(row));
    const kxBinBuf buf = Make(row[1].c_str());
    EXPECT_EQ(CaseText(row[3]), Fprinted(buf, std::stoi(row[2])));
    // The stream form has a title, and an end of line but no word for an empty buffer.
    const std::string tabs = CaseText(row[3]).substr(0, CaseText(row[3]).find_first_not_of('\t'));
    EXPECT_EQ(tabs + "T:\n" + (buf.IsEmpty() ? "\n" : CaseText(row[3])), Sprinted(buf, "T", std::stoi(row[2])));
  }
  LogCapture log;
  kxBinBuf().Herror("nothing");
  Make("dead").Herror(nullptr);
  EXPECT_THAT(log.Lines(), testing::ElementsAre("nothing:", "kxBinBuf Empty", "de ad "));
}

TEST(kxBinBufFile, ReadsBackWhatWasWrittenOrSaysWhatFailed) {
  const TempDir dir;
  kxBinBuf written = Make("00 ff 0a 0d");
  kxBinBuf read = Make("01 02 03 04 05 06");
  ASSERT_EQ(0, Buf2File(dir.File("f").c_str(), written));
  ASSERT_EQ(0, File2Buf(dir.File("f").c_str(), read));
  EXPECT_EQ(written, read);

  const std::string empty = dir.Write("empty", "");
  kxBinBuf buf = Make("01");
  LogCapture log;
  EXPECT_EQ(-1, File2Buf("", buf));
  EXPECT_EQ(-1, File2Buf(dir.File("none").c_str(), buf));
  EXPECT_EQ(-1, File2Buf(empty.c_str(), buf));
  EXPECT_EQ(-1, Buf2File(sxString(), buf));
  EXPECT_EQ(-1, Buf2File(dir.File("no/folder").c_str(), buf));
  EXPECT_EQ(-1, Buf2File("/dev/full", buf));
  const std::vector<std::string> said = {
      "File2Buf: No file name", "File2Buf: Couldn't open file -  " + dir.File("none"),
      "File2Buf: Failed to get file length or file is empty- " + empty + " ", "Buf2File: No file name",
      "Buf2File: Couldn't open file -  " + dir.File("no/folder"), "Buf2File: Failed to write into file- /dev/full "};
  EXPECT_EQ(said, log.Lines());
  ASSERT_EQ(0, mkfifo(dir.File("pipe").c_str(), 0600));   // opening it would wait for a writer
  EXPECT_EQ(-1, File2Buf(dir.File("pipe").c_str(), buf));
  EXPECT_EQ(-1, File2Buf(dir.Path().c_str(), buf));
}

}  // namespace
