/// @file
/// Mutexes by handle.
#ifndef KXCERT_PLATFORM_MUTEX_H_
#define KXCERT_PLATFORM_MUTEX_H_

#include "kxcert/platform/export.h"

struct MtMutex;

/// A plain mutex of its own. The caller hands it back to MtMutexDestroy. Null when out of resources.
KXCERT_EXPORT MtMutex *MtMutexCreate();

/// A recursive mutex. Equal names give the same mutex within the process, counted: it goes with its
/// last user. A null name gives one that is not shared.
KXCERT_EXPORT MtMutex *MtMutexCreateRecursive(const char *name);

KXCERT_EXPORT int MtMutexLock(MtMutex *mutex);      ///< 0, or -1 for null or a system refusal
KXCERT_EXPORT int MtMutexUnLock(MtMutex *mutex);    ///< 0, or -1 for null or a lock that is not held
KXCERT_EXPORT void MtMutexDestroy(MtMutex *mutex);  ///< drops one user; null is ignored

#endif
