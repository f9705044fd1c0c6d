#include "kxcert/platform/secureMemory.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <map>
#include <mutex>

#include <openssl/crypto.h>

namespace {

// How many sensitive blocks lie on each locked page. mlock itself does not count, so unlocking one
// block would release its neighbours on the same page.
struct PageLocks {
  std::mutex mutex;
  std::map<uintptr_t, unsigned> usersByPage;
};

PageLocks &Locks() {
  static PageLocks *locks = new PageLocks;  // lives on: blocks are unlocked by static destructors too
  return *locks;
}

uintptr_t PageSize() {
  static const uintptr_t size = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
  return size;
}

template <class OnPage>
void ForEachPage(const void *data, size_t len, OnPage onPage) {
  if (data == nullptr || len == 0) return;
  const uintptr_t first = reinterpret_cast<uintptr_t>(data) / PageSize();
  const uintptr_t last = (reinterpret_cast<uintptr_t>(data) + len - 1) / PageSize();
  for (uintptr_t page = first; page <= last; ++page) onPage(page);
}

void *PageAddress(uintptr_t page) { return reinterpret_cast<void *>(page * PageSize()); }

}  // namespace

void KX_memset(void *data, size_t len) {
  if (data != nullptr && len != 0) OPENSSL_cleanse(data, len);
}

void kxMem_Lock(const void *data, size_t len) {
  PageLocks &locks = Locks();
  const std::lock_guard<std::mutex> guard(locks.mutex);
  ForEachPage(data, len, [&locks](uintptr_t page) {
    // A refusal (RLIMIT_MEMLOCK) leaves the page counted but swappable; the wipe still happens.
    if (locks.usersByPage[page]++ == 0) (void)mlock(PageAddress(page), PageSize());
  });
}

void kxMem_Unlock(const void *data, size_t len) {
  PageLocks &locks = Locks();
  const std::lock_guard<std::mutex> guard(locks.mutex);
  ForEachPage(data, len, [&locks](uintptr_t page) {
    const auto found = locks.usersByPage.find(page);
    if (found == locks.usersByPage.end()) return;
    if (--found->second != 0) return;
    locks.usersByPage.erase(found);
    (void)munlock(PageAddress(page), PageSize());
  });
}

size_t kxMem_NumLockedPages() {
  PageLocks &locks = Locks();
  const std::lock_guard<std::mutex> guard(locks.mutex);
  return locks.usersByPage.size();
}
