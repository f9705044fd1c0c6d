/// @file
/// The rules of validation, each once: what is asked, with which code, on which fact.
///
/// The checks of sxValidation.h take the first rule that fails, in the order of the tables; a report takes them all.
#ifndef KXCERT_SRC_TRUST_RULES_H_
#define KXCERT_SRC_TRUST_RULES_H_

#include <cstdint>
#include <span>

#include "kxcert/trust/sxFinding.h"

class sxCert;

/// Where a rule is asked. Which of the certificates are there depends on the rule's table.
struct RulePlace {
  const sxCert *cert;    ///< the one at @c level
  const sxCert *issuer;  ///< the one above it
  int level;
  const sxRootCA *root;
  const ValidateParams *params;
  int64_t now;          ///< seconds since 1970-01-01 00:00 UTC
  bool traces = false;  ///< what decides is told on the trace channel
};

struct RuleOutcome {
  sxFindingResult result;
  const char *reason = nullptr;  ///< why it was not checked
};

struct Rule {
  const char *name;
  const char *source;
  sxValidationRC code;
  int levelsUp;  ///< 1: a failure is the issuer's
  RuleOutcome (*check)(const RulePlace &place);
  void (*facts)(const RulePlace &place, std::vector<sxFact> &out);
  const char *advice;

  bool Fails(const RulePlace &place) const { return check(place).result == sxFindingResult::kFailed; }
};

std::span<const Rule> CertificateRules();  ///< of each certificate
std::span<const Rule> LinkRules();         ///< of each certificate and its issuer
std::span<const Rule> SignatureRules();    ///< likewise
std::span<const Rule> RootRules();         ///< of the end entity and the root
std::span<const Rule> TrustRules();        ///< of the top certificate and the root, which may be null

/// The rule that gives a code, and what decided there; null for codes that no rule gives.
const Rule *RuleOf(int code);

/// Nobody knows whether a signature is right that cannot be computed here.
bool sxIsSignatureSupported(const sxCert &cert);

// Seconds before notBefore, and after notAfter, in which a certificate counts as valid.
int64_t sxStartGrace(const ValidateParams &params);
int64_t sxEndGrace(const ValidateParams &params);

/// As sxCert_ValErrToStr, of a failure by a strict rule.
std::string sxStrictText(const sxCerts &chain, int rc, int level, const char *rule, std::vector<sxFact> facts);

/// The enumerator of a code without what all of them begin with: "expired"; "unknown" for other numbers.
const char *sxValidationName(int rc);

#endif
