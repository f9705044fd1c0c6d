/// @file
/// Strict rules as rows. Each group of them is a file with a table; strictRules.cc puts the tables behind one another.
#ifndef KXCERT_SRC_TRUST_STRICT_STRICTRULE_H_
#define KXCERT_SRC_TRUST_STRICT_STRICTRULE_H_

#include <span>
#include <string>
#include <vector>

#include "kxcert/trust/strictRules.h"

class StrictPath;

struct StrictOutcome {
  sxFindingResult result = sxFindingResult::kPassed;
  const char *reason = nullptr;  ///< static: why it was not checked
  std::vector<sxFact> facts = {};
};
inline StrictOutcome StrictPasses() { return {}; }
inline StrictOutcome StrictNotChecked(const char *reason) { return {sxFindingResult::kNotChecked, reason}; }
inline StrictOutcome StrictFails(std::vector<sxFact> facts) {
  return {sxFindingResult::kFailed, nullptr, std::move(facts)};
}
inline StrictOutcome StrictFails(const char *label, std::string value) {
  std::vector<sxFact> facts;
  facts.push_back({label, std::move(value)});
  return StrictFails(std::move(facts));
}
inline StrictOutcome StrictPassesIf(bool holds, const char *label, const char *value) {
  return holds ? StrictPasses() : StrictFails(label, value);
}

/// Of which certificates a rule asks.
enum class StrictWhere {
  kEvery,
  kBelowRoot,  ///< the certificates of the path; see StrictPath::TopBelowRoot
  kIssuers,    ///< of these those above the end entity
  kEndEntity,
  kRoot,
};

struct StrictRule {
  const char *name;
  const char *source;
  sxValidationRC code;
  StrictWhere where;
  bool isOwn;  ///< it looks at nothing but the certificate, so that another path does not help the end entity
  StrictOutcome (*check)(StrictPath &path, int level);
  const char *advice;
};

std::span<const StrictRule> CaRules();
std::span<const StrictRule> PurposeRules();
std::span<const StrictRule> NameConstraintRules();
std::span<const StrictRule> PolicyRules();
std::span<const StrictRule> AlgorithmRules();
std::span<const StrictRule> EncodingRules();
std::span<const StrictRule> EndEntityRules();  ///< endEntity, name and depth
std::span<const StrictRule> AnchorRules();
std::span<const StrictRule> CalendarRules();

#endif
