// What libcrypto's default provider lacks: its legacy provider, in a library context of our own, so that nothing
// changes for the rest of the process.
#ifndef KXCERT_SRC_KEYS_PBE_LEGACYPROVIDER_H_
#define KXCERT_SRC_KEYS_PBE_LEGACYPROVIDER_H_

#include <openssl/types.h>

/// Loaded at the first call that can, and for the rest of the process. Lent; null when there is no such provider.
OSSL_LIB_CTX *LegacyContext();

#endif
