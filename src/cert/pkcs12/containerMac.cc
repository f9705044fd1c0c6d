#include "containerMac.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>

#include "containerOids.h"
#include "keys/keyOctets.h"
#include "keys/libcryptoTypes.h"
#include "keys/pbe/pbeAlgorithms.h"
#include "keys/pbe/pbeKey.h"
#include "keys/pbe/pbeWrite.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/platform/random.h"

namespace {

constexpr size_t kMaxLenOctets = 4;
constexpr int kSaltLen = 16;
constexpr size_t kMaxMacDataLen = 256;

// What is computed: a key of as many octets as the digest has or PBMAC1 says, then an HMAC.
struct MacPlan {
  PbeDerivation derivation;
  const char *hmac = nullptr;  // libcrypto's name of the digest
  size_t hmacLen = 0;
  bool isPbmac1 = false;
};

bool SetHmac(const char *digest, sxOctetView oid, MacPlan *plan, PbeFailure *failure) {
  if (digest == nullptr) return failure->Set(sxPbe_unsupported, "a MAC of the algorithm " + PbeOidText(oid));
  plan->hmac = digest;
  plan->hmacLen = PbeDigestLen(digest);
  return true;
}

//   PBMAC1-params ::= SEQUENCE { keyDerivationFunc AlgorithmIdentifier, messageAuthScheme AlgorithmIdentifier }
bool ReadPbmac1(sxDerReader parameters, MacPlan *plan, PbeFailure *failure) {
  sxDerReader fields, scheme;
  sxDerElement derivation;
  sxOctetView oid;
  if (!parameters.Enter(kDerSequence, &fields) || !parameters.AtEnd() || !fields.Take(kDerSequence, &derivation) ||
      !fields.Enter(kDerSequence, &scheme) || !fields.AtEnd() || !scheme.Take(kDerOid, &oid)) {
    return failure->Set(sxPbe_malformed, "the parameters of PBMAC1");
  }
  plan->isPbmac1 = true;
  if (!SetHmac(FindPbePrf(oid), oid, plan, failure) ||
      !ReadPbeDerivation(derivation.whole, &plan->derivation, failure)) {
    return false;
  }
  const uint64_t keyLen = plan->derivation.keyLen;
  if (keyLen < kMinPbmac1KeyLen) return failure->Set(sxPbe_malformed, "PBMAC1 with a key that is too short");
  return keyLen <= kMaxPbeDerivedLen || failure->Set(sxPbe_tooCostly, "PBMAC1 with a key that is too long");
}

// As far as it is read also where it fails.
bool ReadMacPlan(const ContainerMac &mac, MacPlan *plan, PbeFailure *failure) {
  sxDerReader reader(mac.algorithm, kMaxLenOctets), fields;
  sxOctetView oid;
  if (!reader.Enter(kDerSequence, &fields) || !fields.Take(kDerOid, &oid)) {
    return failure->Set(sxPbe_malformed, "the MAC's algorithm");
  }
  if (sxEqual(oid, kOidPbmac1)) return ReadPbmac1(fields, plan, failure);
  if (!SetHmac(FindPbeDigest(oid), oid, plan, failure)) return false;
  plan->derivation.kdf = PbeKdf::kPkcs12;
  plan->derivation.digest = plan->hmac;
  plan->derivation.salt = mac.salt;
  plan->derivation.iterations = mac.iterations;
  plan->derivation.keyLen = plan->hmacLen;
  return CheckPbeIterations(mac.iterations, failure) && CheckPbeSalt(mac.salt, failure);
}

// Bounded where the plan was made.
size_t KeyLen(const MacPlan &plan) { return static_cast<size_t>(plan.derivation.keyLen); }

bool MakeKey(const MacPlan &plan, sxOctetView password, kxBinBuf *key, PbeFailure *failure) {
  if (!CheckPbePassword(password, failure)) return false;
  if (plan.isPbmac1) return DerivePbeOctets(plan.derivation, password, KeyLen(plan), key, failure);
  kxBinBuf bmp;
  sxPbe_BmpPassword(password, bmp);
  return DerivePkcs12Octets(plan.derivation, sxPkcs12_mac, ViewOf(bmp), KeyLen(plan), key, failure);
}

bool Compute(const MacPlan &plan, sxOctetView octets, sxOctetView password, unsigned char (&mac)[kMaxDigestLen],
             PbeFailure *failure) {
  kxBinBuf key;
  if (!MakeKey(plan, password, &key, failure)) return false;
  const ErrorQueueMark mark;
  size_t len = 0;
  const bool done = EVP_Q_mac(nullptr, "HMAC", nullptr, plan.hmac, nullptr, key.Data(), key.Len(), octets.data(),
                              octets.size(), mac, sizeof mac, &len) != nullptr;
  return (done && len == plan.hmacLen) || failure->Set(sxPbe_failed, "HMAC");
}

const char *HmacName(const MacPlan &plan) { return plan.hmac == nullptr ? "an unknown digest" : plan.hmac; }

// An own MAC's DigestInfo has the digest's identifier, with parameters of NULL as others write them.
sxOctetView DigestOid(sx_md_type digest) {
  switch (digest) {
    case sx_md_sha1: return ViewOf(sxASN_sha1);
    case sx_md_sha256: return ViewOf(sxASN_sha256);
    case sx_md_sha384: return ViewOf(sxASN_sha384);
    case sx_md_sha512: return ViewOf(sxASN_sha512);
    default: return {};
  }
}

void WriteAlgorithm(sxDerWriter &writer, const sxPkcs12Settings &settings, sxOctetView salt) {
  const int mark = writer.Mark();
  if (settings.mac == sxPkcs12MacKind::kOwn) {
    writer.Header(kDerNull, 0);
    writer.Element(kDerOid, DigestOid(settings.macDigest));
    writer.Wrap(kDerSequence, mark);
    return;
  }
  const char *name = nullptr;
  const sxOctetView oid = PbePrfOid(settings.macDigest, &name);
  writer.Header(kDerNull, 0);
  writer.Element(kDerOid, oid);
  writer.Wrap(kDerSequence, mark);
  WritePbkdf2(writer, settings.macDigest, settings.macIterations, salt, kx_md_len(settings.macDigest));
  writer.Wrap(kDerSequence, mark);
  writer.Element(kDerOid, kOidPbmac1);
  writer.Wrap(kDerSequence, mark);
}

// @param mac  as many octets as the digest has
sxOctetView WriteMacData(sxDerWriter &writer, const sxPkcs12Settings &settings, sxOctetView salt, sxOctetView mac) {
  WritePbeNumber(writer, settings.mac == sxPkcs12MacKind::kOwn ? settings.macIterations : 1);
  writer.Element(kDerOctetString, salt);
  const int mark = writer.Mark();
  writer.Element(kDerOctetString, mac);
  WriteAlgorithm(writer, settings, salt);
  writer.Wrap(kDerSequence, mark);
  writer.Wrap(kDerSequence);
  return writer.Written();
}

}  // namespace

