#include "kxcert/keys/dhGroupRules.h"

#include <algorithm>
#include <set>

#include "dhGroupTable.h"
#include "kxcert/keys/dhGroups.h"
#include "kxcert/platform/log.h"

namespace {

constexpr int kPredefined[] = {1, 2, 5};

struct NumberRange {
  int first, last;
};
constexpr NumberRange kLegalNumbers[] = {{1, 2}, {5, 5}, {14, 18}, {19, 20}, {22, 24}, {32768, 65535}};

int Broken(int rule, const char *fmt, const char *func) {
  herror_func(0, 0, fmt, func);
  return rule;
}

int MaxPrivLen(const DhGrpParams &group) {
  return static_cast<int>(std::min(group.mod.size(), static_cast<size_t>(kMaxDhModulusLen))) * 8;
}

}  // namespace

int GrpNumOutOfLegalRange(int groupNumber) {
  for (const NumberRange &range : kLegalNumbers) {
    if (groupNumber >= range.first && groupNumber <= range.last) return 0;
  }
  herror_func(0, 0, "%s: grpNum is out of legal range", "GrpNumOutOfLegalRange");
  return 1;
}

int VerifyDhGrpNum(int count, const DhGrpParams *list, int oldNumber, int newNumber) {
  constexpr const char *kFunc = "VerifyDhGrpNum";
  if (count < 0 || (list == nullptr && count != 0)) {
    return Broken(kDhNoInput, "%s: Received no struct as input", kFunc);
  }
  if (std::find(std::begin(kPredefined), std::end(kPredefined), oldNumber) != std::end(kPredefined)) {
    return Broken(kDhNumberPredefined, "%s: Can't change group number since it's predefined", kFunc);
  }
  if (GrpNumOutOfLegalRange(newNumber)) return kDhNumberIllegal;
  const DhGrpParams *end = list + count;
  const DhGrpParams *group =
      std::find_if(list, end, [oldNumber](const DhGrpParams &g) { return g.grpNum == oldNumber; });
  for (const DhGrpParams *other = list; other != end; ++other) {
    if (other != group && other->grpNum == newNumber) {
      return Broken(kDhNumberNotUnique, "%s: new group number is not unique", kFunc);
    }
  }
  if (group == end) { return Broken(kDhNumberUnknown, "%s: old group number does not exist in group list", kFunc); }
  return 0;
}

int VerifyDhPrivLen(const DhGrpParams *group, int privLen, int *minLen, int *maxLen) {
  constexpr const char *kFunc = "VerifyDhPrivLen";
  if (group == nullptr) return Broken(kDhNoInput, "%s: Received no struct as input", kFunc);
  if (minLen != nullptr) *minLen = kMinDhPrivLen;
  if (maxLen != nullptr) *maxLen = MaxPrivLen(*group);
  if (privLen < kMinDhPrivLen || privLen > MaxPrivLen(*group)) {
    return Broken(kDhPrivLenOutOfRange, "%s: Private key length is out of range", kFunc);
  }
  return 0;
}

int ValidateDhGrpList(int count, const DhGrpParams *list) {
  constexpr const char *kFunc = "ValidateDhGrpList";
  if (count < 0 || (list == nullptr && count != 0)) {
    return Broken(kDhNoInput, "%s: Received no struct as input", kFunc);
  }
  std::set<std::string> names;
  std::set<int> numbers;
  for (const DhGrpParams *group = list; group != list + count; ++group) {
    if (!names.insert(group->name).second) return Broken(kDhNameNotUnique, "%s: group not unique", kFunc);
    if (!numbers.insert(group->grpNum).second) {
      return Broken(kDhNumberNotUnique, "%s: group number not unique", kFunc);
    }
    if (GrpNumOutOfLegalRange(group->grpNum)) return kDhNumberIllegal;
    if (!DhSizeMatches(group->modSize, group->mod.size())) {
      return Broken(kDhModSizeWrong, "%s: modsize is not correct", kFunc);
    }
    if (!DhSizeMatches(group->genSize, group->gen.size())) {
      return Broken(kDhGenSizeWrong, "%s: gensize is not correct", kFunc);
    }
    if (const int rule = VerifyDhPrivLen(group, group->privLen, nullptr, nullptr)) return rule;
  }
  for (const int number : kPredefined) {
    if (!numbers.contains(number)) return Broken(kDhPredefinedMissing, "%s: missing predefined group", kFunc);
  }
  return 0;
}

int GetDhParams(DhGrpParams **list) {
  std::vector<DhGroup> groups;
  if (list == nullptr) return -1;
  *list = nullptr;
  if (!CopyDhGroups("GetDhParams", &groups)) return -1;
  std::erase_if(groups, [](const DhGroup &group) { return group.number == 0; });
  if (groups.empty()) return 0;
  *list = new DhGrpParams[groups.size()];
  for (size_t i = 0; i < groups.size(); ++i) {
    const DhGroup &group = groups[i];
    (*list)[i] = {group.name,
                  group.number,
                  group.privBits,
                  static_cast<int>(group.mod.size()) * 8,
                  static_cast<int>(group.gen.size()) * 8,
                  group.mod,
                  group.gen};
  }
  return static_cast<int>(groups.size());
}

void DestroyDhGrpParams(DhGrpParams *list) { delete[] list; }
