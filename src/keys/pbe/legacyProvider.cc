#include "legacyProvider.h"

#include <openssl/crypto.h>
#include <openssl/provider.h>

#include <memory>

#include "foundation/publishOnce.h"
#include "platform/owned.h"

namespace {

struct LegacyLibrary {
  sxOwned<OSSL_LIB_CTX, OSSL_LIB_CTX_free> context;
  sxOwned<OSSL_PROVIDER, OSSL_PROVIDER_unload> provider;  // before the context
};

std::unique_ptr<LegacyLibrary> Load() {
  auto library = std::make_unique<LegacyLibrary>();
  library->context.reset(OSSL_LIB_CTX_new());
  if (library->context == nullptr) return nullptr;
  library->provider.reset(OSSL_PROVIDER_load(library->context.get(), "legacy"));
  return library->provider == nullptr ? nullptr : std::move(library);
}

}  // namespace

OSSL_LIB_CTX *LegacyContext() {
  // Never destroyed: libcrypto cleans up at the end of the process, and may have done so before.
  static auto *const kLibrary = new PublishOnce<LegacyLibrary>;
  const LegacyLibrary *const library = kLibrary->Get(Load);
  return library == nullptr ? nullptr : library->context.get();
}
