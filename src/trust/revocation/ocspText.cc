// The words of OCSP: results, reasons, signers.
#include <algorithm>
#include <iterator>

#include "kxcert/cert/sxCRL.h"
#include "kxcert/trust/ocsp.h"

namespace {

struct ResultRow {
  sxOcspResult result;
  const char *text;
};

constexpr ResultRow kResults[] = {
    {sxOcsp_good, "good"},
    {sxOcsp_revoked, "revoked"},
    {sxOcsp_unknown, "unknown to the responder"},
    {sxOcsp_malformedRequest, "the responder calls the request malformed"},
    {sxOcsp_internalError, "the responder has an internal error"},
    {sxOcsp_tryLater, "the responder wants to be asked later"},
    {sxOcsp_sigRequired, "the responder wants a signed request"},
    {sxOcsp_unauthorized, "the responder does not answer this client, or not for this certificate"},
    {sxOcsp_notDecoded, "not an OCSP response"},
    {sxOcsp_otherType, "an OCSP response of another type than basic"},
    {sxOcsp_otherCert, "the response is not about this certificate"},
    {sxOcsp_notAuthorized, "the response is signed by none who may speak for the issuer"},
    {sxOcsp_badSignature, "the signature of the response does not verify"},
    {sxOcsp_criticalExtension, "a critical extension of the response is not known"},
    {sxOcsp_noNonce, "the response does not repeat the nonce"},
    {sxOcsp_otherNonce, "the response has another nonce"},
    {sxOcsp_notYetValid, "the response is not valid yet"},
    {sxOcsp_outOfDate, "the response is out of date"},
    {sxOcsp_tooOld, "the response says nothing of its end and is too old"},
    {sxOcsp_badQuestion, "no certificate to ask about, or another one's issuer"},
    {sxOcsp_noResponder, "no responder is named"},
    {sxOcsp_notFetched, "the responder could not be asked"},
    {sxOcsp_timedOut, "timed out"},
    {sxOcsp_tooMany, "too many questions wait for an answer"},
};

constexpr const char *kSigners[] = {"nobody", "the issuer", "a certificate of the issuer's for OCSP signing",
                                    "the certificate that is configured"};

}  // namespace

const char *sxOcspResult_GetString(int result) {
  const auto *const row = std::ranges::find(kResults, result, [](const ResultRow &each) -> int { return each.result; });
  return row != std::end(kResults) ? row->text : "OCSP result that is not known";
}

const char *sxOcspReason_GetString(int reason) {
  if (reason == -1) return "not said";
  const char *const text = sxCrlReasonText(reason);
  return text != nullptr ? text : "not known";
}

const char *sxOcspSigner_GetString(sxOcspSigner signer) { return kSigners[static_cast<size_t>(signer)]; }
