#include "kxcert/foundation/hashTable.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <unordered_map>

#include "foundation/fnv.h"

namespace {

constexpr int kMaxInitialBuckets = 1 << 16;  // the hint may not reserve more than this

struct Hash {
  kxHashFunc func;
  size_t operator()(const void *key) const { return func(key); }
};

struct Equal {
  kxHashCompare func;
  bool operator()(const void *a, const void *b) const { return func(a, b) == 0; }
};

}  // namespace

struct kxHashTable {
  kxHashTable(int numBuckets, kxHashFunc hash, kxHashCompare compare, kxHashDestructor key, kxHashDestructor data)
      : items(static_cast<size_t>(std::clamp(numBuckets, 0, kMaxInitialBuckets)), Hash{hash}, Equal{compare}),
        destroyKey(key),
        destroyData(data) {}
  ~kxHashTable() {
    for (const auto &[key, data] : items) Destroy(key, data);
  }

  void Destroy(void *key, void *data) const {
    if (destroyKey != nullptr && key != nullptr) destroyKey(key);
    if (destroyData != nullptr && data != nullptr) destroyData(data);
  }

  // A lookup changes no key, but the container takes them as they are stored.
  auto Find(const void *key) { return items.find(const_cast<void *>(key)); }
  auto Find(const void *key) const { return items.find(const_cast<void *>(key)); }

  std::unordered_map<void *, void *, Hash, Equal> items;
  kxHashDestructor destroyKey;
  kxHashDestructor destroyData;
};

kxHashTable *_hash_create_with_destr(int numBuckets, kxHashFunc hash, kxHashCompare compare,
                                     kxHashDestructor destroyKey, kxHashDestructor destroyData) {
  if (hash == nullptr || compare == nullptr) return nullptr;
  return std::make_unique<kxHashTable>(numBuckets, hash, compare, destroyKey, destroyData).release();
}

void hash_destroy(kxHashTable *table) { delete table; }

void *hash_lookup(const kxHashTable *table, const void *key) {
  if (table == nullptr || key == nullptr) return nullptr;
  const auto found = table->Find(key);
  return found == table->items.end() ? nullptr : found->second;
}

int hash_insert(kxHashTable *table, void *key, void *data) {
  if (table == nullptr || key == nullptr) return -1;
  const auto found = table->Find(key);
  if (found == table->items.end()) {
    table->items.emplace(key, data);
    return 0;
  }
  // The new key takes the old one's node. What is stored again must not be destroyed.
  auto node = table->items.extract(found);
  void *const oldKey = node.key() == key ? nullptr : node.key();
  void *const oldData = node.mapped() == data ? nullptr : node.mapped();
  node.key() = key;
  node.mapped() = data;
  table->items.insert(std::move(node));
  table->Destroy(oldKey, oldData);
  return 0;
}

int hash_remove(kxHashTable *table, const void *key) {
  if (table == nullptr || key == nullptr) return -1;
  const auto found = table->Find(key);
  if (found == table->items.end()) return -1;
  const auto node = table->items.extract(found);  // first: key may be the stored one itself
  table->Destroy(node.key(), node.mapped());
  return 0;
}

int hash_count(const kxHashTable *table) { return table == nullptr ? 0 : static_cast<int>(table->items.size()); }

unsigned hash_bytevalue(const void *data, int dataLen) {
  kxFnv1a<uint32_t> hash;
  const auto *bytes = static_cast<const unsigned char *>(data);
  for (int i = 0; data != nullptr && i < dataLen; ++i) hash.Add(bytes[i]);
  return hash.value;
}

int hash_bytecmp(const void *a, const void *b, int len) {
  if (len <= 0) return 0;
  const int order = std::memcmp(a, b, static_cast<size_t>(len));
  return (order > 0) - (order < 0);
}
