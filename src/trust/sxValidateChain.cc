// The single checks of a validation: each takes the first rule that fails.
#include <algorithm>

#include "kxcert/cert/sxCerts.h"
#include "kxcert/cert/sxGeneralName.h"
#include "kxcert/platform/log.h"
#include "kxcert/trust/sxRootCA.h"
#include "kxcert/trust/sxValidation.h"
#include "trust/rules.h"

namespace {

// The first rule that fails, in the order of the table, or null.
const Rule *FirstFailing(std::span<const Rule> rules, const RulePlace &place) {
  for (const Rule &rule : rules) {
    if (rule.Fails(place)) return &rule;
  }
  return nullptr;
}

// A certificate, and, unless it is the top one, what its issuer has to do with it.
sxValidationRC ValidateAt(const RulePlace &place, int &level) {
  if (place.cert == nullptr || !place.cert->OK()) {
    tderrorFunc("VALIDATE", 1, 0, "%s invalid certificate", "sxValidateCert");
    return sxValidation_badInput;
  }
  const Rule *failed = FirstFailing(CertificateRules(), place);
  if (failed == nullptr && place.issuer != nullptr) failed = FirstFailing(LinkRules(), place);
  if (failed == nullptr) return sxValidation_OK;
  level += failed->levelsUp;
  return failed->code;
}

}  // namespace

sxValidationRC sxValidateCert(const sxCert *cert, long now, const ValidateParams &params) {
  int ignored = 0;
  return ValidateAt({cert, nullptr, 0, nullptr, &params, now, true}, ignored);
}

sxValidationRC sxValidatePath(const sxCerts &chain, int &level, long &expiration, const ValidateParams &params) {
  const int top = chain.Top();
  level = top;
  if (top < 0) return sxValidation_badInput;
  const int64_t now = params.Time();
  const sxCert *issuer = nullptr;
  for (; level >= 0; --level) {
    const sxCert *cert = chain.Get(level);  // a missing one is bad input
    const sxValidationRC rc = ValidateAt({cert, issuer, level, nullptr, &params, now, true}, level);
    if (rc != sxValidation_OK) return rc;
    const long notAfter = cert->notAfter();
    expiration = issuer == nullptr ? notAfter : std::min(expiration, notAfter);
    issuer = cert;
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
    const Rule *failed = FirstFailing(SignatureRules(), {subject, issuer, level, nullptr, nullptr, 0});
    if (failed != nullptr) return failed->code;
  }
  return sxValidation_OK;
}

sxValidationRC sxValidateNameConstraints(const sxRootCA *root, const sxCert *cert) {
  if (root == nullptr) return sxValidation_badInput;
  if (root->NameConstraints() == nullptr || root->NameConstraints()->Count() == 0) return sxValidation_OK;
  if (cert == nullptr || cert->Subject() == nullptr) return sxValidation_badInput;
  const Rule *failed = FirstFailing(RootRules(), {cert, nullptr, 0, root, nullptr, 0, true});
  return failed != nullptr ? failed->code : sxValidation_OK;
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
