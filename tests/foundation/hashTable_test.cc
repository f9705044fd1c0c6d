#include "kxcert/foundation/hashTable.h"

#include <gtest/gtest.h>

#include "support/countedText.h"

namespace {

using Text = CountedText;

kxHashTable *NewTable(kxHashFunc hash = Text::Hash) {
  Text::s_numDestroyed = 0;
  return _hash_create_with_destr(4, hash, Text::Compare, Text::Destroy, Text::Destroy);
}

const char *Lookup(const kxHashTable *table, const char *key) {
  const Text wanted(key);
  return Text::Text(hash_lookup(table, &wanted));
}

TEST(HashTable, FindsAmongManyWhateverTheHash) {
  for (const kxHashFunc hash : {kxHashFunc{Text::Hash}, kxHashFunc{[](const void *) { return 7U; }}}) {
    kxHashTable *table = NewTable(hash);
    for (int i = 0; i < 300; ++i) {
      const std::string data = "v" + std::to_string(i);
      ASSERT_EQ(0, hash_insert(table, Text::New(data.c_str() + 1), Text::New(data.c_str())));
    }
    EXPECT_EQ(300, hash_count(table));
    EXPECT_STREQ("v0", Lookup(table, "0"));
    EXPECT_STREQ("v299", Lookup(table, "299"));
    EXPECT_STREQ("(none)", Lookup(table, "300"));
    hash_destroy(table);
    EXPECT_EQ(600, Text::s_numDestroyed);
  }
}

TEST(HashTable, ReplacingAndRemovingDestroyOnce) {
  kxHashTable *table = NewTable();
  hash_insert(table, Text::New("k"), Text::New("old"));
  void *key = Text::New("k");
  void *data = Text::New("new");
  ASSERT_EQ(0, hash_insert(table, key, data));
  EXPECT_EQ(2, Text::s_numDestroyed);
  ASSERT_EQ(0, hash_insert(table, key, data));   // stored again: nothing is destroyed
  EXPECT_EQ(2, Text::s_numDestroyed);
  EXPECT_STREQ("new", Lookup(table, "k"));
  EXPECT_EQ(0, hash_remove(table, key));         // by the stored key itself
  EXPECT_EQ(4, Text::s_numDestroyed);
  EXPECT_EQ(-1, hash_remove(table, nullptr));
  EXPECT_EQ(0, hash_count(table));
  Text local("k");
  EXPECT_EQ(-1, hash_insert(table, nullptr, &local));   // refused and not taken
  EXPECT_EQ(-1, hash_insert(nullptr, &local, &local));
  EXPECT_EQ(nullptr, hash_lookup(nullptr, &local));
  EXPECT_EQ(-1, hash_remove(table, &local));
  hash_destroy(table);
  EXPECT_EQ(4, Text::s_numDestroyed);
  EXPECT_EQ(nullptr, _hash_create_with_destr(4, nullptr, Text::Compare, nullptr, nullptr));
}

// From the test suite that the authors of FNV publish with their reference code.
TEST(HashTable, ByteValueIsFnv1aAndByteCompareGivesOneSign) {
  EXPECT_EQ(0x811c9dc5U, hash_bytevalue("", 0));
  EXPECT_EQ(0xe40c292cU, hash_bytevalue("a", 1));
  EXPECT_EQ(0xbf9cf968U, hash_bytevalue("foobar", 6));
  EXPECT_EQ(0, hash_bytecmp("ab", "ac", 1));
  EXPECT_EQ(-1, hash_bytecmp("a\x01", "a\xff", 2));   // unsigned octets
  EXPECT_EQ(1, hash_bytecmp("z", "a", 1));
  EXPECT_EQ(0, hash_bytecmp(nullptr, nullptr, 0));
}

}  // namespace
