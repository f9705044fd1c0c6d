// kxcert name compare: whether two names are equal.

#include "kxcert/cert/sxDN.h"
#include "nameQuestion.h"
#include "verb.h"

Verb NameCompare() {
  return AskAboutNames(
      {"A", "B", "equal", "equal", "not equal", [](const sxDN &a, const sxDN &b) { return a.Equal(b); }});
}
