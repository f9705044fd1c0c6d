// What CAs limit below them: names and policies.
#include "trust/strict/strictPath.h"
#include "trust/strict/strictRule.h"

namespace {

template <NameFailure::Kind kKind>
StrictOutcome NamesHold(StrictPath &path, int level) {
  const NameVerdict &verdict = path.Names();
  if (!verdict.hasConstraints) return StrictNotChecked("no CA above has name constraints");
  for (const NameFailure &failure : verdict.failures) {
    if (failure.level == level && failure.kind == kKind) return StrictFails(failure.facts);
  }
  if (kKind == NameFailure::kUnreadable) return StrictPasses();
  if (!verdict.isComplete) return StrictNotChecked("more names than are compared");
  if (level < verdict.topUnreadable) return StrictNotChecked("constraints of a CA above cannot be read");
  return StrictPasses();
}

template <bool kMalformed>
StrictOutcome PoliciesHold(StrictPath &path, int level) {
  const PolicyVerdict &verdict = path.PolicyFailure();
  if (verdict.isValid || level > verdict.level) return StrictPasses();
  if (level < verdict.level) return StrictNotChecked("the path's policies ended above");
  if (verdict.isMalformed == kMalformed) return StrictFails(verdict.facts);
  return kMalformed ? StrictPasses() : StrictNotChecked("its policies cannot be read");
}

constexpr char kNameSource[] = "RFC 5280, 6.1.3 (b), (c)";

constexpr StrictRule kNameRules[] = {
    {"nameConstraints.names", kNameSource, sxValidation_nameConstraints, StrictWhere::kEvery, false,
     NamesHold<NameFailure::kOutside>, "The CA may not issue for this name: use one that may."},
    {"nameConstraints.kinds", "RFC 5280, 4.2.1.10", sxValidation_nameConstraints, StrictWhere::kEvery, false,
     NamesHold<NameFailure::kUnknownKind>,
     "Names of this kind are not compared here: use a certificate without one, or a CA without the constraint."},
    {"nameConstraints.readable", "RFC 5280, 4.2.1.10", sxValidation_nameConstraints, StrictWhere::kEvery, false,
     NamesHold<NameFailure::kUnreadable>, "This CA's name constraints cannot be obeyed: it has to be issued anew."},
    {"nameConstraints.bound", kNameSource, sxValidation_nameConstraints, StrictWhere::kEvery, false,
     NamesHold<NameFailure::kTooMany>, "Use a certificate with fewer names."},
};

constexpr StrictRule kPolicyRules[] = {
    {"policies.readable", "RFC 5280, 4.2.1.4 and 6.1.4 (a)", sxValidation_unhandledCritExt, StrictWhere::kEvery, false,
     PoliciesHold<true>, "The certificate's policy extensions are malformed: it has to be issued anew."},
    {"policies.explicit", "RFC 5280, 6.1.5; RFC 9618", sxValidation_unhandledCritExt, StrictWhere::kEvery, false,
     PoliciesHold<false>,
     "The path is valid for none of the policies that are wanted: use another one, or ask for fewer."},
};

}  // namespace

std::span<const StrictRule> NameConstraintRules() { return kNameRules; }
std::span<const StrictRule> PolicyRules() { return kPolicyRules; }
