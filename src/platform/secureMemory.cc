#include "kxcert/platform/secureMemory.h"

#include <openssl/crypto.h>

void KX_memset(void *data, size_t len) {
  if (data != nullptr && len != 0) OPENSSL_cleanse(data, len);
}
