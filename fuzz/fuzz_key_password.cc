// Encrypted keys: what is opened opens again once it is encrypted, and each result has a text. The first octet is the
// length of the password that follows.
#include <cstdint>
#include <cstring>
#include <string>

#include "check.h"
#include "kxcert/cert/importKey.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/keys/encryptedKeys.h"
#include "kxcert/keys/keyForms.h"
#include "kxcert/keys/sxPubKey.h"

namespace {

constexpr int kQuick = 2;  // iterations

void ExpectSame(sxPubKey &key, sxPbeOctets password) {
  kxBinBuf der;
  if (sxPubKey_HasPrivate(&key) == 0) return;
  for (const sxPbeCipher cipher : {sxPbe_aes128, sxPbe_pkcs12_3des}) {
    // A private RSA key without its primes has no such form.
    if (sxExportEncryptedKey(&key, {cipher, kQuick}, password, der) != sxPbe_ok) continue;
    sxPubKey *again = nullptr;
    KX_ASSERT(sxImportKeyWithPassword(der.Data(), der.Len(), password.data(), password.size(), &again) ==
              sxKeyImport_ok);
    KX_ASSERT(sxPubKey_Equal(&key, again) == 1);
    sxFreePubKey(again);
  }
}

// What costs as much as the limits allow would be all that is ever run.
bool IsCheap(sxPbeOctets octets) {
  const std::string_view text(reinterpret_cast<const char *>(octets.data()), octets.size());
  for (const std::string_view longNumber : {std::string_view("\x02\x03", 2), std::string_view("\x02\x04", 2)}) {
    if (text.find(longNumber) != std::string_view::npos) return false;
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size == 0 || size - 1 < data[0]) return 0;
  const sxPbeOctets password(data + 1, data[0]), octets(data + 1 + data[0], size - 1 - data[0]);
  if (!IsCheap(octets)) return 0;
  std::string why;
  kxBinBuf out;
  const int opened = sxDecryptKeyInfo(octets, password, out, &why);
  KX_ASSERT(why.starts_with(sxPbe_ResultText(opened)) && std::strcmp(sxPbe_ResultText(opened), "unknown result") != 0);
  KX_ASSERT((opened == sxPbe_ok) == (out.Len() > 0));
  sxPubKey *key = nullptr;
  const int rc = sxImportKeyWithPassword(octets.data(), octets.size(), password.data(), password.size(), &key, &why);
  KX_ASSERT((rc == sxKeyImport_ok) == (key != nullptr) && why.empty() == (key != nullptr));
  if (key != nullptr) ExpectSame(*key, password);
  sxFreePubKey(key);
  return 0;
}
