/// @file
/// The options that say which rules decide beside the usual checks, and what they are asked about.
#ifndef KXCERT_TOOLS_KXCERT_STRICTOPTIONS_H_
#define KXCERT_TOOLS_KXCERT_STRICTOPTIONS_H_

#include <string>
#include <vector>

#include "kxcert/trust/strictRules.h"
#include "verb.h"

struct StrictOptions {
  std::string strict;  ///< names of sets, groups and rules, with commas; empty: not given
  std::string set;
  std::string purpose, host, address, mail;
  std::vector<std::string> policies;
  bool inhibitMapping = false, inhibitAnyPolicy = false;
  int minDigest = 0;  ///< of sx_md_type
  int minRsaBits = -1;
  int depth = -1;
};

std::vector<OptionRow> StrictRows(StrictOptions &options);

/// What was asked for decides; without --set, what else "rfc5280" has is told as notes.
sxStrictQuestion StrictQuestionOf(const StrictOptions &options);

#endif
