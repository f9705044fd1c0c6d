#include "pbePlan.h"

#include <bit>

namespace {

constexpr size_t kMaxLenOctets = 4;
constexpr size_t kPbes1SaltLen = 8;     // RFC 8018, A.3
constexpr uint64_t kScryptBlock = 128;  // octets, times r
constexpr uint64_t kMaxCostOfOneBlock = 1 << 16;
constexpr char kNotScrypt[] = "numbers that scrypt does not take";

struct Algorithm {
  sxOctetView oid;
  sxDerReader parameters;
};

bool TakeAlgorithm(sxDerReader &from, Algorithm *algorithm) {
  return from.Enter(kDerSequence, &algorithm->parameters) && algorithm->parameters.Take(kDerOid, &algorithm->oid);
}

std::string Limit(uint64_t number, const char *what, uint64_t limit) {
  return PbeNumberText(number) + " " + what + ", at most " + std::to_string(limit);
}

// PBEParameter and pkcs-12PbeParams: SEQUENCE { salt OCTET STRING, iterations INTEGER }
bool ReadSaltAndIterations(sxDerReader parameters, PbeDerivation *derivation, PbeFailure *failure) {
  sxDerReader fields;
  if (!parameters.Enter(kDerSequence, &fields) || !parameters.AtEnd() ||
      !fields.Take(kDerOctetString, &derivation->salt) || !TakePbeNumber(fields, &derivation->iterations) ||
      !fields.AtEnd()) {
    return failure->Set(sxPbe_malformed, "no salt with a number of iterations");
  }
  return CheckPbeIterations(derivation->iterations, failure) && CheckPbeSalt(derivation->salt, failure);
}

//   PBKDF2-params ::= SEQUENCE { salt CHOICE { specified OCTET STRING, otherSource AlgorithmIdentifier },
//                                iterationCount INTEGER, keyLength INTEGER OPTIONAL,
//                                prf AlgorithmIdentifier DEFAULT hmacWithSHA1 }   (RFC 8018, A.2)
bool ReadPbkdf2(sxDerReader parameters, PbeDerivation *derivation, PbeFailure *failure) {
  derivation->kdf = PbeKdf::kPbkdf2;
  const char *name = nullptr;
  sxOctetView prf = PbePrfOid(sx_md_sha1, &name);
  sxDerReader fields;
  Algorithm given;
  if (!parameters.Enter(kDerSequence, &fields) || !parameters.AtEnd() ||
      !fields.Take(kDerOctetString, &derivation->salt) || !TakePbeNumber(fields, &derivation->iterations)) {
    return failure->Set(sxPbe_malformed, "no salt with a number of iterations");
  }
  if (fields.NextIs(kDerInteger) && (!TakePbeNumber(fields, &derivation->keyLen) || derivation->keyLen == 0)) {
    return failure->Set(sxPbe_malformed, "a key length that is none");
  }
  if (!fields.AtEnd()) {
    if (!TakeAlgorithm(fields, &given) || !fields.AtEnd()) {
      return failure->Set(sxPbe_malformed, "something else than a pseudorandom function behind the iterations");
    }
    prf = given.oid;
  }
  derivation->digest = FindPbePrf(prf);
  if (derivation->digest == nullptr) return failure->Set(sxPbe_unsupported, PbeOidText(prf));
  return CheckPbeIterations(derivation->iterations, failure) && CheckPbeSalt(derivation->salt, failure);
}

bool CheckScrypt(const PbeDerivation &derivation, PbeFailure *failure) {
  const uint64_t cost = derivation.cost, blockSize = derivation.blockSize, parallel = derivation.parallel;
  if (cost < 2 || blockSize == 0 || parallel == 0) return failure->Set(sxPbe_malformed, kNotScrypt);
  // Divided, so that nothing overflows. Where N is small, what is held beside its blocks counts as well.
  constexpr uint64_t kBlocks = kMaxPbeScryptMemory / kScryptBlock;
  if (cost > kBlocks || blockSize > kBlocks / cost || parallel > kBlocks / cost / blockSize ||
      PbeScryptMemory(derivation) > kMaxPbeScryptHeld) {
    return failure->Set(sxPbe_tooCostly, "scrypt with N = " + PbeNumberText(cost) +
                                             ", r = " + PbeNumberText(blockSize) + ", p = " + PbeNumberText(parallel) +
                                             "; at most " + std::to_string(kMaxPbeScryptMemory) + " octets are used");
  }
  // A power of two, less than 2^(128 * r / 8) (RFC 7914, 2).
  const bool isTaken = std::has_single_bit(cost) && (blockSize > 1 || cost < kMaxCostOfOneBlock);
  return isTaken || failure->Set(sxPbe_malformed, kNotScrypt);
}

//   scrypt-params ::= SEQUENCE { salt OCTET STRING, costParameter INTEGER, blockSize INTEGER,
//                                parallelizationParameter INTEGER, keyLength INTEGER OPTIONAL }   (RFC 7914, 7.1)
bool ReadScrypt(sxDerReader parameters, PbeDerivation *derivation, PbeFailure *failure) {
  derivation->kdf = PbeKdf::kScrypt;
  sxDerReader fields;
  if (!parameters.Enter(kDerSequence, &fields) || !parameters.AtEnd() ||
      !fields.Take(kDerOctetString, &derivation->salt) || !TakePbeNumber(fields, &derivation->cost) ||
      !TakePbeNumber(fields, &derivation->blockSize) || !TakePbeNumber(fields, &derivation->parallel)) {
    return failure->Set(sxPbe_malformed, "no salt with the numbers of scrypt");
  }
  if (!fields.AtEnd() && (!TakePbeNumber(fields, &derivation->keyLen) || derivation->keyLen == 0 || !fields.AtEnd())) {
    return failure->Set(sxPbe_malformed, "a key length that is none");
  }
  return CheckScrypt(*derivation, failure) && CheckPbeSalt(derivation->salt, failure);
}

bool ReadDerivation(const Algorithm &kdf, PbeDerivation *derivation, PbeFailure *failure) {
  if (sxEqual(kdf.oid, kPbkdf2Oid)) return ReadPbkdf2(kdf.parameters, derivation, failure);
  if (sxEqual(kdf.oid, kScryptOid)) return ReadScrypt(kdf.parameters, derivation, failure);
  return failure->Set(sxPbe_unsupported, PbeOidText(kdf.oid));
}

//   PBES2-params ::= SEQUENCE { keyDerivationFunc AlgorithmIdentifier, encryptionScheme AlgorithmIdentifier }
bool ReadPbes2(sxDerReader parameters, PbePlan *plan, PbeFailure *failure) {
  sxDerReader fields;
  Algorithm kdf, cipher;
  if (!parameters.Enter(kDerSequence, &fields) || !parameters.AtEnd() || !TakeAlgorithm(fields, &kdf) ||
      !TakeAlgorithm(fields, &cipher) || !fields.AtEnd()) {
    return failure->Set(sxPbe_malformed, "no key derivation with a cipher");
  }
  plan->cipher = FindPbes2Cipher(cipher.oid);
  if (plan->cipher == nullptr) return failure->Set(sxPbe_unsupported, PbeOidText(cipher.oid));
  if (!ReadDerivation(kdf, &plan->derivation, failure)) return false;
  if (!cipher.parameters.Take(kDerOctetString, &plan->iv) || !cipher.parameters.AtEnd() ||
      plan->iv.size() != plan->cipher->blockLen) {
    return failure->Set(sxPbe_malformed, "no initialisation vector of the cipher's length");
  }
  const uint64_t keyLen = plan->derivation.keyLen;
  if (keyLen == 0 || keyLen == plan->cipher->keyLen) return true;
  return failure->Set(sxPbe_malformed, "a key of " + PbeNumberText(keyLen) + " octets, where the cipher's has " +
                                           std::to_string(plan->cipher->keyLen));
}

bool ReadScheme(const PbeScheme &scheme, sxDerReader parameters, PbePlan *plan, PbeFailure *failure) {
  plan->derivation.kdf = scheme.isPkcs12 ? PbeKdf::kPkcs12 : PbeKdf::kPbkdf1;
  plan->derivation.digest = scheme.digest;
  plan->cipher = &scheme.cipher;
  if (!ReadSaltAndIterations(parameters, &plan->derivation, failure)) return false;
  if (scheme.isPkcs12 || plan->derivation.salt.size() == kPbes1SaltLen) return true;
  return failure->Set(sxPbe_malformed, "a salt of " + std::to_string(plan->derivation.salt.size()) + " octets, not 8");
}

bool TakeOnly(sxOctetView octets, Algorithm *algorithm, PbeFailure *failure) {
  sxDerReader reader(octets, kMaxLenOctets);
  return (TakeAlgorithm(reader, algorithm) && reader.AtEnd()) || failure->Set(sxPbe_malformed, "no algorithm");
}

}  // namespace

