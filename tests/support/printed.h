/// @file
/// What objects print, as text.
#ifndef KXCERT_TESTS_SUPPORT_PRINTED_H_
#define KXCERT_TESTS_SUPPORT_PRINTED_H_

#include <cstdio>
#include <cstdlib>
#include <string>

#include "kxcert/foundation/textStream.h"

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

/// What the object's Fprint and Sprint write, with all arguments behind the first.
template <class Object, class... Args>
std::string Fprinted(const Object &object, Args... args) {
  return Captured([&](FILE *out) { object.Fprint(out, args...); });
}
template <class Object, class... Args>
std::string Sprinted(const Object &object, Args... args) {
  SxStream out;
  object.Sprint(&out, args...);
  return out.Text();
}

#endif
