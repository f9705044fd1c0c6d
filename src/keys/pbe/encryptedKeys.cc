#include "kxcert/keys/encryptedKeys.h"

#include <algorithm>

#include "keys/keyOctets.h"
#include "kxcert/foundation/hexText.h"
#include "kxcert/keys/keyForms.h"
#include "pbeCipher.h"
#include "pbeKey.h"

namespace {

constexpr size_t kMaxLenOctets = 4;
constexpr int kMaxHeadLen = 256;
constexpr size_t kMaxCipherName = 32;

bool IsOneSequence(const kxBinBuf &octets) {
  sxDerReader reader(ViewOf(octets), kMaxLenOctets);
  sxDerElement element;
  return reader.Take(kDerSequence, &element) && reader.AtEnd();
}

bool IsCipherName(std::string_view name) {
  return !name.empty() && name.size() <= kMaxCipherName && std::ranges::all_of(name, [](char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-';
  });
}

bool ReadDekInfo(std::string_view dekInfo, const PbeCipher **cipher, kxBinBuf *iv, PbeFailure *failure) {
  const size_t comma = std::min(dekInfo.find(','), dekInfo.size());
  const std::string_view name = dekInfo.substr(0, comma);
  if (!IsCipherName(name)) return failure->Set(sxPbe_malformed, "DEK-Info names no cipher");
  *cipher = FindPemCipher(name);
  if (*cipher == nullptr) return failure->Set(sxPbe_unsupported, std::string(name));
  const std::string digits(dekInfo.substr(std::min(comma + 1, dekInfo.size())));
  const auto len = static_cast<unsigned int>((*cipher)->blockLen);
  iv->Set(len);
  return (digits.size() == 2 * size_t{len} &&
          string_to_bytes(digits.c_str(), static_cast<int>(digits.size()), iv->Data(), static_cast<int>(len)) == 0) ||
         failure->Set(sxPbe_malformed, "DEK-Info has no initialisation vector of the cipher's length");
}

}  // namespace

int sxDecryptKeyInfo(sxPbeOctets der, sxPbeOctets password, kxBinBuf &out, std::string *why) {
  PbeFailure failure;
  sxDerReader reader(der, kMaxLenOctets), fields;
  sxDerElement algorithm;
  sxOctetView content;
  if (!reader.Enter(kDerSequence, &fields) || !reader.AtEnd() || !fields.Take(kDerSequence, &algorithm) ||
      !fields.Take(kDerOctetString, &content) || !fields.AtEnd()) {
    failure.Set(sxPbe_malformed, "no EncryptedPrivateKeyInfo");
    return failure.Tell("sxDecryptKeyInfo", why);
  }
  kxBinBuf plain;
  const int rc = sxPbe_Decrypt(algorithm.whole, content, password, plain, why);
  if (rc != sxPbe_ok) return rc;
  if (IsOneSequence(plain)) {
    out = std::move(plain);
  } else {
    failure.Set(sxPbe_wrongPassword);
  }
  return failure.Tell("sxDecryptKeyInfo", why);
}

int sxEncryptKeyInfo(const sxPbeSettings &settings, sxPbeOctets keyInfo, sxPbeOctets password, kxBinBuf &out) {
  kxBinBuf algorithm, content;
  const int rc = sxPbe_Encrypt(settings, keyInfo, password, algorithm, content);
  if (rc != sxPbe_ok) return rc;
  unsigned char area[kMaxHeadLen];
  sxDerWriter writer(area);
  writer.Header(kDerOctetString, static_cast<int>(content.Len()));
  writer.Octets(ViewOf(algorithm));
  writer.Header(kDerSequence, writer.Mark() + static_cast<int>(content.Len()));
  if (writer.Written().empty()) return sxPbe_failed;
  out = JoinOctets(writer.Written(), ViewOf(content), false);
  return sxPbe_ok;
}

int sxExportEncryptedKey(sxPubKey *key, const sxPbeSettings &settings, sxPbeOctets password, kxBinBuf &out) {
  kxBinBuf keyInfo;
  if (sxExportKeyInfo(key, true, keyInfo) != 0) return sxPbe_failed;
  return sxEncryptKeyInfo(settings, ViewOf(keyInfo), password, out);
}

int sxDecryptPemKey(std::string_view dekInfo, sxPbeOctets content, sxPbeOctets password, kxBinBuf &out,
                    std::string *why) {
  PbeFailure failure;
  const PbeCipher *cipher = nullptr;
  kxBinBuf iv, key, plain;
  const bool decrypted = ReadDekInfo(dekInfo, &cipher, &iv, &failure) && CheckPbeContent(*cipher, content, &failure) &&
                         MakePemKey(*cipher, ViewOf(iv), password, &key, &failure) &&
                         PbeCrypt(*cipher, false, key, iv, content, &plain, &failure);
  if (decrypted && !IsOneSequence(plain)) failure.Set(sxPbe_wrongPassword);
  if (failure.result == sxPbe_ok) out = std::move(plain);
  return failure.Tell("sxDecryptPemKey", why);
}
