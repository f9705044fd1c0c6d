#include "kxcert/platform/random.h"

#include <openssl/rand.h>

#include "kxcert/platform/secureMemory.h"

int sxrand_gen(unsigned char *data, int dataLen) {
  if (data == nullptr || dataLen < 0) return -1;
  // The generator that libcrypto keeps for values that stay private: private keys are drawn here.
  if (RAND_priv_bytes(data, dataLen) == 1) return 0;
  KX_memset(data, static_cast<size_t>(dataLen));
  return -1;
}
