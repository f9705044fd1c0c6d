#include "kxcert/cert/issueCert.h"

#include <iterator>

#include "certToSign.h"
#include "issueResult.h"
#include "signingTask.h"

namespace {

// By sxIssueStatus.
constexpr const char *kTexts[] = {
    "made",
    "bad input",
    "the key does not sign with this digest",
    "no such digest for key identifiers",
    "no public key that can be used",
    "the template's key is not the one that signs",
    "the key is not that of the issuer's certificate",
    "the issuer is no CA that may sign certificates",
    "the issuer's path length allows no CA below it",
    "the issuer has no name, one that cannot be compared, or not the one that was asked for",
    "the subject is no name of a form that certificates have",
    "no subject, and no alternative name instead of it, or a CA",
    "a time is missing, unreadable, or before 1950",
    "notAfter is before notBefore",
    "the serial number is not positive, or longer than 20 octets",
    "the version is not 3",
    "unique identifiers",
    "another signature algorithm was asked for",
    "an extension is not DER, or not of its type",
    "an extension stands twice",
    "an extension is empty",
    "a path length without a CA",
    "the key usage is empty, or does not fit a CA",
    "an extension that only CAs have",
    "an attribute is not DER, or has no value",
    "not DER",
    "too long",
    "the key did not sign",
    "what was made is not what was asked",
    "the key tasks did not take it",
    "an extension of the issuer's certificate cannot be read, or stands twice",
};
static_assert(std::size(kTexts) == sxIssue_issuer_extension + 1);

}  // namespace

const char *sxIssueStatusText(int status) {
  return status < 0 || status > sxIssue_issuer_extension ? "unknown" : kTexts[status];
}

sxIssueStatus sxIssueCert(const sxCertTemplate &wanted, const sxCert *issuer, sxPubKey *key,
                          const sxSignOptions &options, sxCert **made) {
  constexpr const char *kFunc = "sxIssueCert";
  if (made == nullptr) return sxIssueRefuse(kFunc, sxIssue_bad_input);
  *made = nullptr;
  std::shared_ptr<sxCertToSign> toSign;
  if (const sxIssueStatus status = sxCertToSign::New(wanted, issuer, key, options, &toSign); status != sxIssue_ok) {
    return sxIssueRefuse(kFunc, status);
  }
  *made = toSign->Sign();
  return toSign->Status();
}

sxIssueStatus sxIssueCertA(const sxCertTemplate &wanted, const sxCert *issuer, sxPubKey *key,
                           const sxSignOptions &options, sxCertCallback callback, void *opaque) {
  constexpr const char *kFunc = "sxIssueCertA";
  if (callback == nullptr) return sxIssueRefuse(kFunc, sxIssue_bad_input);
  std::shared_ptr<sxCertToSign> toSign;
  if (const sxIssueStatus status = sxCertToSign::New(wanted, issuer, key, options, &toSign); status != sxIssue_ok) {
    return sxIssueRefuse(kFunc, status);
  }
  return sxQueueSigning(std::move(toSign), callback, opaque) == 0 ? sxIssue_ok : sxIssue_not_queued;
}
