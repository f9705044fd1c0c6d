#include "protectionText.h"

#include "keys/pbe/pbePlan.h"

namespace {

constexpr size_t kMaxLenOctets = 4;

std::string DerivationText(const PbeDerivation &derivation) {
  if (derivation.kdf == PbeKdf::kPbkdf2) return std::string("PBKDF2 with HMAC-") + derivation.digest;
  return "scrypt with N = " + std::to_string(derivation.cost) + ", r = " + std::to_string(derivation.blockSize) +
         ", p = " + std::to_string(derivation.parallel);
}

std::string PlanText(const PbePlan &plan) {
  const std::string cipher = plan.cipher->name;
  switch (plan.derivation.kdf) {
    case PbeKdf::kPbkdf1: return "PBES1 with " + cipher + " and " + plan.derivation.digest;
    case PbeKdf::kPkcs12: return "PKCS #12 with " + cipher + " and " + plan.derivation.digest;
    default: return "PBES2 with " + cipher + " and " + DerivationText(plan.derivation);
  }
}

}  // namespace

sxPkcs12Protection ProtectionOf(sxOctetView algorithm) {
  PbePlan plan;
  PbeFailure failure;
  // What costs too much is told all the same.
  const bool isRead = ReadPbePlan(algorithm, &plan, &failure) || failure.result == sxPbe_tooCostly;
  if (!isRead) return {std::string(sxPbe_ResultText(failure.result)) + ": " + failure.detail};
  return {PlanText(plan), plan.derivation.iterations};
}

sxPkcs12Protection sxEncryptedKey_Protection(sxOctetView keyInfo) {
  sxDerReader reader(keyInfo, kMaxLenOctets), fields;
  sxDerElement algorithm;
  if (!reader.Enter(kDerSequence, &fields) || !fields.Take(kDerSequence, &algorithm)) return {"malformed"};
  return ProtectionOf(algorithm.whole);
}
