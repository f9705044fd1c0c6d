// kxcert name suffix: whether a name ends with another one's RDNs.
#include <CLI/CLI.hpp>

#include "kxcert/cert/sxDN.h"
#include "nameQuestion.h"
#include "verb.h"

Action AddNameSuffix(CLI::App &verb) {
  return AddNameQuestion(
      verb, {"NAME", "SUFFIX", "under", "the name ends with the suffix", "the name does not end with the suffix",
             [](const sxDN &name, const sxDN &suffix) { return name.IsSub(suffix); }});
}
