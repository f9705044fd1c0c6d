#include "trust/revocation/ocspStatus.h"

#include <algorithm>
#include <utility>

#include "kxcert/asn1/oids.h"
#include "kxcert/asn1/sxAsnOid.h"
#include "trust/nameText.h"
#include "trust/statusCodes.h"

namespace {

// RFC 6960, 2.3, and what kept an answer from coming or from being believed.
sxValidationRC CodeOf(sxOcspResult result) {
  switch (result) {
    case sxOcsp_good: return sxValidation_OK;
    case sxOcsp_revoked: return sxValidation_revoked;
    case sxOcsp_unknown:
    case sxOcsp_unauthorized:
    case sxOcsp_noResponder: return sxValidation_unknownStatus;
    case sxOcsp_notFetched:
    case sxOcsp_timedOut:
    case sxOcsp_tooMany:
    case sxOcsp_tryLater:
    case sxOcsp_internalError:
    case sxOcsp_malformedRequest:
    case sxOcsp_sigRequired: return sxValidation_crlFetchFailed;
    default: return sxValidation_noValidCRL;
  }
}

constexpr int kMaxRefused = 8;  // signatures that a peer's responses are tried with in vain

// What is at hand of one certificate.
struct Known {
  sxOcspAnswer answer;
  sxStatusOrigin origin;
};

// Whose say counts before the other's: the newest that is good or revoked; what is unknown comes last.
bool IsBetter(const Known &one, const Known &other) {
  const sxOcspAnswer &a = one.answer, &b = other.answer;
  const bool isUnknown = a.result == sxOcsp_unknown;
  if (isUnknown != (b.result == sxOcsp_unknown)) return !isUnknown;
  if (a.thisUpdateSec != b.thisUpdateSec) return a.thisUpdateSec > b.thisUpdateSec;
  return a.result == sxOcsp_revoked && b.result != sxOcsp_revoked;
}

}  // namespace

bool sxOcsp_NamesResponder(const sxCert &cert) {
  const sxAuthorityInfoAccess *const access = cert.AuthInfoAccess();
  for (int i = 0; access != nullptr && i < access->Count(); ++i) {
    if (access->Method(i)->OidEquiv(sxASN_id_ad_ocsp)) return true;
  }
  return false;
}

CertStatus OcspStatus::Judge(int level) {
  sxRevocationEvidence said;
  said.level = level;
  said.source = sxStatusSource::kOcsp;
  if (m_path.IssuerOf(level) == nullptr) {
    said.outcome = "its issuer is not known";
    return Tell(std::move(said)), CertStatus{};
  }
  const auto asked = m_outcomes.find(level);
  if (asked == m_outcomes.end()) return AtHand(level, std::move(said));
  if (asked->second == nullptr) return {CertStatus::kPending, sxValidation_OK};
  const sxOcspOutcome &outcome = *asked->second;
  said.origin = outcome.fromMemory ? sxStatusOrigin::kMemory : sxStatusOrigin::kNetwork;
  for (size_t i = 0; i < outcome.asked.size(); ++i) {
    said.where = outcome.asked[i].url;
    said.costMs = outcome.asked[i].costMs;
    if (i + 1 == outcome.asked.size() && outcome.answer.result >= 0) break;
    sxRevocationEvidence one = said;
    one.outcome = sxOcspResult_GetString(outcome.asked[i].result);
    if (!outcome.asked[i].why.empty()) one.outcome += ": " + outcome.asked[i].why;
    Tell(std::move(one));
  }
  if (outcome.answer.result >= 0) return Believe(level, outcome.answer, std::move(said));
  if (outcome.asked.empty()) {
    said.outcome = sxOcspResult_GetString(outcome.answer.result);
    Tell(std::move(said));
  }
  return {CertStatus::kUnknown, CodeOf(outcome.answer.result), outcome.answer.result == sxOcsp_unauthorized};
}

