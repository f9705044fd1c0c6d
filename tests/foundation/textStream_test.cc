#include "kxcert/foundation/textStream.h"

#include <gtest/gtest.h>

namespace {

TEST(SxStream, AppendsTextOfAnyLength) {
  SxStream out;
  out.Indent(2);
  out.Indent(-1);
  out.Puts("a");
  out.Puts(nullptr);
  out.Put({"bcd", 2});
  for (const size_t len : {511U, 512U, 3000U}) {   // about the fixed area that most texts fit
    const std::string before = out.Text();
    const std::string text(len, 'y');
    out.Printf("%s|", text.c_str());
    EXPECT_EQ(before + text + "|", out.Text());
  }
  EXPECT_EQ("\t\tabc", out.Text().substr(0, 5));
  EXPECT_EQ(static_cast<int>(out.Text().size()), out.Length());
}

}  // namespace
