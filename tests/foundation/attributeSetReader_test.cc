#include <gmock/gmock.h>
#include <sys/stat.h>

#include "kxcert/foundation/attributeSet.h"
#include "support/caseFile.h"
#include "support/logCapture.h"
#include "support/tempDir.h"

namespace {

using SetPtr = std::unique_ptr<sxset>;

// A cell as it stands, or in quotes.
std::string TextOf(const std::string &cell) { return cell.front() == '"' ? CaseText(cell) : cell; }

TEST(AttributeSetReader, ReadsTheTextForm) {
  for (const CaseRow &row : CaseRows("foundation/setTexts.txt", 2)) {
    std::string error = "untouched";
    const SetPtr set(sio_sread(TextOf(row[0]).c_str(), &error));
    ASSERT_TRUE(set) << row.where << ": " << error;
    SxStream out;
    set->Write(&out);
    EXPECT_EQ(row[1] == "=" ? row[0] : row[1], out.Text()) << row.where;
    EXPECT_EQ("untouched", error);
  }
}

TEST(AttributeSetReader, SaysWhereATextIsWrong) {
  for (const CaseRow &row : CaseRows("foundation/setErrors.txt", 2)) {
    std::string error;
    EXPECT_FALSE(SetPtr(sio_sread(TextOf(row[0]).c_str(), &error))) << row.where;
    EXPECT_EQ(row[1], error) << row.where;
  }
  EXPECT_EQ(nullptr, sio_sread(nullptr, nullptr));
  LogCapture log;   // which gets the reason when nobody asks for it
  EXPECT_EQ(nullptr, sio_sread("(:key (s3cret", nullptr));
  EXPECT_THAT(log.Lines(), testing::ElementsAre("sio_sread: line 1, column 14: ':' or ')' is expected"));
}

TEST(AttributeSetReader, RefusesEveryShorterPrefix) {
  const std::string text = R"((n :a (x) :"b c" (m :d ("e\"f") :g ()) :h (0a)))";
  ASSERT_TRUE(SetPtr(sio_sread(text.c_str(), nullptr)));
  for (size_t len = 0; len < text.size(); ++len) {
    EXPECT_FALSE(SetPtr(sio_sread(text.substr(0, len).c_str(), nullptr))) << len;
  }
}

TEST(AttributeSetReader, NestsAsDeepAsTheBoundAndNoDeeper) {
  for (const int numSets : {kMaxSetNesting, kMaxSetNesting + 1, 1'000'000}) {
    std::string text;
    for (int i = 1; i < numSets; ++i) text += "(:a ";
    text += "(:b (text))";   // the parentheses of a text are no set
    text.append(static_cast<size_t>(numSets - 1), ')');
    std::string error;
    EXPECT_EQ(numSets == kMaxSetNesting, SetPtr(sio_sread(text.c_str(), &error)) != nullptr);
    EXPECT_EQ(numSets == kMaxSetNesting ? "" : "line 1, column 257: sets are nested too deep", error);
  }
}

TEST(AttributeSetReader, ReadsFilesOrSaysWhyNot) {
  const TempDir dir;
  std::string largest(kMaxSetFileLen, ' ');
  largest.replace(0, 2, "()");
  ASSERT_EQ(0, mkfifo(dir.File("pipe").c_str(), 0600));   // opening it would wait for a writer
  const struct { std::string file; std::string error; } kFiles[] = {
      {dir.Write("good", "(:a (1))\n"), ""},
      {dir.Write("largest", largest), ""},
      {dir.Write("larger", largest + " "), dir.File("larger") + ": the file is too long"},
      {dir.Write("bad", "(:a\n"), "line 2, column 1: a value in parentheses is expected"},
      {dir.Write("nul", std::string("(:a (\"x\0y\"))", 12)), "line 1, column 8: a NUL character"},
      {dir.File("none"), dir.File("none") + ": No such file or directory"},
      {dir.Path(), dir.Path() + ": not a regular file"},
      {dir.File("pipe"), dir.File("pipe") + ": not a regular file"},
  };
  for (const auto &c : kFiles) {
    std::string error;
    EXPECT_EQ(c.error.empty(), SetPtr(sio_readx(c.file.c_str(), &error)) != nullptr) << c.file;
    EXPECT_EQ(c.error, error);
  }
}

}  // namespace
