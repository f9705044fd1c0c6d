#include <gmock/gmock.h>
#include <sys/stat.h>

#include "kxcert/foundation/attributeSet.h"
#include "support/logCapture.h"
#include "support/tempDir.h"

namespace {

using SetPtr = std::unique_ptr<sxset>;

constexpr struct { const char *text; const char *written; } kReadCases[] = {
    {"()", "()"},
    {" # a comment\n ( ) # after it", "()"},
    {"(name)", "(name :)"},   // outermost, it can only be a set
    {"(name :)", "(name :)"},
    {"(:curve (:NID (716) :comment (\"NIST/SECG curve over a 521 bit prime field\")))",
     "(:curve (:NID (716) :comment (\"NIST/SECG curve over a 521 bit prime field\")))"},
    {"(\n\t:a\n\t(x) # why\r\n\t:b ( \"y z\" ):c(aZ09._-+/@))", "(:a (x) :b (\"y z\") :c (aZ09._-+/@))"},
    {"(:a (in :b (1)) :c (in :) :d ())", "(:a (in :b (1)) :c (in :) :d ())"},
    {R"((:"a b" ("q\"b\\s\n") :e ("")))", R"((:"a b" ("q\"b\\sn") :e ("")))"},
    {"(:a (\"#no comment)\"))", "(:a (\"#no comment)\"))"},
};

TEST(AttributeSetReader, ReadsTheTextForm) {
  for (const auto &c : kReadCases) {
    std::string error = "untouched";
    const SetPtr set(sio_sread(c.text, &error));
    ASSERT_TRUE(set) << c.text << ": " << error;
    SxStream out;
    set->Write(&out);
    EXPECT_EQ(c.written, out.Text());
    EXPECT_EQ("untouched", error);
  }
}

constexpr struct { const char *text; const char *error; } kErrorCases[] = {
    {"", "line 1, column 1: a set begins with '('"},
    {"x", "line 1, column 1: a set begins with '('"},
    {"# only\n", "line 2, column 1: a set begins with '('"},
    {"() x", "line 1, column 4: nothing may follow the set"},
    {"(:a (1)", "line 1, column 8: ':' or ')' is expected"},
    {"(:a (1) b)", "line 1, column 9: ':' or ')' is expected"},
    {"(:a (1 2))", "line 1, column 8: ':' or ')' is expected"},
    {"(:a\n  x)", "line 2, column 3: a value in parentheses is expected"},
    {"(: a (1))", "line 1, column 3: a word is expected"},
    {"(:)", "line 1, column 3: a word is expected"},
    {"(n :a (1) :)", "line 1, column 12: a word is expected"},
    {"(:a (=))", "line 1, column 6: a word is expected"},
    {"(:a (\xfc))", "line 1, column 6: a word is expected"},
    {"(:a (1)\n :b (2)\n :a (3))", "line 3, column 3: this name stands already"},
    {"(:a (\"b\n))", "line 1, column 6: the quotes are not closed"},
    {"(:a (\"b\\", "line 1, column 6: the quotes are not closed"},
    {"(:a (\"b\\\"))", "line 1, column 6: the quotes are not closed"},
};

TEST(AttributeSetReader, SaysWhereATextIsWrong) {
  for (const auto &c : kErrorCases) {
    std::string error;
    EXPECT_FALSE(SetPtr(sio_sread(c.text, &error))) << c.text;
    EXPECT_EQ(c.error, error) << c.text;
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
