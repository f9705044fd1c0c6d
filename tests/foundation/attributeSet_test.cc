#include "kxcert/foundation/attributeSet.h"

#include <gtest/gtest.h>

#include <cstring>
#include <new>
#include <random>

#include "support/caseFile.h"

namespace {

std::string Written(const sxset &set) {
  SxStream out;
  set.Write(&out);
  return out.Text();
}

TEST(AttributeSet, EachGetterAnswersWhatItsTextAllows) {
  for (const CaseRow &row : CaseRows("foundation/setMembers.txt", 3)) {
    SCOPED_TRACE(testing::PrintToString(row));
    const std::string text = row[0].front() == '"' ? CaseText(row[0]) : row[0];
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
    const std::unique_ptr<sxset> read(sio_sread(Written(set).c_str(), &error));
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

}  // namespace