bool TakePbeNumber(sxDerReader &from, uint64_t *number) {
  sxOctetView octets;
  if (!from.Take(kDerInteger, &octets) || octets.empty() || octets[0] >= 0x80) return false;
  while (octets.size() > 1 && octets[0] == 0) octets = octets.subspan(1);
  *number = octets.size() > sizeof *number ? UINT64_MAX : 0;
  if (*number != 0) return true;
  for (const unsigned char octet : octets) *number = *number << 8 | octet;
  return true;
}

std::string PbeNumberText(uint64_t number) { return number == UINT64_MAX ? "more than 10^19" : std::to_string(number); }

uint64_t PbeScryptMemory(const PbeDerivation &derivation) {
  return kScryptBlock * derivation.blockSize * (derivation.cost + derivation.parallel + 2);
}

bool CheckPbeIterations(uint64_t iterations, PbeFailure *failure) {
  if (iterations == 0) return failure->Set(sxPbe_malformed, "no iterations");
  if (iterations <= kMaxPbeIterations) return true;
  return failure->Set(sxPbe_tooCostly, Limit(iterations, "iterations", kMaxPbeIterations));
}

bool CheckPbeSalt(sxOctetView salt, PbeFailure *failure) {
  if (salt.empty()) return failure->Set(sxPbe_malformed, "an empty salt");
  if (salt.size() <= kMaxPbeSaltLen) return true;
  return failure->Set(sxPbe_tooCostly, Limit(salt.size(), "octets of salt", kMaxPbeSaltLen));
}

