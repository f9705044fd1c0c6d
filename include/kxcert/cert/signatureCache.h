/// @file
/// The process-wide memory of signatures that verified: its size and its counters.
///
/// Verifying the same object with the same key again costs a look-up instead of a public-key
/// operation. Only successes are kept, and no result depends on it. Any thread.
#ifndef KXCERT_CERT_SIGNATURECACHE_H_
#define KXCERT_CERT_SIGNATURECACHE_H_

#include <cstdint>

#include "kxcert/platform/export.h"

struct sxSignatureCacheStats {
  uint64_t hits;
  uint64_t misses;
  uint32_t entries;     ///< held now
  uint32_t maxEntries;  ///< 0 while it is off
};

/// Sets how many signatures are kept, at 32 bytes each (8192 to begin with; rounded up to a power of
/// two, 2^20 at most), and empties the memory. 0 switches it off.
KXCERT_EXPORT void sxSignatureCache_SetSize(uint32_t maxEntries);
KXCERT_EXPORT void sxSignatureCache_Clear();
KXCERT_EXPORT sxSignatureCacheStats sxSignatureCache_Stats();

#endif
