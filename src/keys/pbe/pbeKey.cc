#include "pbeKey.h"

#include <openssl/evp.h>
#include <openssl/pkcs12.h>

#include "keys/keyOctets.h"
#include "keys/libcryptoTypes.h"

namespace {

using Digest = sxOwned<EVP_MD, EVP_MD_free>;
using DigestContext = sxOwned<EVP_MD_CTX, EVP_MD_CTX_free>;

constexpr size_t kPbkdf1Len = 16;     // octets that PBES1 takes: a key and a vector of eight (RFC 8018, 6.1.1)
constexpr size_t kPemSaltLen = 8;     // of the vector
constexpr int kMaxPbkdf1Digest = 20;  // SHA-1's

constexpr unsigned char kNothing = 0;  // libcrypto takes a null password for one that was not given

const unsigned char *DataOf(sxOctetView octets) { return octets.empty() ? &kNothing : octets.data(); }
const char *CharsOf(sxOctetView octets) { return reinterpret_cast<const char *>(DataOf(octets)); }

Digest FetchDigest(const char *name, PbeFailure *failure) {
  Digest digest(EVP_MD_fetch(nullptr, name, nullptr));
  if (digest == nullptr) failure->Set(sxPbe_failed, std::string(name) + " is not there");
  return digest;
}

bool Pbkdf2(const PbeDerivation &derivation, sxOctetView password, kxBinBuf &out, PbeFailure *failure) {
  const Digest digest = FetchDigest(derivation.digest, failure);
  return digest != nullptr && (PKCS5_PBKDF2_HMAC(CharsOf(password), sxLen(password), derivation.salt.data(),
                                                 sxLen(derivation.salt), static_cast<int>(derivation.iterations),
                                                 digest.get(), static_cast<int>(out.Len()), out.Data()) == 1 ||
                               failure->Set(sxPbe_failed, "PBKDF2"));
}

bool Scrypt(const PbeDerivation &derivation, sxOctetView password, kxBinBuf &out, PbeFailure *failure) {
  return EVP_PBE_scrypt(CharsOf(password), password.size(), derivation.salt.data(), derivation.salt.size(),
                        derivation.cost, derivation.blockSize, derivation.parallel, kMaxPbeScryptHeld, out.Data(),
                        out.Len()) == 1 ||
         failure->Set(sxPbe_failed, "scrypt");
}

// RFC 8018, 5.1
bool Pbkdf1(const PbeDerivation &derivation, sxOctetView password, kxBinBuf &out, PbeFailure *failure) {
  const Digest digest = FetchDigest(derivation.digest, failure);
  const DigestContext context(EVP_MD_CTX_new());
  if (digest == nullptr || context == nullptr) return failure->Set(sxPbe_failed, failure->detail);
  kxBinBuf round = SensitiveBuf(kMaxPbkdf1Digest);
  unsigned int len = 0;
  bool ok = EVP_DigestInit_ex(context.get(), digest.get(), nullptr) == 1 &&
            EVP_DigestUpdate(context.get(), password.data(), password.size()) == 1 &&
            EVP_DigestUpdate(context.get(), derivation.salt.data(), derivation.salt.size()) == 1 &&
            EVP_DigestFinal_ex(context.get(), round.Data(), &len) == 1;
  for (uint64_t i = 1; ok && i < derivation.iterations; ++i) {
    ok = EVP_DigestInit_ex(context.get(), nullptr, nullptr) == 1 &&
         EVP_DigestUpdate(context.get(), round.Data(), len) == 1 &&
         EVP_DigestFinal_ex(context.get(), round.Data(), &len) == 1;
  }
  if (!ok || len < out.Len()) return failure->Set(sxPbe_failed, "PBKDF1");
  out.Set(round.Data(), out.Len());
  return true;
}

bool SplitPbkdf1(const PbePlan &plan, sxOctetView password, PbeKeys *keys, PbeFailure *failure) {
  kxBinBuf octets = SensitiveBuf(kPbkdf1Len);
  if (!Pbkdf1(plan.derivation, password, octets, failure)) return false;
  const auto keyLen = static_cast<unsigned int>(plan.cipher->keyLen);
  keys->key = JoinOctets(ViewOf(octets).first(keyLen), {}, true);
  keys->iv = JoinOctets(ViewOf(octets).subspan(keyLen), {}, true);
  return true;
}

bool MakePkcs12Keys(const PbePlan &plan, sxOctetView password, PbeKeys *keys, PbeFailure *failure) {
  kxBinBuf bmp;
  sxPbe_BmpPassword(password, bmp);
  const bool hasVector = plan.cipher->blockLen > 1;
  return DerivePkcs12Octets(plan.derivation, sxPkcs12_key, ViewOf(bmp), plan.cipher->keyLen, &keys->key, failure) &&
         (!hasVector ||
          DerivePkcs12Octets(plan.derivation, sxPkcs12_iv, ViewOf(bmp), plan.cipher->blockLen, &keys->iv, failure));
}

}  // namespace

bool CheckPbePassword(sxOctetView password, PbeFailure *failure) {
  return password.size() <= kMaxPbePasswordLen || failure->Set(sxPbe_failed, "the password is too long");
}

bool DerivePbeOctets(const PbeDerivation &derivation, sxOctetView password, size_t keyLen, kxBinBuf *out,
                     PbeFailure *failure) {
  const ErrorQueueMark mark;
  *out = SensitiveBuf(static_cast<int>(keyLen));
  return derivation.kdf == PbeKdf::kScrypt ? Scrypt(derivation, password, *out, failure)
                                           : Pbkdf2(derivation, password, *out, failure);
}

