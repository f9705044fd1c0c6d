/// @file
/// The version of the library: of these headers, and of what runs.
#ifndef KXCERT_PLATFORM_VERSION_H_
#define KXCERT_PLATFORM_VERSION_H_

#include "kxcert/platform/export.h"

#define KXCERT_VERSION_MAJOR 1
#define KXCERT_VERSION_MINOR 0
#define KXCERT_VERSION_PATCH 0

/// As one number that grows with the version, for the preprocessor: 1.2.3 is 10203.
#define KXCERT_VERSION_NUMBER (KXCERT_VERSION_MAJOR * 10000 + KXCERT_VERSION_MINOR * 100 + KXCERT_VERSION_PATCH)

/// KXCERT_VERSION_NUMBER of the library that runs. Programs that were built with an older minor version
/// run with a newer one of the same major version.
KXCERT_EXPORT int kxVersionNumber();

/// The same as text, "1.2.3"; lent, static.
KXCERT_EXPORT const char *kxVersion();

#endif
