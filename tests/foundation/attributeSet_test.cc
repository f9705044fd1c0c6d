#include "kxcert/foundation/attributeSet.h"

#include <cstring>
#include <new>
#include <random>

#include "support/script.h"

namespace {

using SetPtr = std::unique_ptr<sxset>;

std::string Written(const sxset &set) {
  SxStream out;
  set.Write(&out);
  return out.Text();
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

TEST(AttributeSet, DoesWhatTheStepsSay) {
  const TempDir dir;
  const std::string largest = "()" + std::string(kMaxSetFileLen - 2, ' ');
  dir.Write("largest", largest);
  dir.Write("larger", largest + " ");
  Script()
      .In(dir)
      .OnCopiesOf<sxset>()
      .On("Set", [](const char *name) { return sxset(name); })
      .On("Text", [](const char *text) {
        sxset set;
        set.SetText("a", text);
        return set;
      })
      .On("setInt", &sxset::SetInt)
      .On("setText", &sxset::SetText)
      .On("setBinary", [](sxset &set, const char *name, const Octets &octets) {
        set.SetBinary(name, octets.data(), LenOf(octets));
      })
      .On("setSet", &sxset::SetSet)
      .On("findText", [](const sxset &set, const char *name) { return set.FindText(name); })
      .On("findSet", [](sxset &set, const char *name) { return set.FindSet(name); })
      .On("find", [](const sxset &set, const char *name) { return set.Find(name) != nullptr; })
      .On("int", [](const sxset &set) {
        long long value = -99;
        EXPECT_TRUE(set.FindInt("a", &value) || value == -99);
        return value == -99 ? "-" : std::to_string(value);
      })
      .On("binary", [](const sxset &set) {
        Octets octets = {1};
        return set.FindBinary("a", &octets) ? EncodeHex(octets) : octets == Octets{1} ? "-" : "changed";
      })
      .On("remove", &sxset::Remove)
      .On("count", &sxset::Count)
      .On("name", &sxset::MemberName)
      .On("hasMember", [](const sxset &set, int at) { return set.Member(at) != nullptr; })
      .On("equal", [](const sxset &a, const sxset &b) { return a == b; })
      .On("written", Written)
      .On("read", [](const char *text) {   // or why not
        std::string error = "untouched";
        const SetPtr set(sio_sread(text, &error));
        EXPECT_EQ(set != nullptr, error == "untouched");
        return set != nullptr ? Written(*set) : error;
      })
      .On("readSilently", [](const char *text) { return SetPtr(sio_sread(text, nullptr)); })
      .On("readFile", [](const char *file) {
        std::string error = "read";
        const SetPtr set(sio_readx(file, &error));
        EXPECT_EQ(set != nullptr, error == "read");
        return error;
      })
      .Run("foundation/attributeSet.steps");
}

}  // namespace
