#include "kxcert/foundation/attributeSet.h"

#include <gtest/gtest.h>

#include <cstring>
#include <new>
#include <random>

#include "support/hexOctets.h"

namespace {

std::string Written(const sxset &set) {
  SxStream out;
  set.Write(&out);
  return out.Text();
}

TEST(AttributeSet, EachGetterAnswersWhatItsTextAllows) {
  struct Case { const char *text; bool isInt; long long value; const char *hex; };   // null: not binary
  constexpr Case kCases[] = {
      {"716", true, 716, nullptr},         {"-12", true, -12, nullptr},
      {"0010", true, 10, "0010"},          {"", false, 0, ""},
      {"9223372036854775807", true, INT64_MAX, nullptr},
      {"9223372036854775808", false, 0, nullptr},
      {"+1", false, 0, nullptr},           {" 1", false, 0, nullptr},
      {"1x", false, 0, nullptr},           {"0aFF", false, 0, "0aff"},
      {"0a f", false, 0, nullptr},         {"f", false, 0, nullptr},
  };
  for (const Case &c : kCases) {
    SCOPED_TRACE(c.text);
    sxset set;
    set.SetText("a", c.text);
    long long value = -99;
    std::vector<unsigned char> octets = {1};
    EXPECT_EQ(c.isInt, set.FindInt("a", &value));
    EXPECT_EQ(c.isInt ? c.value : -99, value);
    EXPECT_EQ(c.hex != nullptr, set.FindBinary("a", &octets));
    EXPECT_EQ(c.hex == nullptr ? "01" : c.hex, EncodeHex(octets));
    EXPECT_STREQ(c.text, set.FindText("a"));
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
