#include "keyExport.h"

#include <cstring>

#include "kxcert/foundation/attributeSet.h"
#include "kxcert/keys/keyCodes.h"
#include "kxcert/platform/log.h"

int CheckSetSlot(const char *func, const unsigned char *out, int outLen) {
  if (outLen != kKeySetCapacity) {
    herror_func(0, 0, "%s: wrong pointer length %d", func, outLen);
    return kKeyBadInput;
  }
  if (out == nullptr) {
    herror_func(0, 0, "%s: cannot assign to NULL pointer", func);
    return kKeyBadInput;
  }
  return 0;
}

int StoreSet(sxset *set, unsigned char *out) {
  if (set == nullptr) return kKeyNotUsable;
  std::memcpy(out, &set, sizeof set);  // the caller's area is an octet pointer: no alignment is promised
  return 0;
}

int StoreOctets(const unsigned char *data, int dataLen, unsigned char *out, int outLen) {
  if (out == nullptr) return dataLen;
  if (outLen < dataLen) return kKeyOutputShort;
  std::memcpy(out, data, static_cast<size_t>(dataLen));
  return dataLen;
}
