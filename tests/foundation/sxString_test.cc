#include "kxcert/foundation/sxString.h"

#include <gtest/gtest.h>

#include "platform/pageLocks.h"

namespace {

TEST(sxString, TakesTextByLengthOrToTheNul) {
  EXPECT_STREQ("abc", sxString("abc", -1).getstr());
  EXPECT_STREQ("ab", sxString("abc", 2).getstr());
  EXPECT_EQ(3, sxString("a\0b", 3).length());
  EXPECT_TRUE(sxString("a\0b", 3) == sxString("a\0b", 3) && sxString("a\0b", 3) != sxString("a\0c", 3));
  EXPECT_TRUE(sxString("a") != sxString("ab") && !(sxString("a") == sxString("ab")));
  EXPECT_TRUE(sxString("ab") == "ab" && "ab" == sxString("ab") && sxString() == nullptr);
  EXPECT_TRUE(sxString("a\0b", 3) != "a" && "a" != sxString("a\0b", 3));
  sxString text("A\0Bz1", 5);
  text.ToLower();
  EXPECT_EQ(sxString("a\0bz1", 5), text);
}

TEST(sxString, BuiltFromNullHasNoText) {
  sxString none(nullptr);
  EXPECT_EQ(nullptr, none.getstr());
  EXPECT_EQ(0, none.length());
  EXPECT_EQ(none, sxString(""));   // lengths and characters count, not the block
  none.Set("x");
  none.Set(nullptr);
  EXPECT_EQ(nullptr, none.getstr());
}

TEST(sxString, AssignmentAndSetSurviveTheirOwnText) {
  sxString text("abcdef");
  const sxString &same = text;
  text = same;
  EXPECT_STREQ("abcdef", text.getstr());
  text.Set(text.getstr() + 2, 3);
  EXPECT_STREQ("cde", text.getstr());
  text += text;
  EXPECT_STREQ("cdecde", text.getstr());
}

TEST(sxString, ConcatenationWithASensitiveTextIsSensitiveAndLocked) {
  const size_t before = kxMem_NumLockedPages();
  {
    const std::string longText(16 * 4096, 's');   // pages of its own
    const sxString secret(longText.c_str(), -1, true);
    const size_t withSecret = kxMem_NumLockedPages();
    EXPECT_LT(before, withSecret);
    const sxString sum = sxString("plain") + secret;
    EXPECT_TRUE(sum.IsSensitive());
    EXPECT_EQ("plain" + longText, sum.getstr());
    EXPECT_LT(withSecret, kxMem_NumLockedPages());
    EXPECT_FALSE((sxString("plain") + "text").IsSensitive());
  }
  EXPECT_EQ(before, kxMem_NumLockedPages());
  sxString wiped("secret", -1, true);
  wiped.Zero();
  EXPECT_EQ(std::string(6, '\0'), std::string(wiped.getstr(), static_cast<size_t>(wiped.length())));
}

}  // namespace
