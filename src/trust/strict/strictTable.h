/// @file
/// All strict rules behind one another, and what they say of a path.
#ifndef KXCERT_SRC_TRUST_STRICT_STRICTTABLE_H_
#define KXCERT_SRC_TRUST_STRICT_STRICTTABLE_H_

#include "trust/strict/strictPath.h"
#include "trust/strict/strictRule.h"

int StrictRuleCount();
const StrictRule &StrictRuleAt(int number);
std::span<const StrictRule *const> StrictRuleTable();

/// What a deciding rule refuses: the first one in the order of the table, and of one rule the highest certificate.
struct StrictFailure {
  const StrictRule *rule = nullptr;  ///< null: nothing is refused
  int level = -1;
  std::vector<sxFact> facts;
};
StrictFailure FirstStrictFailure(StrictPath &path, sxRuleSet rules);

/// What each rule says of each certificate, level by level from the end entity up.
/// @param notes  those that do not decide
/// @param[in,out] findings  to which they are added
void AddStrictFindings(StrictPath &path, sxRuleSet deciding, sxRuleSet notes, std::vector<sxFinding> *findings);

#endif
