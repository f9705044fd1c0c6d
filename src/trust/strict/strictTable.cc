#include "trust/strict/strictTable.h"

#include <bit>

namespace {

bool Asks(const StrictRule &rule, const StrictPath &path, int level) {
  switch (rule.where) {
    case StrictWhere::kEvery: return true;
    case StrictWhere::kBelowRoot: return level <= path.TopBelowRoot();
    case StrictWhere::kIssuers: return level > 0 && level <= path.TopBelowRoot();
    case StrictWhere::kEndEntity: return level == 0;
    case StrictWhere::kRoot: return path.IsRoot(level);
  }
  return false;
}

bool IsIn(sxRuleSet set, int number) { return (set >> number & 1) != 0; }

}  // namespace

StrictFailure FirstStrictFailure(StrictPath &path, sxRuleSet rules) {
  const std::span<const StrictRule *const> table = StrictRuleTable();
  for (int number = 0; number < static_cast<int>(table.size()); ++number) {
    if (!IsIn(rules, number)) continue;
    const StrictRule &rule = *table[static_cast<size_t>(number)];
    for (int level = path.Top(); level >= 0; --level) {
      if (!Asks(rule, path, level)) continue;
      StrictOutcome outcome = rule.check(path, level);
      if (outcome.result == sxFindingResult::kFailed) return {&rule, level, std::move(outcome.facts)};
    }
  }
  return {};
}

void AddStrictFindings(StrictPath &path, sxRuleSet deciding, sxRuleSet notes, std::vector<sxFinding> *findings) {
  const std::span<const StrictRule *const> rules = StrictRuleTable();
  const auto numAsked = static_cast<size_t>(std::popcount(deciding | notes));
  findings->reserve(findings->size() + numAsked * static_cast<size_t>(path.Top() + 1));
  for (int level = 0; level <= path.Top(); ++level) {
    for (int number = 0; number < static_cast<int>(rules.size()); ++number) {
      const StrictRule &rule = *rules[static_cast<size_t>(number)];
      if (!IsIn(deciding | notes, number) || !Asks(rule, path, level)) continue;
      StrictOutcome outcome = rule.check(path, level);
      findings->push_back({rule.code, level, rule.name, rule.source, outcome.result, outcome.reason,
                           std::move(outcome.facts), rule.advice, !IsIn(deciding, number)});
    }
  }
}
