// kxcert name suffix: whether a name ends with another one's RDNs.

#include "kxcert/cert/sxDN.h"
#include "nameQuestion.h"
#include "verb.h"

Verb NameSuffix() {
  return AskAboutNames({"NAME", "SUFFIX", "under", "the name ends with the suffix",
                        "the name does not end with the suffix",
                        [](const sxDN &name, const sxDN &suffix) { return name.IsSub(suffix); }});
}
