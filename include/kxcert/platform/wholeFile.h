/// @file
/// Files that are written whole or not at all.
#ifndef KXCERT_PLATFORM_WHOLEFILE_H_
#define KXCERT_PLATFORM_WHOLEFILE_H_

#include <cstddef>

#include "kxcert/platform/export.h"

/// Writes a file that only its owner may read. It gets its name once all of it is on the disk: a failure, a kill or a
/// power cut leaves what was there, at most with a file ".kxcert-..." beside it. Any thread.
/// @param replace  whether a file of that name is replaced (a link itself, not what it leads to); what is no file stays
/// @return 0, or -1 with errno set: EEXIST when it is there and stays
KXCERT_EXPORT int kxFile_WriteWhole(const char *path, const void *data, size_t len, bool replace);

#endif
