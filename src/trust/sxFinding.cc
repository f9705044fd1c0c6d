#include "kxcert/trust/sxFinding.h"

#include <iterator>
#include <utility>

#include "kxcert/cert/sxCerts.h"
#include "trust/rules.h"

namespace {

// Asks some rules at one place, and keeps what comes of it at the level that it is about.
void AskAll(std::span<const Rule> rules, const RulePlace &place, std::vector<std::vector<sxFinding>> &levels) {
  for (const Rule &rule : rules) {
    const RuleOutcome outcome = rule.check(place);
    const int level = place.level + rule.levelsUp;
    sxFinding finding{rule.code, level, rule.name, rule.source, outcome.result, outcome.reason, {}, rule.advice};
    if (outcome.result == sxFindingResult::kFailed) rule.facts(place, finding.facts);
    levels[static_cast<size_t>(level)].push_back(std::move(finding));
  }
}

}  // namespace

std::vector<sxFinding> sxFindAll(const sxCerts &chain, const sxRootCA *root, const ValidateParams &params, int flags) {
  const int top = chain.Top();
  std::vector<std::vector<sxFinding>> levels(static_cast<size_t>(top + 1));
  const auto at = [&chain](int level) {
    const sxCert *cert = chain.Get(level);
    return cert != nullptr && cert->OK() ? cert : nullptr;
  };
  const int64_t now = params.Time();
  for (int level = 0; level <= top; ++level) {
    const RulePlace place{at(level), at(level + 1), level, root, &params, now};
    if (place.cert == nullptr) continue;
    if ((flags & sxValidate_path) != 0) AskAll(CertificateRules(), place, levels);
    if (level == 0 && root != nullptr && (flags & sxValidate_nameConstraints) != 0) AskAll(RootRules(), place, levels);
    if (level == top) AskAll(TrustRules(), place, levels);
    if (place.issuer == nullptr) continue;
    if ((flags & sxValidate_path) != 0) AskAll(LinkRules(), place, levels);
    if ((flags & sxValidate_signatures) != 0) AskAll(SignatureRules(), place, levels);
  }
  std::vector<sxFinding> all;
  for (std::vector<sxFinding> &level : levels) std::move(level.begin(), level.end(), std::back_inserter(all));
  return all;
}
