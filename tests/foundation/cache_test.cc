#include "kxcert/foundation/cache.h"

#include <gtest/gtest.h>

#include <atomic>

#include "support/caseFile.h"
#include "support/countedText.h"
#include "support/fixedClock.h"
#include "support/onThreads.h"

namespace {

using Text = CountedText;

struct TextCache : Cache {
  explicit TextCache(int maxEntries, unsigned maxSec = 0, void (*destroyData)(void *) = Text::Destroy)
      : Cache(maxEntries, maxSec, Text::Hash, Text::Compare, Text::Destroy, destroyData) {
    Text::s_numDestroyed = 0;
  }
};

class CacheTest : public testing::Test {
 protected:
  static void Put(Cache &cache, const char *key, unsigned entrySec = 0) {
    cache.Put(Text::New(key), Text::New(key), entrySec);
  }
  static std::string Get(Cache &cache, const char *key) {
    const Text wanted(key);
    return Text::Text(cache.Get(&wanted));
  }

  FixedClock m_clock{1000};
};

TEST_F(CacheTest, TheEntryUsedLongestAgoGoesFirst) {
  TextCache cache(2);
  Put(cache, "a");
  Put(cache, "b");
  EXPECT_EQ("a", Get(cache, "a"));
  Put(cache, "c");
  EXPECT_EQ(2, Text::s_numDestroyed);
  EXPECT_EQ(2, cache.Count());
  EXPECT_EQ("(none)", Get(cache, "b"));
  EXPECT_EQ("a", Get(cache, "a"));
  EXPECT_EQ("c", Get(cache, "c"));
}

TEST_F(CacheTest, EqualKeysReplaceAndDeleteRemoves) {
  TextCache cache(2);
  void *key = Text::New("a");
  void *data = Text::New("A");
  Put(cache, "a");
  cache.Put(key, data, 0);
  EXPECT_EQ(2, Text::s_numDestroyed);
  cache.Put(key, data, 0);   // put again: not destroyed
  EXPECT_EQ(2, Text::s_numDestroyed);
  EXPECT_EQ("A", Get(cache, "a"));
  EXPECT_EQ(0, cache.Delete(key));
  EXPECT_EQ(4, Text::s_numDestroyed);
  const Text gone("a");
  EXPECT_EQ(-1, cache.Delete(&gone));

  TextCache holdsNothing(0);   // and still takes over
  Put(holdsNothing, "a");
  holdsNothing.Put(nullptr, Text::New("no key"), 0);
  EXPECT_EQ(3, Text::s_numDestroyed);
  EXPECT_EQ(0, holdsNothing.Count());
}

TEST_F(CacheTest, EntriesLiveAsLongAsTheShorterLimit) {
  for (const CaseRow &row : CaseRows("foundation/cacheLives.txt", 5)) {
    SCOPED_TRACE(testing::PrintToString(row));
    m_clock.Set(1000);
    const bool lives = row[4] == "yes";
    TextCache cache(2, static_cast<unsigned>(std::stoi(row[1])));
    Put(cache, "a", static_cast<unsigned>(std::stoi(row[2])));
    m_clock.Advance(std::stoll(row[3]));
    EXPECT_EQ(1, cache.Count());
    EXPECT_EQ(lives ? "a" : "(none)", Get(cache, "a"));
    EXPECT_EQ(lives ? 1 : 0, cache.Count());
    EXPECT_EQ(lives ? 0 : 2, Text::s_numDestroyed);
  }
}

Cache *g_usedByDestructor = nullptr;

TEST_F(CacheTest, DestructorsMayUseTheCache) {
  const auto destroyAndUse = [](void *data) {
    Text::Destroy(data);
    EXPECT_LE(0, g_usedByDestructor->Count());   // a lock held here would never be given
  };
  TextCache cache(1, 0, destroyAndUse);
  g_usedByDestructor = &cache;
  Put(cache, "a");
  Put(cache, "b");
  EXPECT_EQ(2, Text::s_numDestroyed);
  cache.Clear();
  EXPECT_EQ(4, Text::s_numDestroyed);
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

TEST_F(CacheTest, AReferenceTakenOnAHitOutlivesTheEntry) {
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
