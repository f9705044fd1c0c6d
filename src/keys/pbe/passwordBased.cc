#include "kxcert/keys/passwordBased.h"

#include "keys/keyOctets.h"
#include "kxcert/platform/random.h"
#include "pbeCipher.h"
#include "pbeKey.h"
#include "pbePlan.h"
#include "pbeWrite.h"

namespace {

constexpr int kSaltLen = 16;
constexpr int kMaxAlgorithmLen = 160;

struct Random {
  unsigned char salt[kSaltLen];
  unsigned char iv[kMaxPbeBlockLen];
};

bool Decrypt(sxOctetView algorithm, sxOctetView content, sxOctetView password, kxBinBuf *plain, PbeFailure *failure) {
  PbePlan plan;
  PbeKeys keys;
  return ReadPbePlan(algorithm, &plan, failure) && CheckPbeContent(*plan.cipher, content, failure) &&
         MakePbeKeys(plan, password, &keys, failure) &&
         PbeCrypt(*plan.cipher, false, keys.key, keys.iv, content, plain, failure);
}

// AlgorithmIdentifiers are written from the end to the beginning, as the writer goes.

void WritePbes2(sxDerWriter &writer, const sxPbeSettings &settings, const Random &random) {
  const PbeCipher *cipher = nullptr;
  const sxOctetView oid = Pbes2CipherOid(settings.cipher, &cipher);
  writer.Element(kDerOctetString, sxOctetView(random.iv).first(cipher->blockLen));
  writer.Element(kDerOid, oid);
  writer.Wrap(kDerSequence);
  WritePbkdf2(writer, settings.digest, settings.iterations, random.salt);
  writer.Wrap(kDerSequence);
  writer.Element(kDerOid, kPbes2Oid);
  writer.Wrap(kDerSequence);
}

void WritePkcs12(sxDerWriter &writer, const sxPbeSettings &settings, const Random &random) {
  WritePbeNumber(writer, settings.iterations);
  writer.Element(kDerOctetString, random.salt);
  writer.Wrap(kDerSequence);
  writer.Element(kDerOid, Pkcs12TripleDes().oid);
  writer.Wrap(kDerSequence);
}

bool CheckSettings(const sxPbeSettings &settings, PbeFailure *failure) {
  const PbeCipher *cipher = nullptr;
  const char *digest = nullptr;
  if (settings.iterations < 0) return failure->Set(sxPbe_malformed, "no iterations");
  if (!CheckPbeIterations(static_cast<uint64_t>(settings.iterations), failure)) {
    return failure->Set(sxPbe_malformed, failure->detail);
  }
  if (settings.cipher == sxPbe_pkcs12_3des) return true;
  return (!Pbes2CipherOid(settings.cipher, &cipher).empty() && !PbePrfOid(settings.digest, &digest).empty()) ||
         failure->Set(sxPbe_malformed, "no such cipher, or digest");
}

}  // namespace

int sxPbe_Decrypt(sxPbeOctets algorithm, sxPbeOctets content, sxPbeOctets password, kxBinBuf &out, std::string *why) {
  PbeFailure failure;
  kxBinBuf plain;
  if (Decrypt(algorithm, content, password, &plain, &failure)) out = std::move(plain);
  return failure.Tell("sxPbe_Decrypt", why);
}

int sxPbe_Encrypt(const sxPbeSettings &settings, sxPbeOctets plain, sxPbeOctets password, kxBinBuf &algorithm,
                  kxBinBuf &out) {
  PbeFailure failure;
  unsigned char area[kMaxAlgorithmLen];
  kxBinBuf encrypted;
  Random random = {};
  sxDerWriter writer(area);
  const auto encrypt = [&] {
    if (!CheckSettings(settings, &failure)) return false;
    if (plain.size() > kMaxPbeContentLen) return failure.Set(sxPbe_failed, "too many octets");
    if (sxrand_gen(random.salt, sizeof random.salt) != 0 || sxrand_gen(random.iv, sizeof random.iv) != 0) {
      return failure.Set(sxPbe_failed, "no random octets");
    }
    if (settings.cipher == sxPbe_pkcs12_3des) {
      WritePkcs12(writer, settings, random);
    } else {
      WritePbes2(writer, settings, random);
    }
    // Read again, so that what is encrypted is what will be decrypted.
    PbePlan plan;
    PbeKeys keys;
    return ReadPbePlan(writer.Written(), &plan, &failure) && MakePbeKeys(plan, password, &keys, &failure) &&
           PbeCrypt(*plan.cipher, true, keys.key, keys.iv, plain, &encrypted, &failure);
  };
  if (encrypt()) {
    const sxOctetView written = writer.Written();
    encrypted.SetSensitive(false);
    algorithm.Set(written.data(), static_cast<unsigned int>(written.size()));
    out = std::move(encrypted);
  }
  return failure.Tell("sxPbe_Encrypt", nullptr);
}

uint64_t sxPbe_Cost(sxPbeOctets algorithm) {
  PbeFailure failure;
  PbePlan plan;
  return ReadPbePlan(algorithm, &plan, &failure) ? PbeCost(plan) : 0;
}
