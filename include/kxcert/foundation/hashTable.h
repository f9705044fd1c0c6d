/// @file
/// Hash tables of untyped keys and data, with the caller's hash, comparison and destructors.
///
/// A table does no locking. Keys and data belong to the table once inserted; its destructors free
/// them when they are replaced, removed or when the table goes. They are never called with null, nor
/// for a key or data that is stored again.
#ifndef KXCERT_FOUNDATION_HASHTABLE_H_
#define KXCERT_FOUNDATION_HASHTABLE_H_

#include "kxcert/platform/export.h"

struct kxHashTable;
using kxHashFunc = unsigned (*)(const void *key);
using kxHashCompare = int (*)(const void *a, const void *b);  ///< 0 when equal
using kxHashDestructor = void (*)(void *item);                ///< may be null: nothing is freed

/// @param numBuckets  a hint; the table grows
KXCERT_EXPORT kxHashTable *_hash_create_with_destr(int numBuckets, kxHashFunc hash, kxHashCompare compare,
                                                   kxHashDestructor destroyKey, kxHashDestructor destroyData);
KXCERT_EXPORT void hash_destroy(kxHashTable *table);

/// The data stored under an equal key, lent; null when there is none.
KXCERT_EXPORT void *hash_lookup(const kxHashTable *table, const void *key);

/// Stores key and data, replacing (and destroying) an equal key with its data.
/// @retval 0   stored, the table owns both
/// @retval -1  null table or key; nothing taken
KXCERT_EXPORT int hash_insert(kxHashTable *table, void *key, void *data);
KXCERT_EXPORT int hash_remove(kxHashTable *table, const void *key);  ///< 0, or -1 when not found
KXCERT_EXPORT int hash_count(const kxHashTable *table);

/// FNV-1a over the bytes; the same on every target.
KXCERT_EXPORT unsigned hash_bytevalue(const void *data, int dataLen);
/// As memcmp over @p len bytes, with -1, 0 or 1.
KXCERT_EXPORT int hash_bytecmp(const void *a, const void *b, int len);

#endif
