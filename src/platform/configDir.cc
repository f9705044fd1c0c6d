#include "platform/configDir.h"

#include <cstdlib>

std::string kxConfigDir() {
  // The secure form: in a set-user-id program the caller's environment does not choose the files.
  const char *named = secure_getenv("KXCERT_CONF_DIR");
  std::string dir = named != nullptr && *named != '\0' ? named : KXCERT_DEFAULT_CONF_DIR;
  while (!dir.empty() && dir.back() == '/') dir.pop_back();
  return dir;
}
