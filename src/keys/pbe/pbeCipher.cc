#include "pbeCipher.h"

#include <openssl/evp.h>

#include "keys/keyOctets.h"
#include "keys/libcryptoTypes.h"
#include "legacyProvider.h"

namespace {

using Cipher = sxOwned<EVP_CIPHER, EVP_CIPHER_free>;
using CipherContext = sxOwned<EVP_CIPHER_CTX, EVP_CIPHER_CTX_free>;

Cipher FetchCipher(const PbeCipher &row, PbeFailure *failure) {
  OSSL_LIB_CTX *const context = row.isLegacy ? LegacyContext() : nullptr;
  if (row.isLegacy && context == nullptr) {
    failure->Set(sxPbe_noProvider, row.name);
    return nullptr;
  }
  Cipher cipher(EVP_CIPHER_fetch(context, row.name, nullptr));
  if (cipher == nullptr) failure->Set(row.isLegacy ? sxPbe_noProvider : sxPbe_failed, row.name);
  return cipher;
}

}  // namespace

bool CheckPbeContent(const PbeCipher &cipher, sxOctetView content, PbeFailure *failure) {
  if (content.size() > kMaxPbeContentLen) return failure->Set(sxPbe_tooCostly, "too many octets");
  if (!content.empty() && content.size() % cipher.blockLen == 0) return true;
  return failure->Set(sxPbe_malformed, std::to_string(content.size()) + " octets are no whole blocks");
}

bool PbeCrypt(const PbeCipher &cipher, bool encrypt, const kxBinBuf &key, const kxBinBuf &iv, sxOctetView input,
              kxBinBuf *out, PbeFailure *failure) {
  const ErrorQueueMark mark;
  const Cipher fetched = FetchCipher(cipher, failure);
  if (fetched == nullptr) return false;
  const CipherContext context(EVP_CIPHER_CTX_new());
  kxBinBuf area = SensitiveBuf(sxLen(input) + EVP_MAX_BLOCK_LENGTH);
  int len = 0, tail = 0;
  if (context == nullptr || iv.Len() != static_cast<unsigned int>(EVP_CIPHER_get_iv_length(fetched.get())) ||
      key.Len() != static_cast<unsigned int>(EVP_CIPHER_get_key_length(fetched.get())) ||
      EVP_CipherInit_ex2(context.get(), fetched.get(), key.Data(), iv.Data(), encrypt ? 1 : 0, nullptr) != 1 ||
      EVP_CipherUpdate(context.get(), area.Data(), &len, input.data(), sxLen(input)) != 1) {
    return failure->Set(sxPbe_failed, cipher.name);
  }
  if (EVP_CipherFinal_ex(context.get(), area.Data() + len, &tail) != 1) {
    return failure->Set(encrypt ? sxPbe_failed : sxPbe_wrongPassword);
  }
  area.Set(static_cast<unsigned int>(len + tail));  // shrinks and wipes the rest
  *out = std::move(area);
  return true;
}