sxPkcs12Protection ProtectionOf(const ContainerMac &mac) {
  if (!mac.isThere) return {};
  MacPlan plan;
  PbeFailure failure;
  static_cast<void>(ReadMacPlan(mac, &plan, &failure));
  if (!plan.isPbmac1) return {std::string("HMAC-") + HmacName(plan), mac.iterations};
  const bool isPbkdf2 = plan.derivation.kdf == PbeKdf::kPbkdf2 && plan.derivation.digest != nullptr;
  const std::string derivation =
      isPbkdf2 ? std::string("PBKDF2 with HMAC-") + plan.derivation.digest : "another key derivation";
  return {std::string("PBMAC1 with HMAC-") + HmacName(plan) + " and " + derivation, plan.derivation.iterations};
}

bool CheckMac(const ContainerMac &mac, sxOctetView octets, ContainerPassword &password, ContainerFailure *failure) {
  MacPlan plan;
  PbeFailure why;
  if (!ReadMacPlan(mac, &plan, &why)) return failure->Set(why);
  if (mac.digest.size() != plan.hmacLen) return failure->Set(sxPkcs12_malformed, "a MAC of another length");
  const auto isRight = [&](sxOctetView form, PbeFailure *pbeFailure) {
    unsigned char computed[kMaxDigestLen];
    if (!Compute(plan, octets, form, computed, pbeFailure)) return false;
    return CRYPTO_memcmp(computed, mac.digest.data(), plan.hmacLen) == 0 || pbeFailure->Set(sxPbe_wrongPassword);
  };
  const PbeDerivation &derivation = plan.derivation;
  if (password.Try(derivation.kdf, PbeCost(derivation, KeyLen(plan)), isRight, failure)) return true;
  if (failure->result == sxPkcs12_notDecrypted) failure->Set(sxPkcs12_wrongPassword);
  return false;
}

bool MakeMac(const sxPkcs12Settings &settings, sxOctetView octets, sxPbeOctets password, kxBinBuf *out,
             ContainerFailure *failure) {
  unsigned char salt[kSaltLen], area[kMaxMacDataLen], computed[kMaxDigestLen] = {};
  if (sxrand_gen(salt, sizeof salt) != 0) return failure->Set(sxPkcs12_failed, "no random octets");
  // The algorithm is read again, so that what is computed is what will be.
  sxDerWriter algorithm(area);
  WriteAlgorithm(algorithm, settings, salt);
  ContainerMac mac = {true, algorithm.Written(), {}, salt, static_cast<uint64_t>(settings.macIterations)};
  MacPlan plan;
  PbeFailure why;
  if (!ReadMacPlan(mac, &plan, &why) || !Compute(plan, octets, password, computed, &why)) return failure->Set(why);
  sxDerWriter writer(area);
  const sxOctetView written = WriteMacData(writer, settings, salt, sxOctetView(computed).first(plan.hmacLen));
  if (written.empty()) return failure->Set(sxPkcs12_failed, "the MAC is too long");
  out->Set(written.data(), static_cast<unsigned int>(written.size()));
  return true;
}
