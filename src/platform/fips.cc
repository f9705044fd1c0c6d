#include "kxcert/platform/fips.h"

#include <openssl/evp.h>

#include <atomic>
#include <cstdlib>

#include "kxcert/platform/log.h"

namespace {

std::atomic<void (*)()> g_handler{nullptr};

}  // namespace

bool IsFIPS140() { return EVP_default_properties_is_fips_enabled(nullptr) == 1; }

void fips_reboot() {
  // Whatever the switches say: the process may not live to be asked.
  error(0, 0, "fips_reboot: a self-test or key consistency test has failed");
  void (*const handler)() = g_handler;
  if (handler == nullptr) std::abort();
  handler();
}

void fips_set_reboot_handler(void (*handler)()) { g_handler = handler; }
