/// @file
/// ChainStatus: the statuses of all certificates of a path, and what they come to.
#ifndef KXCERT_SRC_TRUST_REVOCATION_CHAINSTATUS_H_
#define KXCERT_SRC_TRUST_REVOCATION_CHAINSTATUS_H_

#include <vector>

#include "trust/revocation/crlJudge.h"
#include "trust/revocation/ocspStatus.h"

/// What is needed and not at hand.
struct StatusNeeds {
  std::vector<CrlNeed> crls;
  std::vector<int> ocspLevels;
  bool Any() const { return !crls.empty() || !ocspLevels.empty(); }
};

/// What was obtained so far, or is on its way.
struct StatusKnown {
  CrlAnswers crls;
  OcspOutcomes ocsp;
};

struct ChainStatus {
  bool isPending = false;  ///< what is needed, or on its way, may change it
  sxRevocationVerdict verdict;
};

/// Judges every certificate from what is known. The same knowledge gives the same verdict.
ChainStatus JudgeChain(const RevocationPath &path, const CrlMemory &memory, const StatusKnown &known,
                       const sxRevocationSettings &settings, bool wantsEvidence, StatusNeeds *needs);

#endif
