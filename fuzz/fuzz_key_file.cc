// Files with keys: what is read is written in every form so that it reads as the same key.
#include <cstdint>
#include <memory>

#include "check.h"
#include "kxcert/cert/loadFiles.h"
#include "kxcert/foundation/attributeSet.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/keys/keyForms.h"
#include "kxcert/keys/sxPubKey.h"

namespace {

// The same key, with the same part, is all that comes of its octets.
void ExpectSame(sxPubKey &key, bool isPrivate, const unsigned char *octets, size_t len) {
  sxLoader loader(sxLoad_keys);
  KX_ASSERT(loader.AddOctets(octets, len, "again") == 1);
  const sxLoadItem &item = loader.Items().front();
  KX_ASSERT(sxPubKey_Equal(item.key, &key) == 1);
  KX_ASSERT((item.kind == sxLoadKind::kPrivateKey) == isPrivate);
}

void Check(sxPubKey &key, bool isPrivate) {
  KX_ASSERT((sxPubKey_HasPrivate(&key) == 1) == isPrivate);
  for (const bool privateForm : {false, true}) {
    kxBinBuf der;
    const std::unique_ptr<sxset> set(sxExportKey_to_Set(&key, privateForm));
    const bool exported = sxExportKeyInfo(&key, privateForm, der) == 0;
    // A private RSA key without its primes has a set alone.
    KX_ASSERT((set != nullptr) == (isPrivate || !privateForm));
    KX_ASSERT(exported ? set != nullptr : privateForm);
    if (set == nullptr) continue;
    SxStream text;
    set->Write(&text);
    if (exported) ExpectSame(key, privateForm, der.Data(), der.Len());
    ExpectSame(key, privateForm, reinterpret_cast<const unsigned char *>(text.GetBuf()), text.Text().size());
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  sxLoader loader(sxLoad_keys);
  loader.AddOctets(data, size, "key");
  for (const sxLoadItem &item : loader.Items()) {
    KX_ASSERT((item.key != nullptr) == (item.skip == sxLoadSkip::kNot));
    if (item.key != nullptr) Check(*item.key, item.kind == sxLoadKind::kPrivateKey);
  }
  return 0;
}
