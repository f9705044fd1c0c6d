/// @file
/// Random octets for keys and nonces, from libcrypto's generator. Any thread.
#ifndef KXCERT_PLATFORM_RANDOM_H_
#define KXCERT_PLATFORM_RANDOM_H_

#include "kxcert/platform/export.h"

/// @retval  0  all octets are set
/// @retval -1  null, a negative length or no entropy; the area is then zeroed
KXCERT_EXPORT int sxrand_gen(unsigned char *data, int dataLen);

#endif
