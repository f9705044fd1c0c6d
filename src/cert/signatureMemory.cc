#include "signatureMemory.h"
#include "platform/guarded.h"

#include <atomic>
#include <cstring>
#include <memory>
#include <vector>

namespace {

constexpr uint32_t kDefaultEntries = 8192;
constexpr uint32_t kMaxEntries = 1U << 20;
constexpr uint32_t kNumShards = 16;
constexpr uint32_t kWays = 4;  // places in which a key may lie

// A shard is a set-associative table: no entry has a block of its own, and what does not fit pushes
// out the oldest of its four places.
struct Shard {
  sxMutex mutex;
  std::vector<sxSignatureKey> slots GUARDED_BY(mutex);  // kWays for each set
  std::vector<uint8_t> nextWay GUARDED_BY(mutex);       // of each set: the place that goes next
  uint32_t entries GUARDED_BY(mutex) = 0;
};

struct Memory {
  Shard shards[kNumShards];
  std::atomic<uint32_t> maxEntries{0};
  std::atomic<uint64_t> hits{0};
  std::atomic<uint64_t> misses{0};

  Memory() { SetSize(kDefaultEntries); }

  void SetSize(uint32_t wanted) {
    uint32_t rounded = 0;
    if (wanted > 0) {
      if (wanted > kMaxEntries) wanted = kMaxEntries;
      rounded = kNumShards * kWays;
      while (rounded < wanted) rounded *= 2;
    }
    for (Shard &shard : shards) {
      const sxLock lock(shard.mutex);
      shard.slots.assign(rounded / kNumShards, sxSignatureKey{});
      shard.nextWay.assign(rounded / kNumShards / kWays, 0);
      shard.entries = 0;
    }
    maxEntries.store(rounded, std::memory_order_relaxed);
  }
};

Memory &TheMemory() {
  static Memory *memory = new Memory;  // lives on: objects are verified by static destructors of users, too
  return *memory;
}

uint32_t Word(const sxSignatureKey &key, size_t at) {
  uint32_t word = 0;
  std::memcpy(&word, key.data() + at, sizeof word);
  return word;
}

Shard &ShardOf(const sxSignatureKey &key) { return TheMemory().shards[Word(key, 0) % kNumShards]; }

// First place of the key's set; only when the shard is not empty.
size_t SetOf(const Shard &shard, const sxSignatureKey &key) REQUIRES(shard.mutex) {
  return Word(key, 4) % shard.nextWay.size();
}

bool Holds(const Shard &shard, const sxSignatureKey &key) REQUIRES(shard.mutex) {
  if (shard.nextWay.empty()) return false;
  const size_t first = SetOf(shard, key) * kWays;
  for (size_t i = first; i < first + kWays; ++i) {
    if (shard.slots[i] == key) return true;
  }
  return false;
}

}  // namespace

bool sxSignatureMemory_IsOn() { return TheMemory().maxEntries.load(std::memory_order_relaxed) != 0; }

bool sxSignatureMemory_Knows(const sxSignatureKey &key) {
  Shard &shard = ShardOf(key);
  bool known = false;
  {
    const sxLock lock(shard.mutex);
    known = Holds(shard, key);
  }
  (known ? TheMemory().hits : TheMemory().misses).fetch_add(1, std::memory_order_relaxed);
  return known;
}

void sxSignatureMemory_Keep(const sxSignatureKey &key) {
  Shard &shard = ShardOf(key);
  const sxLock lock(shard.mutex);
  if (shard.nextWay.empty() || Holds(shard, key)) return;
  const size_t set = SetOf(shard, key);
  sxSignatureKey &slot = shard.slots[set * kWays + shard.nextWay[set]];
  if (slot == sxSignatureKey{}) ++shard.entries;
  slot = key;
  shard.nextWay[set] = static_cast<uint8_t>((shard.nextWay[set] + 1) % kWays);
}

void sxSignatureCache_SetSize(uint32_t maxEntries) { TheMemory().SetSize(maxEntries); }

void sxSignatureCache_Clear() { TheMemory().SetSize(TheMemory().maxEntries.load(std::memory_order_relaxed)); }

sxSignatureCacheStats sxSignatureCache_Stats() {
  Memory &memory = TheMemory();
  sxSignatureCacheStats stats = {memory.hits.load(std::memory_order_relaxed),
                                 memory.misses.load(std::memory_order_relaxed), 0,
                                 memory.maxEntries.load(std::memory_order_relaxed)};
  for (Shard &shard : memory.shards) {
    const sxLock lock(shard.mutex);
    stats.entries += shard.entries;
  }
  return stats;
}
