#include "trust/revocation/chainStatus.h"

#include "kxcert/asn1/oids.h"
#include "kxcert/asn1/sxAsnOid.h"
#include "trust/revocation/statusPolicy.h"
#include "trust/statusCodes.h"

namespace {

// A source that the certificate names and the settings leave out.
bool IsSwitchedOff(const StatusPolicy &policy, const sxCert &cert) {
  const bool namesCrl = !sxRawExtension(cert, sxASN_id_ce_cRLDistributionPoints).empty();
  return (namesCrl && !policy.Has(sxStatusSource::kCrl)) ||
         (sxOcsp_NamesResponder(cert) && !policy.Has(sxStatusSource::kOcsp));
}

class LevelJudge {
 public:
  LevelJudge(const RevocationPath &path, const StatusPolicy &policy, CrlJudge &crls, OcspStatus &ocsp)
      : m_path(path), m_policy(policy), m_crls(crls), m_ocsp(ocsp) {}

  CertStatus Judge(int level) {
    CertStatus status = m_policy.all ? AllOf(level) : FirstOf(level);
    const bool isUnpublished =
        status.state == CertStatus::kUnknown && status.code == sxValidation_unknownStatus && !status.isSaid;
    if (isUnpublished && IsSwitchedOff(m_policy, m_path.Cert(level))) status.code = sxValidation_crlNotRetrieved;
    return status;
  }

 private:
  CertStatus Ask(sxStatusSource source, int level) {
    return source == sxStatusSource::kOcsp ? m_ocsp.Judge(level) : m_crls.Judge(m_path.Cert(level), level);
  }

  CertStatus FirstOf(int level) {
    CertStatus worst;
    for (const sxStatusSource source : m_policy.sources) {
      const CertStatus status = Ask(source, level);
      if (status.state != CertStatus::kUnknown) return status;
      worst.code = sxWorseStatus(worst.code, status.code);
      worst.isSaid = worst.isSaid || status.isSaid;
    }
    return worst;
  }

  CertStatus AllOf(int level) {
    CertStatus all = {CertStatus::kGood, sxValidation_OK};
    bool isPending = false;
    for (const sxStatusSource source : m_policy.sources) {
      const CertStatus status = Ask(source, level);
      if (status.state == CertStatus::kRevoked) return status;
      isPending = isPending || status.state == CertStatus::kPending;
      if (status.state != CertStatus::kUnknown) continue;
      const bool isFirst = all.state != CertStatus::kUnknown;
      all = {CertStatus::kUnknown, isFirst ? status.code : sxWorseStatus(all.code, status.code),
             all.isSaid || status.isSaid};
    }
    if (isPending) all.state = CertStatus::kPending;
    return all;
  }

  const RevocationPath &m_path;
  const StatusPolicy &m_policy;
  CrlJudge &m_crls;
  OcspStatus &m_ocsp;
};

}  // namespace

ChainStatus JudgeChain(const RevocationPath &path, const CrlMemory &memory, const StatusKnown &known,
                       const sxRevocationSettings &settings, bool wantsEvidence, StatusNeeds *needs) {
  ChainStatus result;
  sxRevocationVerdict &verdict = result.verdict;
  verdict.code = sxValidation_OK;
  const StatusPolicy policy = PolicyOf(path.Root(), path.Params());
  if (policy.sources.empty()) {
    if (wantsEvidence) verdict.evidence.emplace_back().outcome = "revocation is switched off for this root";
    return result;
  }
  std::vector<sxRevocationEvidence> *const evidence = wantsEvidence ? &verdict.evidence : nullptr;
  CrlJudge crls(path, memory, known.crls, settings, &needs->crls, evidence);
  OcspStatus ocsp(path, known.ocsp, crls, settings.ocsp, &needs->ocspLevels, evidence);
  LevelJudge judge(path, policy, crls, ocsp);
  // The first that is revoked decides, then the first that is not known.
  for (int level = 0; level <= path.Top(); ++level) {
    const CertStatus status = judge.Judge(level);
    if (status.state == CertStatus::kPending) {
      result.isPending = true;
    } else if (status.state == CertStatus::kRevoked) {
      verdict.code = sxValidation_revoked;
      verdict.level = level;
      return result;  // those below that are pending could only be revoked as well, at a lower level
    } else if (status.state == CertStatus::kUnknown && verdict.code == sxValidation_OK) {
      verdict.code = status.code;
      verdict.level = level;
    }
  }
  return result;
}
