/// @file
/// Name constraints of every CA of a path (RFC 5280, 4.2.1.10 and 6.1.3 (b), (c)).
#ifndef KXCERT_SRC_TRUST_STRICT_NAMECONSTRAINTS_H_
#define KXCERT_SRC_TRUST_STRICT_NAMECONSTRAINTS_H_

#include <vector>

#include "kxcert/trust/sxFinding.h"

class StrictPath;

/// Names of one path that are compared, once for each CA above that has constraints of their kind. A name costs as many
/// look-ups as it has labels or RDNs, each among at most kMaxIssuedItems bases of a list, which are sorted: a list with more
/// is unreadable.
constexpr size_t kMaxComparedNames = size_t{1} << 18;

struct NameFailure {
  enum Kind { kOutside, kUnknownKind, kUnreadable, kTooMany } kind;
  int level;  ///< of the certificate whose name or constraints they are
  std::vector<sxFact> facts;
};

struct NameVerdict {
  bool hasConstraints = false;
  std::vector<NameFailure> failures;  ///< one of each kind for each certificate at most
  int topUnreadable = -1;             ///< level of the highest CA whose constraints are not known; -1: there is none
  bool isComplete = true;             ///< else names were left when the bound was reached
};

/// The names of each certificate against the constraints of all above, the root's included. Self-issued certificates but
/// for the end entity are let pass.
NameVerdict JudgeNames(const StrictPath &path);

#endif
