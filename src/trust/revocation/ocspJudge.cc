// What an OCSP response says of a certificate. What is about the certificate is picked first, then its signer is
// looked for, and only then is anything else believed that it says: whoever reads "out of date" reads what was signed.
#include <algorithm>
#include <tuple>

#include "kxcert/asn1/sxAsnInt.h"
#include "kxcert/asn1/sxAsnOid.h"
#include "kxcert/cert/serialNumber.h"
#include "kxcert/keys/algorithms.h"
#include "trust/revocation/ocspCertId.h"
#include "trust/revocation/ocspOids.h"
#include "trust/revocation/ocspSigner.h"

namespace {

// Times that are set may be anything.
int64_t After(int64_t sec, int graceSec) {
  int64_t sum = 0;
  return __builtin_add_overflow(sec, graceSec, &sum) ? INT64_MAX : sum;
}

sxOcspResult ResultOfStatus(int status) {
  switch (status) {
    case 1: return sxOcsp_malformedRequest;
    case 2: return sxOcsp_internalError;
    case 3: return sxOcsp_tryLater;
    case 5: return sxOcsp_sigRequired;
    case 6: return sxOcsp_unauthorized;
    default: return sxOcsp_notDecoded;
  }
}

bool IsAbout(const sxOcspSingle &single, const sxCert &cert, sxOcspCertId &id) {
  sxAsnOid algorithm;
  algorithm.Set(single.hashAlgorithm.data(), sxLen(single.hashAlgorithm));
  const sxOcspCertId::Hashes &hashes = id.Of(MdType_By_MdOID(algorithm));
  if (hashes.name.len == 0 || hashes.key.len == 0 || !sxEqual(hashes.name.View(), single.issuerNameHash) ||
      !sxEqual(hashes.key.View(), single.issuerKeyHash)) {
    return false;
  }
  const std::unique_ptr<sxAsnInt> serial(AsnIntFromBuf(single.serial.data(), sxLen(single.serial)));
  return serial != nullptr && sxCert_IsSameSerialNumber(serial.get(), cert.SerialNum()) == 1;
}

int Gravity(sxOcspStatus status) {
  return status == sxOcspStatus::kRevoked ? 2 : status == sxOcspStatus::kUnknown ? 1 : 0;
}

// What counts of all that is said of the certificate; null: nothing is.
const sxOcspSingle *Pick(const sxOcspResponse &response, const sxOcspQuestion &question, sxOcspCertId &id) {
  const int64_t latest = After(question.timeSec, question.policy.startGraceSec);
  const auto rank = [latest](const sxOcspSingle &each) {
    return std::tuple(each.thisUpdateSec <= latest, each.thisUpdateSec, Gravity(each.status));
  };
  const sxOcspSingle *best = nullptr;
  for (const sxOcspSingle &each : response.singles) {
    if (IsAbout(each, *question.cert, id) && (best == nullptr || rank(*best) < rank(each))) best = &each;
  }
  return best;
}

bool IsNonce(const sxOcspExtension &ext) { return sxEqual(ext.oid, kOidOcspNonce); }

// RFC 6960, 4.1.2: what is critical and not known must not be passed over. Of what may stand beside the status of one
// certificate nothing is known here.
bool HasUnknownCritical(const sxOcspResponse &response, const sxOcspSingle &single) {
  return std::ranges::any_of(single.extensions, &sxOcspExtension::critical) ||
         std::ranges::any_of(response.extensions, [](const sxOcspExtension &ext) {
           return ext.critical && !IsNonce(ext) && !sxEqual(ext.oid, kOidOcspExtendedRevoke);
         });
}

// RFC 9654, 2.1: the value of the extension is an OCTET STRING in itself, and what was sent comes back.
bool IsNonceOf(const sxOcspExtension &ext, sxOctetView sent) {
  sxDerReader value(ext.value);
  sxOctetView nonce;
  return value.Take(kDerOctetString, &nonce) && value.AtEnd() && sxEqual(nonce, sent);
}

sxOcspResult JudgeNonce(const sxOcspResponse &response, const sxOcspQuestion &question, bool *had) {
  if (question.policy.nonce == sxOcspNonce::kOff) return sxOcsp_good;
  if (!question.nonce.empty()) {
    for (const sxOcspExtension &ext : response.extensions) {
      if (!IsNonce(ext)) continue;
      if (!IsNonceOf(ext, question.nonce)) return sxOcsp_otherNonce;
      *had = true;
    }
  }
  return *had || question.policy.nonce == sxOcspNonce::kSend ? sxOcsp_good : sxOcsp_noNonce;
}

sxOcspResult ResultOf(sxOcspStatus status) {
  switch (status) {
    case sxOcspStatus::kGood: return sxOcsp_good;
    case sxOcspStatus::kRevoked: return sxOcsp_revoked;
    default: return sxOcsp_unknown;
  }
}

sxOcspResult JudgeBasic(const sxOcspResponse &response, const sxOcspQuestion &question, sxOcspAnswer *answer) {
  sxOcspCertId id;
  if (!id.Set(*question.cert, *question.issuer)) return sxOcsp_badQuestion;
  const sxOcspSingle *const single = Pick(response, question, id);
  if (single == nullptr) return sxOcsp_otherCert;
  sxOcspResult result = sxOcsp_FindSigner(response, question, answer);
  if (result != sxOcsp_good) return result;
  if (HasUnknownCritical(response, *single)) return sxOcsp_criticalExtension;
  result = JudgeNonce(response, question, &answer->hadNonce);
  if (result != sxOcsp_good) return result;
  answer->revokedSec = single->revokedSec;
  answer->reason = single->reason;
  answer->producedAtSec = response.producedAtSec;
  answer->thisUpdateSec = single->thisUpdateSec;
  answer->nextUpdateSec = single->nextUpdateSec;
  answer->result = ResultOf(single->status);
  return sxOcsp_JudgeTime(*answer, question.policy, question.timeSec);
}

}  // namespace