bool ReadPbeDerivation(sxOctetView algorithm, PbeDerivation *derivation, PbeFailure *failure) {
  Algorithm kdf;
  return TakeOnly(algorithm, &kdf, failure) && ReadDerivation(kdf, derivation, failure);
}

bool ReadPbePlan(sxOctetView algorithm, PbePlan *plan, PbeFailure *failure) {
  Algorithm scheme;
  if (!TakeOnly(algorithm, &scheme, failure)) return false;
  if (sxEqual(scheme.oid, kPbes2Oid)) return ReadPbes2(scheme.parameters, plan, failure);
  const PbeScheme *const known = FindPbeScheme(scheme.oid);
  if (known == nullptr) return failure->Set(sxPbe_unsupported, PbeOidText(scheme.oid));
  return ReadScheme(*known, scheme.parameters, plan, failure);
}

uint64_t PbeCost(const PbeDerivation &derivation, size_t len) {
  if (derivation.kdf == PbeKdf::kScrypt) {
    return kScryptBlock * derivation.cost * derivation.blockSize * derivation.parallel / kPbeScryptShare;
  }
  if (derivation.kdf == PbeKdf::kPbkdf1) return derivation.iterations;  // one digest is all that it has
  const size_t digestLen = PbeDigestLen(derivation.digest);
  return derivation.iterations * ((len + digestLen - 1) / digestLen);
}

uint64_t PbeCost(const PbePlan &plan) {
  const PbeCipher &cipher = *plan.cipher;
  const bool derivesVector = plan.derivation.kdf == PbeKdf::kPkcs12 && cipher.blockLen > 1;
  return PbeCost(plan.derivation, cipher.keyLen) + (derivesVector ? PbeCost(plan.derivation, cipher.blockLen) : 0);
}
