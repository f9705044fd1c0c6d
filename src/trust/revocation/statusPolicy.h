/// @file
/// Which sources are asked for the status of the certificates below a root, and in which order: the one place where
/// the root's method and the parameters meet.
#ifndef KXCERT_SRC_TRUST_REVOCATION_STATUSPOLICY_H_
#define KXCERT_SRC_TRUST_REVOCATION_STATUSPOLICY_H_

#include <vector>

#include "kxcert/trust/revocation.h"

class sxRootCA;
class ValidateParams;

struct StatusPolicy {
  std::vector<sxStatusSource> sources;  ///< kCrl and kOcsp, in the order of asking; empty: revocation is switched off
  /// False: the first one that says something decides. True: each has to say that it is good.
  bool all = false;

  bool Has(sxStatusSource source) const;
};

StatusPolicy PolicyOf(const sxRootCA &root, const ValidateParams &params);

#endif
