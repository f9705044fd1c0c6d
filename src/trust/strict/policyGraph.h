/// @file
/// Certificate policies of a path (RFC 5280, 6.1), as a graph with one node for each policy of a depth (RFC 9618), so that
/// it grows with what the certificates hold and no faster.
#ifndef KXCERT_SRC_TRUST_STRICT_POLICYGRAPH_H_
#define KXCERT_SRC_TRUST_STRICT_POLICYGRAPH_H_

#include <vector>

#include "kxcert/asn1/sxAsnOid.h"
#include "kxcert/trust/sxFinding.h"

class StrictPath;

struct PolicyVerdict {
  bool isValid = true;
  bool isMalformed = false;  ///< an extension that does not decode, or says what it must not
  int level = 0;             ///< where it failed
  std::vector<sxFact> facts;
  std::vector<sxAsnOid> policies;  ///< user-constrained-policy-set; anyPolicy stands for all; empty when not valid
};

/// The root's extensions take part when one of them is critical.
PolicyVerdict JudgePolicies(const StrictPath &path);

/// Whether that cannot fail, as far as is seen without a graph: nobody demands a policy, and all that is said is well formed.
bool PoliciesCannotFail(const StrictPath &path);

#endif
