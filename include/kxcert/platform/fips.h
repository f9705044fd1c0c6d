/// @file
/// FIPS 140 mode and what happens when a self-test fails.
#ifndef KXCERT_PLATFORM_FIPS_H_
#define KXCERT_PLATFORM_FIPS_H_

#include "kxcert/platform/export.h"

/// True while libcrypto's default properties ask for the FIPS provider.
KXCERT_EXPORT bool IsFIPS140();

/// Called after a failed key or self-test: logs, then aborts the process unless a handler is
/// installed; the handler may return, and then so does this.
KXCERT_EXPORT void fips_reboot();
KXCERT_EXPORT void fips_set_reboot_handler(void (*handler)());  ///< null goes back to abort

#endif
