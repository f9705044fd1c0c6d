/// @file
/// Wiping memory that holds secrets. Any thread.
#ifndef KXCERT_PLATFORM_SECUREMEMORY_H_
#define KXCERT_PLATFORM_SECUREMEMORY_H_

#include <cstddef>

#include "kxcert/platform/export.h"

/// Sets @p len bytes to zero in a way that no optimiser removes. Null or 0 does nothing.
KXCERT_EXPORT void KX_memset(void *data, size_t len);

#endif
