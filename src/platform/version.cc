#include "kxcert/platform/version.h"

#define KXCERT_TEXT_OF(number) #number
#define KXCERT_TEXT(number) KXCERT_TEXT_OF(number)

int kxVersionNumber() { return KXCERT_VERSION_NUMBER; }

const char *kxVersion() {
  return KXCERT_TEXT(KXCERT_VERSION_MAJOR) "." KXCERT_TEXT(KXCERT_VERSION_MINOR) "." KXCERT_TEXT(KXCERT_VERSION_PATCH);
}
