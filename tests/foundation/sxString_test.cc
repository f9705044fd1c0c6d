#include "kxcert/foundation/sxString.h"

#include "platform/pageLocks.h"
#include "support/script.h"

namespace {

TEST(sxString, DoesWhatTheStepsSay) {
  using Str = sxString;
  const size_t lockedBefore = kxMem_NumLockedPages();
  Script()
      .OnCopiesOf<Str>()
      .On("Str", [](const std::string &text) { return Str(text.data(), static_cast<int>(text.size())); })
      .On("OfLen", [](const char *text, int len) { return Str(text, len); })
      .On("OfText", [](const char *text) { return Str(text); })
      .On("Secret", [](const std::string &text) { return Str(text.data(), static_cast<int>(text.size()), true); })
      .On("text", &Str::getstr)
      .On("octets", [](const Str &s) { return std::string(s.getstr(), static_cast<size_t>(s.length())); })
      .On("length", &Str::length)
      .On("set", [](Str &s, const char *text) { s.Set(text); })
      .On("setPart", [](Str &s, int at, int len) { s.Set(s.getstr() + at, len); })
      .On("add", [](Str &s, const Str &other) { s += other; })
      .On("sum", [](const Str &a, const Str &b) { return a + b; })
      .On("sumText", [](const Str &a, const char *b) { return a + b; })
      .On("toLower", &Str::ToLower)
      .On("zero", &Str::Zero)
      .On("isSensitive", &Str::IsSensitive)
      .On("equal", [](const Str &a, const Str &b) { return a == b && !(a != b); })
      .On("differ", [](const Str &a, const Str &b) { return a != b && !(a == b); })
      .On("equalText", [](const Str &a, const char *b) { return a == b && b == a && !(a != b) && !(b != a); })
      .On("differText", [](const Str &a, const char *b) { return a != b && b != a && !(a == b) && !(b == a); })
      .On("lockedPages", [=] { return kxMem_NumLockedPages() == lockedBefore ? "as before" : "more"; })
      .Run("foundation/sxString.steps");
}

}  // namespace
