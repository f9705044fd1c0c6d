#include "kxcert/keys/dhGroups.h"

#include <memory>
#include <new>
#include <set>

#include "dhGroupTable.h"
#include "keys/lazyMutex.h"
#include "kxcert/foundation/attributeSet.h"
#include "kxcert/platform/log.h"

namespace {

struct GroupName {
  int number;
  const char *name;
};
constexpr GroupName kWellKnown[] = {
    {1, "Group 1 (768 bit)"},    {2, "Group 2 (1024 bit)"},        {5, "Group 5 (1536 bit)"},
    {14, "Group 14 (2048 bit)"}, {15, "Group 15 (3072 bit)"},      {16, "Group 16 (4096 bit)"},
    {17, "Group 17 (6144 bit)"}, {18, "Group 18 (8192 bit)"},      {19, "Group 19 (256 bit)"},
    {20, "Group 20 (384 bit)"},  {51200, "Group 51200 (512 bit)"},
};

LazyMutex g_mutex;

// The array ends with a row without a name; null while nothing is loaded. Not freed at the end of the
// process, when worker threads may still make keys.
DhGroup *g_table GUARDED_BY(g_mutex) = nullptr;

void DropTable() REQUIRES(g_mutex) {
  delete[] g_table;
  g_table = nullptr;
}

template <class Matches>
const DhGroup *FindRow(Matches matches) REQUIRES(g_mutex) {
  for (const DhGroup *row = g_table; row != nullptr && !row->name.empty(); ++row) {
    if (matches(*row)) return row;
  }
  return nullptr;
}

bool IsIkeName(const std::string &name) {
  return name.find("isakmp") != std::string::npos || name.find("Group ") != std::string::npos;
}

// A name that outlives its row: a caller of a lookup holds no lock while another thread loads anew.
const char *KeepName(const std::string &name) REQUIRES(g_mutex) {
  static auto *kept = new std::set<std::string>;
  return kept->insert(name).first->c_str();
}

}  // namespace

int LoadAllDHGroups(const sxset *const *groups) {
  constexpr const char *kFunc = "LoadAllDHGroups";
  if (!g_mutex.Create(kFunc)) return -1;
  const LazyLock lock(g_mutex, kFunc);
  if (!lock.Held()) return -1;

  DropTable();
  if (groups == nullptr) {
    herror_func(0, 0, "%s: no array of groups", kFunc);
    return -1;
  }
  int count = 0;
  while (groups[count] != nullptr) ++count;
  herror_func(0, 0, "%s: creating %d groups", kFunc, count);
  std::unique_ptr<DhGroup[]> table(new (std::nothrow) DhGroup[static_cast<size_t>(count) + 1]);
  if (table == nullptr) {
    herror_func(0, 0, "%s: new failed", kFunc);
    return -1;
  }
  for (int i = 0; i < count; ++i) {
    if (!ReadDhGroup(*groups[i], &table[static_cast<size_t>(i)])) return -1;
  }
  g_table = table.release();
  return 0;
}

void DestroyDHP() {
  if (g_mutex.Get() == nullptr) return;  // nothing was ever loaded
  const LazyLock lock(g_mutex, "DestroyDHP");
  if (lock.Held()) DropTable();
}

const char *FindIKEDHGroupByGrpNum(int groupNumber) {
  for (const GroupName &known : kWellKnown) {
    if (known.number == groupNumber) return known.name;
  }
  if (g_mutex.Get() == nullptr) return nullptr;
  const LazyLock lock(g_mutex, "FindIKEDHGroupByGrpNum");
  if (!lock.Held()) return nullptr;
  const DhGroup *row = FindRow(
      [groupNumber](const DhGroup &candidate) { return candidate.number == groupNumber && IsIkeName(candidate.name); });
  return row == nullptr ? nullptr : KeepName(row->name);
}

int FindIKEDHGroupByModSize(int modLen) {
  if (g_mutex.Get() == nullptr || modLen < 1) return -1;
  const LazyLock lock(g_mutex, "FindIKEDHGroupByModSize");
  if (!lock.Held()) return -1;
  const DhGroup *row = FindRow([modLen](const DhGroup &candidate) {
    return candidate.mod.size() == static_cast<size_t>(modLen) && IsIkeName(candidate.name);
  });
  return row == nullptr ? -1 : row->number;
}

bool CopyDhGroup(const char *func, const char *name, DhGroup *group) {
  if (g_mutex.Get() != nullptr) {
    const LazyLock lock(g_mutex, func);
    if (!lock.Held()) return false;
    if (g_table != nullptr) {
      const DhGroup *row = FindRow([name](const DhGroup &candidate) { return candidate.name == name; });
      if (row == nullptr) {
        herror_func(0, 0, "%s: there is no group %s", func, name);
        return false;
      }
      *group = *row;
      return true;
    }
  }
  herror_func(0, 0, "%s: Can't create mutex or DHP, DHP was not initialized, can't create new DHParams.", func);
  return false;
}

bool CopyDhGroups(const char *func, std::vector<DhGroup> *groups) {
  if (g_mutex.Get() == nullptr) return false;
  const LazyLock lock(g_mutex, func);
  if (!lock.Held() || g_table == nullptr) return false;
  for (const DhGroup *row = g_table; !row->name.empty(); ++row) groups->push_back(*row);
  return true;
}
