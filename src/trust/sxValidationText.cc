// Result codes as text, and what a validation that failed found.
#include <algorithm>
#include <cstring>

#include "cert/serialText.h"
#include "kxcert/cert/sxCRL.h"
#include "kxcert/cert/sxCerts.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/foundation/textStream.h"
#include "kxcert/trust/sxRootCA.h"
#include "kxcert/trust/sxValidation.h"
#include "trust/rules.h"

namespace {

struct TextRow {
  sxValidationRC rc;
  const char *name;  // the enumerator's
  const char *text;
};
constexpr TextRow kTexts[] = {
    {sxValidation_OK, "OK", "validate certificate OK."},
    {sxValidation_async, "async", "validate certificate async."},
    {sxValidation_badInput, "badInput", "validate bad input."},
    {sxValidation_notYetValid, "notYetValid", "The certificate is not valid yet."},
    {sxValidation_expired, "expired", "Certificate expired."},
    {sxValidation_unhandledCritExt, "unhandledCritExt", "Unhandled critical extension."},
    {sxValidation_blackListed, "blackListed", "Certificate found in Certificate Black List."},
    {sxValidation_notTrusted, "notTrusted", "Certificate Chain is not signed by a Trusted CA."},
    {sxValidation_issuerIsNoCA, "issuerIsNoCA", "Certificate issuer is not a CA."},
    {sxValidation_pathLenExceeded, "pathLenExceeded",
     "The certificate's path length constraint has been exceeded. (err -995)."},
    {sxValidation_inconsistentChain, "inconsistentChain", "Certificate chain is inconsistent."},
    {sxValidation_badSignature, "badSignature", "Bad certificate signature."},
    {sxValidation_wrongKeyUsage, "wrongKeyUsage", "Wrong certificate key usage."},
    {sxValidation_revoked, "revoked", "Certificate revoked."},
    {sxValidation_noValidCRL, "noValidCRL", "No Valid CRL."},
    {sxValidation_crlNotRetrieved, "crlNotRetrieved", "Could not retrieve CRL."},
    {sxValidation_crlNotYetValid, "crlNotYetValid",
     "CRL is not yet valid. Make sure that the time, daylight saving time and date on your machine are "
     "well configured."},
    {sxValidation_crlExpired, "crlExpired",
     "CRL has expired. Make sure that:\n- The time, daylight saving time and date on your machine are well "
     "configured.\n- The CA has issued and published a valid CRL."},
    {sxValidation_crlFetchFailed, "crlFetchFailed",
     "Failed to fetch CRL. Make sure the security gateway has an outgoing http access, and that the proxy "
     "and DNS servers are well configured."},
    {sxValidation_crlTooBig, "crlTooBig", "CRL is too big."},
    {sxValidation_entrustBlocking, "entrustBlocking", "Entrust blocking error."},
    {sxValidation_nameConstraints, "nameConstraints", "Certificate name constraints failed."},
    {sxValidation_unknownStatus, "unknownStatus", "validation status unknown."},
};

// The form without control characters: a line feed in a name would forge a fact.
const char *TextOf(const sxDN *dn) {
  const char *text = dn != nullptr ? dn->GetStr_ascii() : nullptr;
  return text != nullptr ? text : "no name";
}

// The certificate at a level, or null.
const sxCert *At(const sxCerts &chain, int level) {
  const sxCert *cert = chain.Get(level);
  return cert != nullptr && cert->OK() ? cert : nullptr;
}

// What decided, of the certificate at that level, which is there.
std::vector<sxFact> FactsOf(const sxCerts &chain, int rc, int level) {
  std::vector<sxFact> facts;
  const Rule *rule = RuleOf(rc);
  const int below = rule != nullptr ? level - rule->levelsUp : level;
  const RulePlace place{At(chain, below), At(chain, below + 1), below, nullptr, nullptr, 0};
  if (rule != nullptr) rule->facts(place, facts);
  return facts;
}

void PutLevel(SxStream &out, const sxCerts &chain, int level, const std::vector<sxFact> &facts) {
  out.Printf("\nlevel: %d", level);
  const sxCert *cert = At(chain, level);
  if (cert == nullptr) return;
  out.Printf("\nsubject: %s", TextOf(cert->Subject()));
  out.Printf("\nserial number: %s", sxSerialText(*cert->SerialNum()).c_str());
  for (const sxFact &fact : facts) out.Printf("\n%s: %s", fact.label, fact.value.c_str());
}

}  // namespace

const char *sxValidationRC_GetString(int rc) {
  for (const TextRow &row : kTexts) {
    if (row.rc == rc) return row.text;
  }
  return "validation general error";
}

const char *sxValidationName(int rc) {
  for (const TextRow &row : kTexts) {
    if (row.rc == rc) return row.name;
  }
  return "unknown";
}

bool isCertificateRevoked(int rc) { return rc == sxValidation_revoked; }

int sxCert_ValErrToStr(const sxCerts *chain, int rc, int level, char *buf, int len) {
  return sxCert_ValErrToStr_ex(chain, nullptr, rc, level, buf, len);
}

int sxCert_ValErrToStr_ex(const sxCerts *chain, const sxCRL *crl, int rc, int level, char *buf, int len,
                          const sxRootCA *root) {
  if (buf == nullptr || len <= 0) return -1;
  SxStream out;
  out.Puts(sxValidationRC_GetString(rc));
  if (chain != nullptr && level >= 0) PutLevel(out, *chain, level, FactsOf(*chain, rc, level));
  if (root != nullptr) out.Printf("\nroot CA: %s", root->Name() != nullptr ? root->Name() : "no name");
  if (crl != nullptr) out.Printf("\nCRL entries: %d", crl->GetSize());
  const size_t textLen = std::min(static_cast<size_t>(out.Length()), static_cast<size_t>(len) - 1);
  std::memcpy(buf, out.GetBuf(), textLen);
  buf[textLen] = '\0';
  return 0;
}

std::string sxStrictText(const sxCerts &chain, int rc, int level, const char *rule, std::vector<sxFact> facts) {
  SxStream out;
  out.Puts(sxValidationRC_GetString(rc));
  facts.insert(facts.begin(), sxFact{"rule", rule});
  PutLevel(out, chain, level, facts);
  return std::string(out.GetBuf(), static_cast<size_t>(out.Length()));
}
