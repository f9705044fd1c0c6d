// The verdict about one named certificate.
#include "kxcert/trust/chainJudge.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <utility>

#include "kxcert/platform/log.h"
#include "kxcert/trust/sxRootCA.h"
#include "trust/pathSearch.h"
#include "trust/rules.h"
#include "trust/strict/strictTable.h"

namespace {

sxFinding RevocationFinding(int flags, const sxChainVerdict &verdict) {
  const bool isAsked = (flags & sxValidate_revocation) != 0;
  const bool isGood = verdict.code == sxValidation_OK || verdict.rule != nullptr;  // strict rules come behind it
  sxFinding finding{isGood ? sxValidation_OK : verdict.code,
                    0,
                    "revocation",
                    "RFC 5280, 6.3",
                    sxFindingResult::kPassed,
                    nullptr,
                    {},
                    nullptr};
  if (!isAsked || (!isGood && RuleOf(verdict.code) != nullptr)) {
    finding.code = sxValidation_unknownStatus;
    finding.result = sxFindingResult::kNotChecked;
    finding.reason = isAsked ? "another rule failed before" : "nobody asked for it";
  } else if (!isGood) {
    finding.result = sxFindingResult::kFailed;
    finding.level = verdict.level;
    finding.advice = "Ask the CA for the certificate's status.";
  }
  return finding;
}

std::string BoundText(sxSearchBound bound) {
  return bound == sxSearchBound::kPaths ? std::to_string(kMaxJudgePaths) + " paths"
                                        : std::to_string(kMaxJudgeVerifications) + " verifications";
}

// The verdict is that of the best path.
void TakeBest(PathSearch &search, sxChainVerdict &verdict) {
  const size_t index = search.Best();
  verdict.judged = static_cast<int>(index);
  verdict.tried.swap(search.Tried());
  const sxTriedPath &best = verdict.tried[index];
  verdict.code = best.code;
  verdict.level = best.level;
  verdict.text = best.text;
  verdict.path = best.certs;
  verdict.evidence = best.evidence;
  verdict.root = best.root;
  verdict.rule = best.rule;
  verdict.failedLookups.swap(search.FailedLookups());
  sxSavePKobj(verdict.root);
  if (best.code != sxValidation_OK && search.Bound() != sxSearchBound::kNone) {
    verdict.bound = search.Bound();
    verdict.text += sxString(("\nsearch ended after: " + BoundText(verdict.bound)).c_str());
  }
}

sxRuleSet RulesOf(const char *group) {
  sxRuleSet rules = 0;
  sxRuleSet_Find(group, &rules);
  return rules;
}

bool DecidesPolicies(sxRuleSet deciding) {
  static const sxRuleSet kRules = RulesOf("policies");
  return (deciding & kRules) == kRules;
}

unsigned ProcessedBy(sxRuleSet deciding) {
  static const sxRuleSet kNames = RulesOf("nameConstraints");
  return ((deciding & kNames) == kNames ? sxProcesses_nameConstraints : 0U) |
         (DecidesPolicies(deciding) ? sxProcesses_policies : 0U);
}

// What is told of the path, and what it is valid for.
void TellStrictly(const sxChainQuestion &question, const ValidateParams &params, sxChainVerdict &verdict) {
  const sxStrictQuestion &strict = question.strict;
  const bool wantsPolicies = verdict.code == sxValidation_OK && DecidesPolicies(strict.deciding);
  const bool wantsFindings = question.wantsFindings && (strict.deciding | strict.notes) != 0;
  if (!wantsPolicies && !wantsFindings) return;
  StrictPath path(verdict.path, verdict.root != nullptr, params, strict);
  if (wantsPolicies) verdict.policies = path.Policies().policies;
  if (!wantsFindings) return;
  AddStrictFindings(path, strict.deciding, strict.notes, &verdict.findings);
}

}  // namespace

sxChainVerdict::~sxChainVerdict() { sxFreePKobj(root); }

sxValidationRC sxJudgeChain(const sxChainQuestion &question, sxChainVerdict &verdict) {
  sxChainVerdict result;  // the question may refer to what the verdict holds
  if (question.endEntity == nullptr || question.endEntity->OK() == 0 || question.holder == nullptr) {
    tderrorFunc("CERT", 1, 0, "%s", "sxJudgeChain: no end entity that is OK, or no key holder");
    result.text = sxValidationRC_GetString(result.code);
  } else {
    ValidateParams params(question.params);
    // One time for all that follows.
    params.Set_time(question.time != kPresentTime ? question.time : params.Time());
    params.Set_processed(ProcessedBy(question.strict.deciding));
    PathSearch search(question, params);
    search.Run();
    TakeBest(search, result);
    if (result.root == nullptr) tderrorFunc("CERT", 3, 0, "sxJudgeChain: %s", result.text.getstr());
    if (question.wantsFindings) {
      result.findings = sxFindAll(result.path, result.root, params, question.flags | sxValidate_signatures);
      result.findings.push_back(RevocationFinding(question.flags, result));
    }
    TellStrictly(question, params, result);
  }
  verdict.path.Swap(result.path);
  std::swap(verdict.root, result.root);
  verdict.code = result.code;
  verdict.level = result.level;
  verdict.text = result.text;
  verdict.findings.swap(result.findings);
  verdict.evidence.swap(result.evidence);
  verdict.tried.swap(result.tried);
  verdict.judged = result.judged;
  verdict.bound = result.bound;
  verdict.failedLookups.swap(result.failedLookups);
  verdict.rule = result.rule;
  verdict.policies.swap(result.policies);
  return verdict.code;
}
