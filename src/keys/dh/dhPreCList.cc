// The process's list of precomputed Diffie-Hellman groups.
#include <list>
#include <string>
#include <vector>

#include "keys/lazyMutex.h"
#include "kxcert/keys/dhPreCompute.h"
#include "kxcert/keys/sxDhParams.h"
#include "kxcert/platform/log.h"

namespace {

struct DHPreCElm {
  std::shared_ptr<const kxDHPreCompute> preCompute;
  std::string groupName;
};

LazyMutex g_mutex;

// Not freed at the end of the process, when worker threads may still make keys.
std::list<DHPreCElm> &List() REQUIRES(g_mutex) {
  static auto *list = new std::list<DHPreCElm>;
  return *list;
}

DHPreCElm *Find(const std::string &groupName) REQUIRES(g_mutex) {
  for (DHPreCElm &element : List()) {
    if (element.groupName == groupName) return &element;
  }
  return nullptr;
}

// Outside the lock: it takes milliseconds. Null with one line logged.
std::shared_ptr<const kxDHPreCompute> Make(const char *func, const char *groupName) {
  const sxDhParams params(groupName);
  if (!params.OK()) {
    herror_func(0, 0, "%s: Cannot pre compute or this group. Unknown group: %s", func, groupName);
    return nullptr;
  }
  auto made = std::make_shared<const kxDHPreCompute>(params);
  if (made->OK()) return made;
  herror_func(0, 0, "%s: Cannot create new kxDHPreCompute", func);
  return nullptr;
}

}  // namespace

int DHPreCList::CreateMutex() { return g_mutex.Create("DHPreCList::CreateMutex") ? 0 : -1; }

void DHPreCList::Destroy() {
  if (g_mutex.Get() == nullptr) return;  // nothing was ever listed
  const LazyLock lock(g_mutex, "DHPreCList::Destroy");
  if (lock.Held()) List().clear();
}

std::shared_ptr<const kxDHPreCompute> DHPreCList::DhPreC_Bygroup(const char *groupName) {
  if (g_mutex.Get() == nullptr || groupName == nullptr) return nullptr;
  const LazyLock lock(g_mutex, "DHPreCList::DhPreC_Bygroup");
  if (!lock.Held()) return nullptr;
  const DHPreCElm *found = Find(groupName);
  return found == nullptr ? nullptr : found->preCompute;
}

int DHPreCompute_AddGroup(const char *groupName) {
  constexpr const char *kFunc = "DHPreCompute_AddGroup";
  if (groupName == nullptr || *groupName == '\0') {
    herror_func(0, 0, "%s: Got no group", kFunc);
    return -1;
  }
  if (DHPreCList::CreateMutex() != 0) return -1;
  auto made = Make(kFunc, groupName);
  if (made == nullptr) return -1;
  const LazyLock lock(g_mutex, kFunc);
  if (!lock.Held()) return -1;
  if (DHPreCElm *found = Find(groupName)) {
    found->preCompute = std::move(made);
  } else {
    List().push_back({std::move(made), groupName});
  }
  return 0;
}

int DHPreCompute_Reconf() {
  constexpr const char *kFunc = "DHPreCompute_Reconf";
  if (g_mutex.Get() == nullptr) return 0;  // nothing was ever listed
  std::vector<std::string> names;
  {
    const LazyLock lock(g_mutex, kFunc);
    if (!lock.Held()) return -1;
    for (const DHPreCElm &element : List()) names.push_back(element.groupName);
  }
  int rc = 0;
  for (const std::string &name : names) {
    auto made = Make(kFunc, name.c_str());
    if (made == nullptr) rc = -1;
    const LazyLock lock(g_mutex, kFunc);
    if (!lock.Held()) return -1;
    DHPreCElm *found = Find(name);
    if (found == nullptr) continue;  // destroyed meanwhile
    found->preCompute = std::move(made);
  }
  const LazyLock lock(g_mutex, kFunc);
  if (!lock.Held()) return -1;
  List().remove_if([](const DHPreCElm &element) { return element.preCompute == nullptr; });
  return rc;
}

const kxDHPreCompute *DHPreC_ByGroup(const char *groupName) { return DHPreCList::DhPreC_Bygroup(groupName).get(); }
