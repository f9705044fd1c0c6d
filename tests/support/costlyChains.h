/// @file
/// Chains whose constraints and policies are made to cost much under strict rules.
#ifndef KXCERT_TESTS_SUPPORT_COSTLYCHAINS_H_
#define KXCERT_TESTS_SUPPORT_COSTLYCHAINS_H_

#include <deque>
#include <memory>

#include "kxcert/cert/sxCerts.h"
#include "kxcert/trust/chainJudge.h"
#include "support/derOctets.h"
#include "support/testRoots.h"

/// The root first, the end entity last; all sign with the root's key.
class CostlyChain {
 public:
  CostlyChain();

  /// Appends one that the last one issued.
  void Add(const char *subject, bool isCA, const std::vector<std::pair<int, Octets>> &extensions);  ///< by libcrypto's NID
  /// The verdict: "OK", or the name of the rule that decided.
  const char *Judge(const char *rules, sxChainVerdict *verdict);

 private:
  sxSWKeyHolder m_holder;
  std::deque<TestCert> m_certs;
};

/// One name of each kind that is constrained in turn, as general names have it and as the base of a subtree.
Octets CostlyName(int number);
Octets CostlyBase(int number);
Octets CostlyMany(int count, int step, Octets (*make)(int));

/// A CA's excluded subtrees beside an end entity's names, none of them inside.
std::unique_ptr<CostlyChain> CostlyConstraints(int numBases, int numNames);
/// Every policy mapped to every one by each of the CAs: a tree of them would have numPolicies^numLevels leaves.
std::unique_ptr<CostlyChain> CostlyPolicies(int numPolicies, int numLevels);

#endif
