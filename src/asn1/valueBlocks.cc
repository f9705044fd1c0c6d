#include "valueBlocks.h"
#include "platform/guarded.h"

#include <cstdint>
#include <cstdlib>
#include <new>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define KXCERT_CUTS_PAGES false  // the sanitizers must see every block come and go
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define KXCERT_CUTS_PAGES false
#endif
#endif
#ifndef KXCERT_CUTS_PAGES
#define KXCERT_CUTS_PAGES true
#endif

namespace {

constexpr bool kCutsPages = KXCERT_CUTS_PAGES;
constexpr size_t kGrain = 8;
constexpr size_t kAlign = 16;                             // malloc's; the size of what needs it is a multiple
constexpr size_t kNumClasses = 25;                        // up to 200 bytes; longer blocks are malloc's
constexpr size_t kPageSize = 4096;                        // and alignment: a block's address tells its page
constexpr size_t kUsed = kPageSize - 2 * sizeof(size_t);  // malloc's own header fits in between pages
constexpr unsigned kBatch = 64;                           // blocks that go between a thread and the pages at once
constexpr unsigned kMaxKept = 4 * kBatch;                 // of one size on a thread's list

size_t ClassOf(size_t size) { return (size - 1) / kGrain; }
size_t BlockSize(size_t sizeClass) { return (sizeClass + 1) * kGrain; }

struct FreeBlock {
  FreeBlock *next;
};

// At the start of the page, with its blocks behind.
struct alignas(kAlign) Page {
  Page *next;
  Page *prev;
  FreeBlock *free;
  unsigned numFree;   // those on the list and those never cut
  unsigned numUncut;  // the last ones of the page
};

unsigned BlocksPerPage(size_t sizeClass) {
  return static_cast<unsigned>((kUsed - sizeof(Page)) / BlockSize(sizeClass));
}

// The pages of one size that have free blocks, in no order. Plain data, never destroyed: values may
// outlive every static object.
class Pages {
 public:
  constexpr Pages() = default;

  // Puts as many as @p count blocks in front of @p list; fewer when memory ends.
  unsigned Take(size_t sizeClass, unsigned count, FreeBlock *&list) {
    const sxLock lock(m_mutex);
    unsigned numTaken = 0;
    FreeBlock **end = &list;
    FreeBlock *const others = list;
    while (numTaken < count && (m_first != nullptr || AddPage(sizeClass))) {
      Page *const page = m_first;
      FreeBlock *const block = Cut(*page, sizeClass);
      if (page->numFree == 0) Unlink(page);
      *end = block;
      end = &block->next;
      ++numTaken;
    }
    *end = others;
    return numTaken;
  }

  // Takes @p count blocks off the list.
  void Give(size_t sizeClass, unsigned count, FreeBlock *&list) {
    const sxLock lock(m_mutex);
    for (; count > 0 && list != nullptr; --count) {
      FreeBlock *const block = list;
      list = block->next;
      auto *const page = reinterpret_cast<Page *>(reinterpret_cast<uintptr_t>(block) & ~(uintptr_t{kPageSize} - 1));
      block->next = page->free;
      page->free = block;
      if (page->numFree++ == 0) Link(page);
      // One page stays although it is empty, so that a value that comes and goes does not make one each time.
      if (page->numFree == BlocksPerPage(sizeClass) && (page->next != nullptr || page->prev != nullptr)) {
        Unlink(page);
        std::free(page);
      }
    }
  }

 private:
  bool AddPage(size_t sizeClass) REQUIRES(m_mutex) {
    void *memory = nullptr;
    // aligned_alloc wants a size of whole pages, and a program with a sanitizer of its own insists on it.
    if (posix_memalign(&memory, kPageSize, kUsed) != 0) return false;
    const unsigned numBlocks = BlocksPerPage(sizeClass);
    Link(new (memory) Page{nullptr, nullptr, nullptr, numBlocks, numBlocks});
    return true;
  }

  static FreeBlock *Cut(Page &page, size_t sizeClass) {
    --page.numFree;
    if (FreeBlock *const block = page.free; block != nullptr) {
      page.free = block->next;
      return block;
    }
    unsigned char *const first = reinterpret_cast<unsigned char *>(&page + 1);
    return new (first + (BlocksPerPage(sizeClass) - page.numUncut--) * BlockSize(sizeClass)) FreeBlock;
  }

  void Link(Page *page) REQUIRES(m_mutex) {
    page->prev = nullptr;
    page->next = m_first;
    if (m_first != nullptr) m_first->prev = page;
    m_first = page;
  }
  void Unlink(Page *page) REQUIRES(m_mutex) {
    (page->prev != nullptr ? page->prev->next : m_first) = page->next;
    if (page->next != nullptr) page->next->prev = page->prev;
  }

  sxMutex m_mutex;
  Page *m_first GUARDED_BY(m_mutex) = nullptr;
};

constinit Pages g_pages[kNumClasses];

// Plain data as well, so that a value which outlives the thread's own destructors still finds the
// lists, marked closed.
struct BlockLists {
  FreeBlock *first[kNumClasses];
  unsigned kept[kNumClasses];
  bool open;
  bool closed;
};

// The default model of thread storage: a process has little room for faster ones in libraries that it
// opens at run time.
thread_local BlockLists t_blocks;

struct CloseLists {
  ~CloseLists() {
    t_blocks.open = false;
    t_blocks.closed = true;
    for (size_t i = 0; i < kNumClasses; ++i) g_pages[i].Give(i, t_blocks.kept[i], t_blocks.first[i]);
  }
};

// The first block of a thread opens its lists and arranges for their end.
bool OpenLists() {
  if (t_blocks.closed) return false;
  thread_local const CloseLists atThreadEnd;
  static_cast<void>(&atThreadEnd);
  return t_blocks.open = true;
}

void *TakeFromPages(size_t sizeClass) {
  FreeBlock *list = nullptr;
  const bool keeps = t_blocks.open || OpenLists();
  const unsigned numTaken = g_pages[sizeClass].Take(sizeClass, keeps ? kBatch : 1, list);
  if (numTaken == 0) throw std::bad_alloc();
  t_blocks.first[sizeClass] = list->next;
  t_blocks.kept[sizeClass] = numTaken - 1;
  return list;
}

}  // namespace

void *sxAsnTakeBlock(size_t size) {
  const size_t sizeClass = ClassOf(size);  // NOLINT(clang-analyzer-deadcode.DeadStores): read where pages are cut
  if (!kCutsPages || sizeClass >= kNumClasses) {
    void *const block = std::malloc(size);
    if (block == nullptr) throw std::bad_alloc();
    return block;
  }
  FreeBlock *const block = t_blocks.first[sizeClass];
  if (block == nullptr) return TakeFromPages(sizeClass);
  t_blocks.first[sizeClass] = block->next;
  --t_blocks.kept[sizeClass];
  return block;
}

void sxAsnGiveBlock(void *block, size_t size) noexcept {
  if (block == nullptr) return;
  const size_t sizeClass = ClassOf(size);  // NOLINT(clang-analyzer-deadcode.DeadStores): read where pages are cut
  if (!kCutsPages || sizeClass >= kNumClasses) return std::free(block);
  FreeBlock *&first = t_blocks.first[sizeClass];
  first = new (block) FreeBlock{first};
  const bool keeps = t_blocks.open || OpenLists();
  if (++t_blocks.kept[sizeClass] > kMaxKept || !keeps) {
    const unsigned numGiven = keeps ? 2 * kBatch : 1;
    g_pages[sizeClass].Give(sizeClass, numGiven, first);
    t_blocks.kept[sizeClass] -= numGiven;
  }
}
