#include "kxcert/foundation/attributeSet.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <cstring>
#include <new>
#include <random>

#include "support/caseFile.h"
#include "support/logCapture.h"
#include "support/tempDir.h"

namespace {

using SetPtr = std::unique_ptr<sxset>;

// A cell as it stands, or in quotes.
std::string TextOf(const std::string &cell) { return cell.front() == '"' ? CaseText(cell) : cell; }

std::string Written(const sxset &set) {
  SxStream out;
  set.Write(&out);
  return out.Text();
}

TEST(AttributeSet, EachGetterAnswersWhatItsTextAllows) {
  for (const CaseRow &row : CaseRows("foundation/setMembers.txt", 3)) {
    SCOPED_TRACE(testing::PrintToString(row));
    const std::string text = TextOf(row[0]);
    sxset set;
    set.SetText("a", text.c_str());
    long long value = -99;
    Octets octets = {1};
    EXPECT_EQ(row[1] != "-", set.FindInt("a", &value));
    EXPECT_EQ(row[1] != "-" ? std::stoll(row[1]) : -99, value);
    EXPECT_EQ(row[2] != "-", set.FindBinary("a", &octets));
    EXPECT_EQ(row[2] != "-" ? CaseOctets(row[2]) : Octets{1}, octets);
    EXPECT_EQ(text, set.FindText("a"));
    EXPECT_EQ(nullptr, set.FindSet("a"));
  }
}

TEST(AttributeSet, AMemberIsReplacedInItsPlace) {
  const unsigned char octets[] = {0xAB, 0x01};
  sxset set("s");
  set.SetInt("a", -5);
  set.SetText("b", "x");
  set.SetBinary("a", octets, 2);
  EXPECT_EQ("(s :a (ab01) :b (x))", Written(set));
  set.SetSet("b", set);   // a copy, even of itself
  EXPECT_EQ("(s :a (ab01) :b (s :a (ab01) :b (x)))", Written(set));
  EXPECT_EQ(nullptr, set.FindText("b"));
  EXPECT_TRUE(set.Remove("a"));
  EXPECT_FALSE(set.Remove("a"));
  ASSERT_EQ(1, set.Count());
  EXPECT_STREQ("b", set.MemberName(0));
  EXPECT_EQ(nullptr, set.MemberName(1));
  EXPECT_EQ(nullptr, set.Member(-1));
  EXPECT_EQ(nullptr, set.Find(nullptr));
}

TEST(AttributeSet, CopiesAreDeepAndComparedByOrder) {
  sxset set;
  set.SetSet("in", sxset("n"));
  sxset copy = set;
  EXPECT_TRUE(copy == set);
  copy.FindSet("in")->SetInt("x", 1);
  EXPECT_FALSE(copy == set);
  sxset ab, ba;
  ab.SetInt("a", 1);
  ab.SetInt("b", 1);
  ba.SetInt("b", 1);
  ba.SetInt("a", 1);
  EXPECT_FALSE(ab == ba);
  EXPECT_FALSE(sxset("n") == sxset("m"));
  sxset text;
  text.SetText("in", "n");
  EXPECT_FALSE(text == set);
  copy.FindSet("in")->SetText("y", std::string(50, 'x').c_str());
  copy.SetText("z", "");   // as many members as the inner set
  const std::string inner = Written(*copy.FindSet("in"));
  copy = *copy.FindSet("in");   // a part of itself
  EXPECT_EQ(inner, Written(copy));
}

// Names and values of any characters but NUL, nested, come back as they were.
TEST(AttributeSet, EverySetReadsBackAsItWasWritten) {
  const unsigned seed = std::random_device()();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 random(seed);
  const auto word = [&random](unsigned maxLen) {
    std::string text(random() % (maxLen + 1), 'x');
    for (char &c : text) c = static_cast<char>(random() % 4 == 0 ? 1 + random() % 255 : 'a' + random() % 26);
    return text;
  };
  for (int round = 0; round < 300; ++round) {
    sxset set(word(3).c_str());
    for (unsigned depth = random() % 5; depth > 0; --depth) {
      for (unsigned i = random() % 4; i > 0; --i) set.SetText(word(4).c_str(), word(40).c_str());
      sxset outer(word(2).c_str());
      outer.SetSet(word(5).c_str(), set);
      set = outer;
    }
    std::string error;
    const SetPtr read(sio_sread(Written(set).c_str(), &error));
    ASSERT_TRUE(read) << error << " in " << Written(set);
    ASSERT_TRUE(set == *read) << Written(set) << " was read as " << Written(*read);
  }
}

// A short text lies inside the object, where it can be looked for after the object's end.
TEST(AttributeSet, AnAtomLeavesNothingOfItsTextBehind) {
  alignas(SxAtom) unsigned char area[sizeof(SxAtom)] = {};
  // The end of it: a shorter text in its place overwrites the beginning and no more.
  const auto holdsSecret = [&area] { return memmem(area, sizeof area, "heim", 4) != nullptr; };
  auto *atom = new (area) SxAtom(std::string("geheim"));
  EXPECT_TRUE(holdsSecret());
  const SxAtom moved(std::move(*atom));
  EXPECT_FALSE(holdsSecret());
  EXPECT_STREQ("geheim", moved.Text());
  *atom = moved;
  EXPECT_TRUE(holdsSecret());
  *atom = SxAtom(std::string("x"));
  EXPECT_FALSE(holdsSecret());
  *atom = moved;
  atom->~SxAtom();
  EXPECT_FALSE(holdsSecret());
}

TEST(AttributeSetReader, ReadsTheTextForm) {
  for (const CaseRow &row : CaseRows("foundation/setTexts.txt", 2)) {
    std::string error = "untouched";
    const SetPtr set(sio_sread(TextOf(row[0]).c_str(), &error));
    ASSERT_TRUE(set) << row.where << ": " << error;
    EXPECT_EQ(row[1] == "=" ? row[0] : row[1], Written(*set)) << row.where;
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
  const std::string largest = "()" + std::string(kMaxSetFileLen - 2, ' ');
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