bool DerivePkcs12Octets(const PbeDerivation &derivation, sxPkcs12Purpose purpose, sxOctetView bmp, size_t keyLen,
                        kxBinBuf *out, PbeFailure *failure) {
  const ErrorQueueMark mark;
  *out = SensitiveBuf(static_cast<int>(keyLen));
  const Digest digest = FetchDigest(derivation.digest, failure);
  // Neither of the two is written to.
  auto *const password = const_cast<unsigned char *>(DataOf(bmp));
  auto *const salt = const_cast<unsigned char *>(derivation.salt.data());
  return digest != nullptr && (PKCS12_key_gen_uni(password, sxLen(bmp), salt, sxLen(derivation.salt), purpose,
                                                  static_cast<int>(derivation.iterations), static_cast<int>(keyLen),
                                                  out->Data(), digest.get()) == 1 ||
                               failure->Set(sxPbe_failed, "the key derivation of PKCS #12"));
}

bool MakePbeKeys(const PbePlan &plan, sxOctetView password, PbeKeys *keys, PbeFailure *failure) {
  const ErrorQueueMark mark;
  if (!CheckPbePassword(password, failure)) return false;
  switch (plan.derivation.kdf) {
    case PbeKdf::kPbkdf1: return SplitPbkdf1(plan, password, keys, failure);
    case PbeKdf::kPkcs12: return MakePkcs12Keys(plan, password, keys, failure);
    default: break;
  }
  keys->iv = JoinOctets(plan.iv, {}, true);
  return DerivePbeOctets(plan.derivation, password, plan.cipher->keyLen, &keys->key, failure);
}

bool MakePemKey(const PbeCipher &cipher, sxOctetView iv, sxOctetView password, kxBinBuf *key, PbeFailure *failure) {
  const ErrorQueueMark mark;
  if (!CheckPbePassword(password, failure)) return false;
  const Digest digest = FetchDigest("MD5", failure);
  const DigestContext context(EVP_MD_CTX_new());
  if (digest == nullptr || context == nullptr) return failure->Set(sxPbe_failed, failure->detail);
  const sxOctetView salt = iv.first(kPemSaltLen);
  kxBinBuf octets = SensitiveBuf(static_cast<int>(kMaxPbeKeyLen));
  unsigned int len = 0;
  // Each digest is over the one before, the password and the salt, until there are enough octets.
  for (unsigned int pos = 0; pos < cipher.keyLen; pos += len) {
    if (EVP_DigestInit_ex(context.get(), digest.get(), nullptr) != 1 ||
        EVP_DigestUpdate(context.get(), octets.Data() + pos - len, len) != 1 ||
        EVP_DigestUpdate(context.get(), password.data(), password.size()) != 1 ||
        EVP_DigestUpdate(context.get(), salt.data(), salt.size()) != 1 ||
        EVP_DigestFinal_ex(context.get(), octets.Data() + pos, &len) != 1) {
      return failure->Set(sxPbe_failed, "MD5");
    }
  }
  *key = JoinOctets(ViewOf(octets).first(cipher.keyLen), {}, true);
  return true;
}

int sxPbe_DeriveKey(sxPbeOctets algorithm, sxPbeOctets password, size_t keyLen, kxBinBuf &out, std::string *why) {
  PbeFailure failure;
  PbeDerivation derivation;
  kxBinBuf key;
  const auto derive = [&] {
    if (!CheckPbePassword(password, &failure) || !ReadPbeDerivation(algorithm, &derivation, &failure)) return false;
    const uint64_t len = keyLen == 0 ? derivation.keyLen : keyLen;
    if (len > kMaxPbeDerivedLen) return failure.Set(sxPbe_tooCostly, "the length of the key");
    if (len == 0 || (derivation.keyLen != 0 && derivation.keyLen != len)) {
      return failure.Set(sxPbe_malformed, "the length of the key");
    }
    return DerivePbeOctets(derivation, password, static_cast<size_t>(len), &key, &failure);
  };
  if (derive()) out = std::move(key);
  return failure.Tell("sxPbe_DeriveKey", why);
}

int sxPbe_Pkcs12Key(sxPbeOctets digest, sxPkcs12Purpose purpose, sxPbeOctets bmp, sxPbeOctets salt, uint64_t iterations,
                    size_t keyLen, kxBinBuf &out, std::string *why) {
  PbeFailure failure;
  const PbeDerivation derivation = {PbeKdf::kPkcs12, FindPbeDigest(digest), salt, iterations};
  kxBinBuf key;
  const auto derive = [&] {
    if (derivation.digest == nullptr) return failure.Set(sxPbe_unsupported, PbeOidText(digest));
    if (keyLen > kMaxPbeDerivedLen) return failure.Set(sxPbe_tooCostly, "the length of the key");
    if (keyLen == 0) return failure.Set(sxPbe_malformed, "the length of the key");
    if (bmp.size() > 2 * kMaxPbePasswordLen + 2) return failure.Set(sxPbe_failed, "the password is too long");
    return CheckPbeIterations(iterations, &failure) && CheckPbeSalt(salt, &failure) &&
           DerivePkcs12Octets(derivation, purpose, bmp, keyLen, &key, &failure);
  };
  if (derive()) out = std::move(key);
  return failure.Tell("sxPbe_Pkcs12Key", why);
}
