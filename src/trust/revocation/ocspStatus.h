/// @file
/// OcspStatus: what OCSP says of a certificate of a path, from memory and from what was asked.
#ifndef KXCERT_SRC_TRUST_REVOCATION_OCSPSTATUS_H_
#define KXCERT_SRC_TRUST_REVOCATION_OCSPSTATUS_H_

#include <map>
#include <memory>
#include <vector>

#include "kxcert/trust/ocsp.h"
#include "trust/revocation/crlJudge.h"

/// What became of asking, by level; null while it is under way.
using OcspOutcomes = std::map<int, std::shared_ptr<const sxOcspOutcome>>;

/// Whether a certificate says that there is a responder, of whatever scheme.
bool sxOcsp_NamesResponder(const sxCert &cert);

class OcspStatus {
 public:
  /// All lent. @param crls  judges the certificates of responders, which OCSP itself cannot
  OcspStatus(const RevocationPath &path, const OcspOutcomes &outcomes, CrlJudge &crls, const sxOcspPolicy &policy,
             std::vector<int> *needs, std::vector<sxRevocationEvidence> *evidence)
      : m_path(path), m_outcomes(outcomes), m_crls(crls), m_policy(policy), m_needs(needs), m_evidence(evidence) {}

  CertStatus Judge(int level);

 private:
  CertStatus AtHand(int level, sxRevocationEvidence said);
  CertStatus Believe(int level, const sxOcspAnswer &answer, sxRevocationEvidence said);
  void Tell(sxRevocationEvidence &&said);

  const RevocationPath &m_path;
  const OcspOutcomes &m_outcomes;
  CrlJudge &m_crls;
  const sxOcspPolicy &m_policy;
  std::vector<int> *const m_needs;
  std::vector<sxRevocationEvidence> *const m_evidence;
};

#endif
