/// @file
/// What objects print, as text.
#ifndef KXCERT_TESTS_SUPPORT_PRINTED_H_
#define KXCERT_TESTS_SUPPORT_PRINTED_H_

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include "kxcert/foundation/textStream.h"
#include "support/caseFile.h"

/// What @p print writes to the file that it is called with.
template <class Print>
std::string Captured(const Print &print) {
  char *text = nullptr;
  size_t textLen = 0;
  FILE *out = open_memstream(&text, &textLen);
  print(out);
  std::fclose(out);
  const std::string captured(text, textLen);
  std::free(text);
  return captured;
}

/// What the object's Fprint and Sprint write, with all arguments behind the first; Fprint writes the same to
/// standard output when there is no file.
template <class Object, class... Args>
std::string Fprinted(const Object &object, Args... args) {
  const std::string text = Captured([&](FILE *out) { object.Fprint(out, args...); });
  testing::internal::CaptureStdout();
  object.Fprint(nullptr, args...);
  EXPECT_EQ(text, testing::internal::GetCapturedStdout());
  return text;
}
template <class Object, class... Args>
std::string Sprinted(const Object &object, Args... args) {
  SxStream out;
  object.Sprint(&out, args...);
  return out.Text();
}

/// Print-outs below their titles, one behind the other: what a file of expected ones holds. A run with
/// KXCERT_ACCEPT=1 writes that file anew.
class PrintOuts {
 public:
  void Add(const std::string &title, const std::string &text) { m_all += "== " + title + "\n" + text; }
  void ExpectIn(const std::string &file) const {
    if (std::getenv("KXCERT_ACCEPT") != nullptr) std::ofstream(KXCERT_TEST_DATA "/" + file) << m_all;
    EXPECT_EQ(CaseData(file), m_all) << file;
  }

 private:
  std::string m_all;
};

#endif
