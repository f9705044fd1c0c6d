#include "platform/pageLocks.h"
#include "platform/guarded.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <map>

namespace {

// How many sensitive blocks lie on each locked page. mlock itself does not count, so unlocking one
// block would release its neighbours on the same page.
struct PageLocks {
  sxMutex mutex;
  std::map<uintptr_t, unsigned> usersByPage GUARDED_BY(mutex);
};

PageLocks &Locks() {
  static PageLocks *locks = new PageLocks;  // lives on: blocks are unlocked by static destructors too
  return *locks;
}

uintptr_t PageSize() {
  static const uintptr_t size = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
  return size;
}

// Numbers of the pages that hold some of the octets: [first, end).
struct PageRange {
  uintptr_t first = 0;
  uintptr_t end = 0;
};

PageRange PagesOf(const void *data, size_t len) {
  if (data == nullptr || len == 0) return {};
  const uintptr_t start = reinterpret_cast<uintptr_t>(data);
  return {start / PageSize(), (start + len - 1) / PageSize() + 1};
}

void *PageAddress(uintptr_t page) { return reinterpret_cast<void *>(page * PageSize()); }

}  // namespace

void kxMem_Lock(const void *data, size_t len) {
  PageLocks &locks = Locks();
  const sxLock guard(locks.mutex);
  const PageRange pages = PagesOf(data, len);
  for (uintptr_t page = pages.first; page != pages.end; ++page) {
    // A refusal (RLIMIT_MEMLOCK) leaves the page counted but swappable; the wipe still happens.
    if (locks.usersByPage[page]++ == 0) (void)mlock(PageAddress(page), PageSize());
  }
}

void kxMem_Unlock(const void *data, size_t len) {
  PageLocks &locks = Locks();
  const sxLock guard(locks.mutex);
  const PageRange pages = PagesOf(data, len);
  for (uintptr_t page = pages.first; page != pages.end; ++page) {
    const auto found = locks.usersByPage.find(page);
    if (found == locks.usersByPage.end() || --found->second != 0) continue;
    locks.usersByPage.erase(found);
    (void)munlock(PageAddress(page), PageSize());
  }
}

size_t kxMem_NumLockedPages() {
  PageLocks &locks = Locks();
  const sxLock guard(locks.mutex);
  return locks.usersByPage.size();
}
