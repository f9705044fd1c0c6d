/// @file
/// Wiping and locking memory that holds secrets.
///
/// Locks are counted per page: a page stays locked until the last sensitive block on it is unlocked.
/// A refused lock (RLIMIT_MEMLOCK) is not an error; the block is then only wiped. Any thread.
#ifndef KXCERT_PLATFORM_SECUREMEMORY_H_
#define KXCERT_PLATFORM_SECUREMEMORY_H_

#include <cstddef>

#include "kxcert/platform/export.h"

/// Sets @p len bytes to zero in a way that no optimiser removes. Null or 0 does nothing.
KXCERT_EXPORT void KX_memset(void *data, size_t len);

/// Keeps the pages of a block out of swap. Pair each call with one kxMem_Unlock of the same range.
KXCERT_EXPORT void kxMem_Lock(const void *data, size_t len);
KXCERT_EXPORT void kxMem_Unlock(const void *data, size_t len);

/// Pages that are locked now; for tests and statistics.
KXCERT_EXPORT size_t kxMem_NumLockedPages();

#endif
