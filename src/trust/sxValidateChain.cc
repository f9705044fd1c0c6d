// The single checks of a validation.
#include <algorithm>
#include <atomic>
#include <limits>

#include "kxcert/asn1/oids.h"
#include "kxcert/cert/sxCerts.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/cert/sxGeneralName.h"
#include "kxcert/platform/log.h"
#include "kxcert/trust/sxRootCA.h"
#include "kxcert/trust/sxValidation.h"
#include "kxcert/trust/sxcert_black_list.h"

namespace {

constexpr char kTopic[] = "VALIDATE";
constexpr char kValidateCert[] = "sxValidateCert";
constexpr char kValidatePath[] = "sxValidatePath";

std::atomic<unsigned> g_gracePeriodSec{kDefaultGraceSec};

int64_t StartGrace(const ValidateParams &params) {
  const int sec = params.Cert_start_grace();
  return sec == kGraceDefault ? int64_t{g_gracePeriodSec} : int64_t{sec};
}

// The process-wide period is for clocks that run ahead of the issuer's; nothing outlives its end by it.
int64_t EndGrace(const ValidateParams &params) {
  const int sec = params.Cert_end_grace();
  return sec == kGraceDefault ? 0 : int64_t{sec};
}

// Dates are 32-bit seconds, sums with grace periods are not.
sxValidationRC ValidateDates(const sxCert &cert, int64_t now, const ValidateParams &params) {
  if (now < cert.notBefore()) {
    if (cert.notBefore() - StartGrace(params) > now) {
      tderrorFunc(kTopic, 3, 0, "sxValidateCert: certificate is not valid yet");
      return sxValidation_notYetValid;
    }
    tderrorFunc(kTopic, 5, 0, "sxValidateCert: certificate valid due to grace start period");
  }
  if (now > cert.notAfter()) {
    if (now > cert.notAfter() + EndGrace(params)) {
      tderrorFunc(kTopic, 3, 0, "sxValidateCert: certificate is obsolete");
      return sxValidation_expired;
    }
    tderrorFunc(kTopic, 5, 0, "sxValidateCert: certificate valid due to grace end period");
  }
  return sxValidation_OK;
}

// Where long has 32 bits, a time beyond them is as good as their ends: all dates of certificates lie between.
long TimeOf(const ValidateParams &params) {
  using Limits = std::numeric_limits<long>;
  return static_cast<long>(std::clamp(params.Time(), int64_t{Limits::min()}, int64_t{Limits::max()}));
}

// What an issuer at level + 1 must satisfy for the certificate at @p level, and their names.
sxValidationRC ValidateLink(const sxCert &issuer, const sxCert &subject, int &level) {
  // RFC 5280 6.1.4 (n) asks for the bit whenever the extension is there; here only a critical one counts,
  // by intent. ValidatePath.KeyUsageCountsOnlyWhenCritical holds it in place.
  if (issuer.IsCritical(&sxASN_id_ce_keyUsage) != 0 && issuer.HasKeyUsage(sxKU_keyCertSign) == 0) {
    ++level;
    return sxValidation_wrongKeyUsage;
  }
  // An issuer without basic constraints passes: version 1 certificates have none.
  if (const sxBasicConstraint *constraints = issuer.GetBasicConstraint(); constraints != nullptr) {
    if (!constraints->IsCA()) {
      tderrorFunc(kTopic, 3, 0, "%s: bc->IsCA() == 0", kValidatePath);
      return sxValidation_issuerIsNoCA;
    }
    const int pathLen = constraints->PathLen();
    if (pathLen >= 0 && pathLen < level) {  // as many CA certificates as level says stand below the issuer
      tderrorFunc(kTopic, 3, 0, "%s: PathLen:%d < elevel:%d.", kValidatePath, pathLen, level);
      ++level;
      return sxValidation_pathLenExceeded;
    }
  }
  const sxDN *issuerName = subject.Issuer();
  const sxDN *wanted = issuer.Subject();
  if (issuerName == nullptr || wanted == nullptr || !issuerName->Equal(*wanted)) {
    return sxValidation_inconsistentChain;
  }
  return sxValidation_OK;
}

}  // namespace

