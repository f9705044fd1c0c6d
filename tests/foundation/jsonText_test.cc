#include "foundation/jsonText.h"

#include <gtest/gtest.h>

namespace {

TEST(JsonText, PutsMembersInOrder) {
  JsonText out;
  out.BeginObject();
  out.Number("n", -7);
  out.BeginArray("list");
  out.Text(nullptr, "a");
  out.BeginObject();
  out.EndObject();
  out.EndArray();
  out.Null("no\"thing");
  out.EndObject();
  EXPECT_EQ(R"({"n":-7,"list":["a",{}],"no\"thing":null})", out.Get());
}

struct TextCase { const char *what; std::string text; const char *written; };
const TextCase kTexts[] = {
    {"printable", " a/'~<>", R"(" a/'~<>")"},
    {"quotes and backslashes", R"(","x":"\)", R"("\",\"x\":\"\\")"},
    {"control characters", std::string("\0\n\x1f\x7f", 4), R"("\u0000\u000a\u001f\u007f")"},
    {"of the second set", "\xc2\x80\xc2\x9f\xc2\xa0", "\"\\u0080\\u009f\xc2\xa0\""},
    {"of two, three and four octets", "\xc3\xa4\xe2\x82\xac\xf0\x9f\x94\x91", "\"\xc3\xa4\xe2\x82\xac\xf0\x9f\x94\x91\""},
    {"the last ones", "\xed\x9f\xbf\xee\x80\x80\xf4\x8f\xbf\xbf", "\"\xed\x9f\xbf\xee\x80\x80\xf4\x8f\xbf\xbf\""},
    {"cut short", "\xe2\x82", R"("\ufffd\ufffd")"},
    {"cut short by a quote", "\xc3\"", R"("\ufffd\"")"},
    {"a continuation alone", "a\x80z", R"("a\ufffdz")"},
    {"longer than needed", "\xc1\xbf\xe0\x9f\xbf", R"("\ufffd\ufffd\ufffd\ufffd\ufffd")"},
    {"a surrogate", "\xed\xa0\x80", R"("\ufffd\ufffd\ufffd")"},
    {"beyond the last plane", "\xf4\x90\x80\x80", R"("\ufffd\ufffd\ufffd\ufffd")"},
    {"no lead octet", "\xf8\x88\x80\x80\x80", R"("\ufffd\ufffd\ufffd\ufffd\ufffd")"},
};

TEST(JsonText, LetsNoTextBreakOut) {
  for (const TextCase &c : kTexts) {
    SCOPED_TRACE(c.what);
    JsonText out;
    out.Text(nullptr, c.text);
    EXPECT_EQ(c.written, out.Get());
  }
}

}  // namespace