// What the caller brought, what is remembered; else somebody has to be asked.
CertStatus OcspStatus::AtHand(int level, sxRevocationEvidence said) {
  sxOcspQuestion question;
  question.cert = const_cast<sxCert *>(&m_path.Cert(level));  // both are only read
  question.issuer = const_cast<sxCert *>(m_path.IssuerOf(level));
  question.timeSec = m_path.NowSec();
  question.policy = m_policy;
  const std::vector<sxOcspResponder> responders = sxOcsp_RespondersOf(m_path.Cert(level), &m_path.Root());
  std::vector<sxCert *> signers = {nullptr};  // the issuer's own, and those that are configured
  for (const sxOcspResponder &responder : responders) {
    if (responder.cert.Get(0) != nullptr) signers.push_back(responder.cert.Get(0));
  }
  const bool isNamed = !responders.empty() || sxOcsp_NamesResponder(m_path.Cert(level));
  sxValidationRC code = isNamed ? sxValidation_crlNotRetrieved : sxValidation_unknownStatus;
  std::vector<Known> known;
  int numRefused = 0;
  for (size_t i = 0; m_path.Responses() != nullptr && i < m_path.Responses()->size() && i < kMaxOcspResponses; ++i) {
    const std::vector<unsigned char> &octets = (*m_path.Responses())[i];
    sxOcspAnswer answer;
    for (sxCert *const signer : signers) {
      question.responder = signer;
      answer = sxOcspMemory_Take(octets.data(), octets.size(), question);
      const bool isDecided = answer.result >= 0 || answer.result == sxOcsp_otherCert;
      if (isDecided || ++numRefused >= kMaxRefused) break;
    }
    if (answer.result >= 0) known.push_back({answer, sxStatusOrigin::kCaller});
    if (answer.result >= 0 || answer.result == sxOcsp_otherCert) continue;
    code = sxWorseStatus(code, CodeOf(answer.result));
    sxRevocationEvidence one = said;
    one.origin = sxStatusOrigin::kCaller;
    one.outcome = sxOcspResult_GetString(answer.result);
    Tell(std::move(one));
    if (numRefused >= kMaxRefused) break;
  }
  for (sxCert *const signer : signers) {
    question.responder = signer;
    sxOcspAnswer answer;
    if (sxOcspMemory_Find(question, &answer)) known.push_back({answer, sxStatusOrigin::kMemory});
  }
  // The first that is believed, whoever brought it.
  std::ranges::stable_sort(known, IsBetter);
  CertStatus first;
  for (const Known &each : known) {
    said.origin = each.origin;
    const CertStatus status = Believe(level, each.answer, said);
    if (status.state != CertStatus::kUnknown) return status;
    if (&each == known.data()) first = status;
  }
  if (!known.empty()) return first;
  if (!responders.empty() && m_path.MayFetch()) {
    m_needs->push_back(level);
    return {CertStatus::kPending, sxValidation_OK};
  }
  said.origin = sxStatusOrigin::kNone;
  said.outcome = !isNamed             ? "no responder is named"
                 : responders.empty() ? "no responder is named that may be asked"
                                      : "not at hand, and not to be fetched";
  Tell(std::move(said));
  return {CertStatus::kUnknown, code};
}

// An answer by a certificate that might be revoked itself is believed when its issuer's CRL says that it is not, or
// when the issuer publishes nothing about it, which leaves it to us (RFC 6960, 4.2.2.2.1).
CertStatus OcspStatus::Believe(int level, const sxOcspAnswer &answer, sxRevocationEvidence said) {
  said.thisUpdateSec = answer.thisUpdateSec;
  said.nextUpdateSec = answer.nextUpdateSec;
  const sxCert *const delegate = answer.signerCert.Get(0);
  said.signer = delegate != nullptr ? sxNameText(delegate->Subject(), "") : sxOcspSigner_GetString(answer.signer);
  if (answer.signerMustBeChecked && delegate != nullptr) {
    const CertStatus own = m_crls.Judge(*delegate, level);
    if (own.state == CertStatus::kPending) return own;
    const bool isFine = own.state == CertStatus::kGood || own.code == sxValidation_unknownStatus;
    if (!isFine) {
      said.outcome = own.state == CertStatus::kRevoked ? "the responder's certificate was revoked"
                                                       : "whether the responder's certificate was revoked is not known";
      Tell(std::move(said));
      return {CertStatus::kUnknown, own.state == CertStatus::kRevoked ? sxValidation_noValidCRL : own.code};
    }
  }
  said.says = answer.result != sxOcsp_unknown;
  said.outcome = sxOcspResult_GetString(answer.result);
  if (answer.result == sxOcsp_revoked) {
    said.revokedSec = answer.revokedSec;
    if (answer.reason >= 0) said.reason = sxOcspReason_GetString(answer.reason);
  }
  Tell(std::move(said));
  switch (answer.result) {
    case sxOcsp_good: return {CertStatus::kGood, sxValidation_OK};
    case sxOcsp_revoked: return {CertStatus::kRevoked, sxValidation_revoked};
    default: return {CertStatus::kUnknown, CodeOf(answer.result), true};
  }
}

void OcspStatus::Tell(sxRevocationEvidence &&said) {
  if (m_evidence != nullptr) m_evidence->push_back(std::move(said));
}
