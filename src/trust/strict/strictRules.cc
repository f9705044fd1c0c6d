#include "kxcert/trust/strictRules.h"

#include <algorithm>
#include <array>
#include <iterator>

#include "trust/strict/strictTable.h"

namespace {

// The order in which they decide.
constexpr std::span<const StrictRule> (*kTables[])() = {CaRules,        PurposeRules,   NameConstraintRules,
                                                        PolicyRules,    AlgorithmRules, EncodingRules,
                                                        EndEntityRules, AnchorRules,    CalendarRules};

constexpr size_t kMaxRules = 64;  // bits of a set

struct Table {
  std::array<const StrictRule *, kMaxRules> rules{};
  int count = 0;
  Table() {
    for (const auto table : kTables) {
      for (const StrictRule &rule : table()) rules.at(static_cast<size_t>(count++)) = &rule;
    }
  }
};
const Table &TheTable() {
  static const Table kTable;
  return kTable;
}

struct SetRow {
  const char *name;
  std::initializer_list<const char *> members;  // groups and rules
};
constexpr const char *kEverything = "";
const SetRow kSets[] = {
    {"rfc5280", {"caConstraints", "nameConstraints", "policies", "algorithms.equal", "encoding", "calendar"}},
    {"server", {"rfc5280", "purpose", "algorithms", "endEntity", "name", "depth"}},
    {"client", {"rfc5280", "purpose", "algorithms", "endEntity", "depth"}},
    {"gateway", {}},
    {"audit", {kEverything}},
};

// A rule's own name, its group's, or what all have.
bool Names(std::string_view name, std::string_view rule) {
  return name == kEverything || name == rule || (rule.starts_with(name) && rule.substr(name.size()).starts_with('.'));
}

}  // namespace

std::span<const StrictRule *const> StrictRuleTable() {
  const Table &table = TheTable();
  return std::span(table.rules).first(static_cast<size_t>(table.count));
}
int StrictRuleCount() { return TheTable().count; }
const StrictRule &StrictRuleAt(int number) { return *TheTable().rules[static_cast<size_t>(number)]; }

int sxStrictRule_Count() { return StrictRuleCount(); }

bool sxStrictRule_Get(int number, sxStrictRuleInfo *out) {
  if (out == nullptr || number < 0 || number >= StrictRuleCount()) return false;
  const StrictRule &rule = StrictRuleAt(number);
  *out = {rule.name, rule.source, rule.code, rule.advice};
  return true;
}

bool sxRuleSet_Find(std::string_view name, sxRuleSet *out) {
  if (out == nullptr) return false;
  sxRuleSet found = 0;
  if (const auto *const set = std::ranges::find(kSets, name, &SetRow::name); set != std::end(kSets)) {
    for (const char *const member : set->members) {
      sxRuleSet more = 0;
      if (member == kEverything) {
        more = ~sxRuleSet{0} >> (kMaxRules - static_cast<size_t>(StrictRuleCount()));
      } else {
        sxRuleSet_Find(member, &more);
      }
      found |= more;
    }
    *out = found;
    return true;
  }
  if (name.empty()) return false;
  for (int i = 0; i < StrictRuleCount(); ++i) {
    if (Names(name, StrictRuleAt(i).name)) found |= sxRuleSet{1} << i;
  }
  if (found != 0) *out = found;
  return found != 0;
}
