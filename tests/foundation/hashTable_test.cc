#include "kxcert/foundation/hashTable.h"

#include "support/countedText.h"

namespace {

using Text = CountedText;
using Table = std::unique_ptr<kxHashTable, decltype(&hash_destroy)>;

Table NewTable(kxHashFunc hash) {
  Text::s_numDestroyed = 0;
  return {_hash_create_with_destr(4, hash, Text::Compare, Text::Destroy, Text::Destroy), hash_destroy};
}

void Fill(kxHashTable *table, int count) {
  for (int i = 0; i < count; ++i) {
    const std::string data = "v" + std::to_string(i);
    ASSERT_EQ(0, hash_insert(table, Text::New(data.c_str() + 1), Text::New(data.c_str())));
  }
}

TEST(HashTable, DoesWhatTheStepsSay) {
  Text::Steps()
      .On("Table", [] { return NewTable(Text::Hash); })
      .On("TableOfOneHash", [] { return NewTable([](const void *) { return 7U; }); })
      .On("TableOfNoHash", [] { return NewTable(nullptr); })
      .On("fill", Fill)
      .On("insert", [](kxHashTable *t, Text *key, Text *data) { return hash_insert(t, key, data); })
      .On("remove", [](kxHashTable *t, Text *key) { return hash_remove(t, key); })
      .On("lookup", [](kxHashTable *t, Text *key) { return static_cast<Text *>(hash_lookup(t, key)); })
      .On("find", [](kxHashTable *t, const char *key) {
        const Text wanted(key);
        return Text::Text(hash_lookup(t, &wanted));
      })
      .On("count", hash_count)
      .On("fnv", [](const std::string &s) { return hash_bytevalue(s.data(), static_cast<int>(s.size())); })
      .On("compare", [](const char *a, const char *b, int len) { return hash_bytecmp(a, b, len); })
      .Run("foundation/hashTable.steps");
}

}  // namespace
