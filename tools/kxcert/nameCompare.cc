// kxcert name compare: whether two names are equal.
#include <CLI/CLI.hpp>

#include "kxcert/cert/sxDN.h"
#include "nameQuestion.h"
#include "verb.h"

Action AddNameCompare(CLI::App &verb) {
  return AddNameQuestion(
      verb, {"A", "B", "equal", "equal", "not equal", [](const sxDN &a, const sxDN &b) { return a.Equal(b); }});
}
