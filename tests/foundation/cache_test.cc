#include "kxcert/foundation/cache.h"

#include <atomic>

#include "support/countedText.h"
#include "support/fixedClock.h"
#include "support/onThreads.h"

namespace {

using Text = CountedText;
using CachePtr = std::unique_ptr<Cache>;

CachePtr NewCache(int maxEntries, unsigned maxSec, void (*destroyData)(void *) = Text::Destroy) {
  Text::s_numDestroyed = 0;
  return std::make_unique<Cache>(maxEntries, maxSec, Text::Hash, Text::Compare, Text::Destroy, destroyData);
}

Cache *g_usedByDestructor = nullptr;

void DestroyAndUse(void *data) {
  Text::Destroy(data);
  EXPECT_LE(0, g_usedByDestructor->Count());   // a lock held here would never be given
}

TEST(Cache, DoesWhatTheStepsSay) {
  FixedClock clock(1000);
  const auto get = [](Cache &c, const char *key) { return Text::Text(c.Get(std::make_unique<Text>(key).get())); };
  Text::Steps()
      .On("Cache", [](int maxEntries) { return NewCache(maxEntries, 0); })
      .On("CacheThatIsUsed", [](int maxEntries) {
        CachePtr cache = NewCache(maxEntries, 0, DestroyAndUse);
        g_usedByDestructor = cache.get();
        return cache;
      })
      .On("put", [](Cache &c, const char *text) { c.Put(Text::New(text), Text::New(text), 0); })
      .On("putBoth", [](Cache &c, Text *key, Text *data) { c.Put(key, data, 0); })
      .On("get", get)
      .On("delete", [](Cache &c, Text *key) { return c.Delete(key); })
      .On("clear", &Cache::Clear)
      .On("count", &Cache::Count)
      .On("lives", [&](unsigned cacheSec, unsigned entrySec, int64_t later) {
        clock.Set(1000);
        const CachePtr cache = NewCache(2, cacheSec);
        cache->Put(Text::New("a"), Text::New("a"), entrySec);
        clock.Advance(later);
        EXPECT_EQ(1, cache->Count());
        const std::string found = get(*cache, "a");
        const int numDestroyed = std::exchange(Text::s_numDestroyed, 0);
        return found + " " + std::to_string(cache->Count()) + " " + std::to_string(numDestroyed);
      })
      .Run("foundation/cache.steps");
}

// A shared datum as callers make it: the cache holds one reference, each hit takes another.
struct Shared {
  std::atomic<int> refs{1};
  static void Save(void *data) { ++static_cast<Shared *>(data)->refs; }
  static void Release(void *data) {
    auto *self = static_cast<Shared *>(data);
    if (--self->refs == 0) delete self;
  }
};

TEST(Cache, AReferenceTakenOnAHitOutlivesTheEntry) {
  static unsigned numbers[] = {0, 1, 2, 3};
  const auto hash = [](const void *key) { return *static_cast<const unsigned *>(key); };
  const auto compare = [](const void *a, const void *b) { return hash_bytecmp(a, b, sizeof(unsigned)); };
  Cache cache(2, 0, hash, compare, nullptr, Shared::Release);
  std::atomic<int> numHits{0};
  OnThreads(2, [&](int) {
    for (unsigned i = 0; i < 4000; ++i) {
      cache.Put(&numbers[i % 4], new Shared, 0);
      if (void *hit = cache.Get(&numbers[i * 7 / 3 % 4], Shared::Save)) {
        ++numHits;
        EXPECT_LE(1, static_cast<Shared *>(hit)->refs);
        Shared::Release(hit);
      }
    }
  });
  EXPECT_LT(0, numHits);
}

}  // namespace
