/// @file
/// Locking memory that holds secrets.
///
/// Locks are counted per page: a page stays locked until the last sensitive block on it is unlocked.
/// A refused lock (RLIMIT_MEMLOCK) is not an error; the block is then only wiped. Any thread.
#ifndef KXCERT_SRC_PLATFORM_PAGELOCKS_H_
#define KXCERT_SRC_PLATFORM_PAGELOCKS_H_

#include <cstddef>

/// Keeps the pages of a block out of swap. Pair each call with one kxMem_Unlock of the same range.
void kxMem_Lock(const void *data, size_t len);
void kxMem_Unlock(const void *data, size_t len);

/// Pages that are locked now; for tests and statistics.
size_t kxMem_NumLockedPages();

#endif