sxOcspResult sxOcsp_JudgeTime(sxOcspAnswer &answer, const sxOcspPolicy &policy, int64_t timeSec) {
  if (answer.result < sxOcsp_good) return answer.result;
  const bool hasNext = answer.nextUpdateSec != kOcspNoTime;
  answer.holdsUntilSec = hasNext ? answer.nextUpdateSec : After(answer.thisUpdateSec, policy.maxAgeSec);
  const bool isEnded = timeSec > After(answer.holdsUntilSec, hasNext ? policy.endGraceSec : 0);
  const sxCert *const signer = answer.signerCert.Get(0);
  if (signer != nullptr) answer.holdsUntilSec = std::min<int64_t>(answer.holdsUntilSec, signer->notAfter());
  const int64_t latestSec = After(timeSec, policy.startGraceSec);
  if (answer.thisUpdateSec > latestSec || answer.producedAtSec > latestSec) return sxOcsp_notYetValid;
  if (isEnded || (hasNext && answer.nextUpdateSec < answer.thisUpdateSec)) {
    return hasNext ? sxOcsp_outOfDate : sxOcsp_tooOld;
  }
  return signer != nullptr && timeSec > signer->notAfter() ? sxOcsp_outOfDate : answer.result;
}

sxOcspAnswer sxOcsp_Judge(const unsigned char *octets, size_t len, const sxOcspQuestion &question) {
  sxOcspAnswer answer;
  if (question.cert == nullptr || question.issuer == nullptr) return answer;
  sxOcspResponse response;
  if (const char *const fault = sxOcspResponse_Read(octets, len, &response); fault != nullptr) {
    answer.result = sxOcsp_notDecoded;
    answer.why = fault;
    return answer;
  }
  if (response.status != 0) {
    answer.result = ResultOfStatus(response.status);
    if (answer.result == sxOcsp_notDecoded) answer.why = "its status is none of those that there are";
  } else {
    answer.result = response.basic ? JudgeBasic(response, question, &answer) : sxOcsp_otherType;
  }
  return answer;
}
