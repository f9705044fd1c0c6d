/// @file
/// Findings: what a validation looked at, rule by rule and certificate by certificate, as data.
///
/// Text, JSON and the command are views of them. A rule that could not be asked is not checked, never passed.
#ifndef KXCERT_TRUST_SXFINDING_H_
#define KXCERT_TRUST_SXFINDING_H_

#include <string>
#include <vector>

#include "kxcert/platform/export.h"
#include "kxcert/trust/sxValidation.h"

enum class sxFindingResult { kPassed, kFailed, kNotChecked };

/// What decided, for instance {"not valid after", "2031-01-01 00:00:00 UTC"}. The label is static.
struct sxFact {
  const char *label;
  std::string value;  ///< ASCII, without control characters
};

struct sxFinding {
  sxValidationRC code;  ///< what the rule gives where it fails
  int level;            ///< of the certificate that the finding is about
  const char *rule;     ///< static; a rule has one name wherever it is told
  const char *source;   ///< static: where the rule comes from
  sxFindingResult result;
  const char *reason;         ///< static: why it was not checked; else null
  std::vector<sxFact> facts;  ///< where it failed
  const char *advice;         ///< static: what an administrator can do where it failed
  bool isNote = false;        ///< the question's verdict does not depend on it
};

/// Asks every rule of @p flags at every level, where validation stops at the first that fails. Level by level
/// from the end entity up, and in each level in the order in which validation asks.
/// @param root   that the chain ends in; null: none was found, and the top certificate is said to be untrusted
/// @param flags  sxValidationFlags; revocation is told by whoever judges it
KXCERT_EXPORT std::vector<sxFinding> sxFindAll(const sxCerts &chain, const sxRootCA *root, const ValidateParams &params,
                                               int flags);

#endif