void sxCertValidate_SetGracePeriod(unsigned int sec) { g_gracePeriodSec = sec; }
unsigned int sxCertValidate_GetDefaultGracePeriod() { return kDefaultGraceSec; }

sxValidationRC sxValidateCert(const sxCert *cert, long now, const ValidateParams &params) {
  if (cert == nullptr || !cert->OK()) {
    tderrorFunc(kTopic, 1, 0, "%s invalid certificate", kValidateCert);
    return sxValidation_badInput;
  }
  const sxcert_black_list *blackList = params.Get_BlackList();
  if (blackList != nullptr && blackList->IsExist(*cert)) {
    tderrorFunc(kTopic, 3, 0, "%s: certificate found in black list.", kValidateCert);
    return sxValidation_blackListed;
  }
  if (cert->UnhandledCritExt() != nullptr) return sxValidation_unhandledCritExt;
  return ValidateDates(*cert, now, params);
}

sxValidationRC sxValidatePath(const sxCerts &chain, int &level, long &expiration, const ValidateParams &params) {
  const int top = chain.Top();
  level = top;
  if (top < 0) return sxValidation_badInput;
  const long now = TimeOf(params);
  const sxCert *issuer = chain.Get(top);
  sxValidationRC rc = sxValidateCert(issuer, now, params);
  if (rc != sxValidation_OK) return rc;
  expiration = issuer->notAfter();
  for (level = top - 1; level >= 0; --level) {
    const sxCert *subject = chain.Get(level);
    rc = sxValidateCert(subject, now, params);  // a missing one is bad input
    if (rc == sxValidation_OK) rc = ValidateLink(*issuer, *subject, level);
    if (rc != sxValidation_OK) return rc;
    expiration = std::min(expiration, static_cast<long>(subject->notAfter()));
    issuer = subject;
  }
  return sxValidation_OK;
}

sxValidationRC sxValidatePath(const sxCerts &chain, int &level, long &expiration) {
  return sxValidatePath(chain, level, expiration, ValidateParams());
}

sxValidationRC sxValidateSignatures(const sxCerts &chain, int &level) {
  const int top = chain.Top();
  level = top;
  if (top < 0) return sxValidation_badInput;
  for (level = top - 1; level >= 0; --level) {
    const sxCert *subject = chain.Get(level);
    const sxCert *issuer = chain.Get(level + 1);
    if (subject == nullptr || issuer == nullptr) return sxValidation_badInput;
    if (subject->VerifySig(issuer->PubKey()) != 0) return sxValidation_badSignature;
  }
  return sxValidation_OK;
}

sxValidationRC sxValidateNameConstraints(const sxRootCA *root, const sxCert *cert) {
  if (root == nullptr) return sxValidation_badInput;
  const sxGeneralNames *constraints = root->NameConstraints();
  if (constraints == nullptr || constraints->Count() == 0) return sxValidation_OK;
  const sxDN *subject = cert != nullptr ? cert->Subject() : nullptr;
  if (subject == nullptr) return sxValidation_badInput;
  for (int i = 0; i < constraints->Count(); ++i) {
    const sxDN *subtree = constraints->Get(i)->GetDN();  // null for names of other kinds
    if (subtree != nullptr && subject->IsSub(*subtree)) return sxValidation_OK;
  }
  if (kxLog_TraceOn()) {
    const char *text = subject->GetStr();
    tderrorFunc(kTopic, 3, 0, "sxValidateNameConstraints: %s doesn't conform to name constraints",
                text != nullptr ? text : "no name");
  }
  return sxValidation_nameConstraints;
}

long sxGetChainExpiration(const sxCerts &chain) {
  bool found = false;
  long expiration = -1;
  for (int i = 0; i < chain.Slots(); ++i) {
    const sxCert *cert = chain.Get(i);
    if (cert == nullptr || !cert->OK()) continue;
    // One that cannot be read is -1 itself, and smaller than all others.
    expiration = found ? std::min(expiration, static_cast<long>(cert->notAfter())) : cert->notAfter();
    found = true;
  }
  return expiration;
}
