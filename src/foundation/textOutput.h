/// @file
/// What Fprint and Herror of all classes have in common: both write Sprint's text, or nothing when there
/// is none.
#ifndef KXCERT_SRC_FOUNDATION_TEXTOUTPUT_H_
#define KXCERT_SRC_FOUNDATION_TEXTOUTPUT_H_

#include <cstdio>

#include "kxcert/foundation/textStream.h"
#include "kxcert/platform/log.h"

/// @param out   null: standard output
/// @param args  what Sprint takes behind the stream
template <class Object, class... Args>
void sxFprintOf(const Object &object, FILE *out, Args... args) {
  SxStream text;
  object.Sprint(&text, args...);
  if (text.Length() > 0) std::fputs(text.GetBuf(), out == nullptr ? stdout : out);
}

/// One diagnostic of the whole text; nothing is formatted while the switch is off.
template <class Object, class... Args>
void sxHerrorOf(const Object &object, Args... args) {
  if (dodebugprt == 0) return;
  SxStream text;
  object.Sprint(&text, args...);
  if (text.Length() > 0) herror_func(0, 0, "%s", text.GetBuf());
}

#endif
