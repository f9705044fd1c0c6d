#include "trust/rules.h"

#include <atomic>

#include "cert/sxExtension_imp.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/asn1/sxAsnOid.h"
#include "kxcert/cert/certTime.h"
#include "kxcert/cert/sxCert.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/cert/sxExtensions.h"
#include "kxcert/cert/sxGeneralName.h"
#include "kxcert/foundation/sxString.h"
#include "kxcert/platform/digest.h"
#include "kxcert/platform/log.h"
#include "kxcert/trust/sxRootCA.h"
#include "kxcert/trust/sxcert_black_list.h"
#include "trust/nameText.h"
#include "trust/processedExtensions.h"
#include "trust/strict/strictCert.h"

namespace {

constexpr char kTopic[] = "VALIDATE";
constexpr char kValidatePath[] = "sxValidatePath";
constexpr char kNoName[] = "no name";
constexpr int kUnreadableTime = -1;

std::atomic<unsigned> g_gracePeriodSec{kDefaultGraceSec};

constexpr RuleOutcome kPasses{sxFindingResult::kPassed};
constexpr RuleOutcome kFails{sxFindingResult::kFailed};
constexpr RuleOutcome NotChecked(const char *reason) { return {sxFindingResult::kNotChecked, reason}; }

using Facts = std::vector<sxFact>;

void PutDate(Facts &out, const char *label, int64_t sec) { out.push_back({label, sxTimeText(sec).getstr()}); }

RuleOutcome NotBlackListed(const RulePlace &p) {
  const sxcert_black_list *list = p.params->Get_BlackList();
  if (list == nullptr) return NotChecked("no black list is set");
  if (!list->IsExist(*p.cert)) return kPasses;
  if (p.traces) tderrorFunc(kTopic, 3, 0, "%s: certificate found in black list.", "sxValidateCert");
  return kFails;
}

RuleOutcome ExtensionsKnown(const RulePlace &p) {
  if (p.cert->UnhandledCritExt() == nullptr) return kPasses;
  const unsigned processed = p.params != nullptr ? p.params->Processed() : 0;
  return processed != 0 && !sxFirstUnknown(*p.cert, processed).has_value() ? kPasses : kFails;
}

// One that nothing processes, whoever asks; where there is none, the one that nothing does which this caller asks.
void PutExtension(const RulePlace &p, Facts &out) {
  if (p.cert->UnhandledCritExt() == nullptr) return;
  std::optional<sxAsnOid> worst = sxFirstUnknown(*p.cert, ~0U);
  if (!worst.has_value() && p.params != nullptr) worst = sxFirstUnknown(*p.cert, p.params->Processed());
  out.push_back({"critical extension", sxOidWords(worst.has_value() ? *worst : *p.cert->UnhandledCritExt())});
}

// Dates are 32-bit seconds, sums with grace periods are not.
RuleOutcome Begun(const RulePlace &p) {
  // Counts as long past, by intent; but nobody knows that it is.
  if (p.cert->notBefore() == kUnreadableTime) return NotChecked("notBefore cannot be read");
  if (p.now >= p.cert->notBefore()) return kPasses;
  const bool isInGrace = p.cert->notBefore() - sxStartGrace(*p.params) <= p.now;
  if (p.traces && isInGrace) {
    tderrorFunc(kTopic, 5, 0, "sxValidateCert: certificate valid due to grace start period");
  } else if (p.traces) {
    tderrorFunc(kTopic, 3, 0, "sxValidateCert: certificate is not valid yet");
  }
  return isInGrace ? kPasses : kFails;
}

RuleOutcome NotOver(const RulePlace &p) {
  if (p.now <= p.cert->notAfter()) return kPasses;
  const bool isInGrace = p.now <= p.cert->notAfter() + sxEndGrace(*p.params);
  if (p.traces && isInGrace) {
    tderrorFunc(kTopic, 5, 0, "sxValidateCert: certificate valid due to grace end period");
  } else if (p.traces) {
    tderrorFunc(kTopic, 3, 0, "sxValidateCert: certificate is obsolete");
  }
  return isInGrace ? kPasses : kFails;
}

void PutNotBefore(const RulePlace &p, Facts &out) { PutDate(out, "not valid before", p.cert->notBefore()); }
void PutNotAfter(const RulePlace &p, Facts &out) { PutDate(out, "not valid after", p.cert->notAfter()); }

// RFC 5280 asks for the bit whenever the extension is there; here only a critical one counts, by intent.
// key-usage-sound in data/chain/scenarios.txt holds it in place.
RuleOutcome MaySign(const RulePlace &p) {
  if (p.issuer->GetExt(&sxASN_id_ce_keyUsage) == nullptr) return NotChecked("issuer has no key usage");
  if (p.issuer->IsCritical(&sxASN_id_ce_keyUsage) == 0) return NotChecked("issuer's key usage is not critical");
  return p.issuer->HasKeyUsage(sxKU_keyCertSign) != 0 ? kPasses : kFails;
}

void PutKeyUsage(const RulePlace &, Facts &out) { out.push_back({"key usage", "without keyCertSign"}); }

constexpr char kNoConstraints[] = "issuer has no basic constraints";

// An issuer without basic constraints is let pass: version 1 certificates have none.
RuleOutcome IssuerIsCA(const RulePlace &p) {
  const sxBasicConstraint *constraints = p.issuer->GetBasicConstraint();
  if (constraints == nullptr) return NotChecked(kNoConstraints);
  if (constraints->IsCA()) return kPasses;
  if (p.traces) tderrorFunc(kTopic, 3, 0, "%s: bc->IsCA() == 0", kValidatePath);
  return kFails;
}

void PutNoCA(const RulePlace &p, Facts &out) {
  if (p.issuer != nullptr) out.push_back({"issuer without cA", sxNameText(p.issuer->Subject(), kNoName)});
}

RuleOutcome PathLenKept(const RulePlace &p) {
  const sxBasicConstraint *constraints = p.issuer->GetBasicConstraint();
  if (constraints == nullptr) return NotChecked(kNoConstraints);
  if (!constraints->IsCA()) return NotChecked("issuer is no CA");
  const int pathLen = constraints->PathLen();
  if (pathLen < 0) return NotChecked("issuer has no path length constraint");
  if (pathLen >= p.level) return kPasses;  // as many CA certificates as level says stand below the issuer
  if (p.traces) tderrorFunc(kTopic, 3, 0, "%s: PathLen:%d < elevel:%d.", kValidatePath, pathLen, p.level);
  return kFails;
}

void PutPathLen(const RulePlace &p, Facts &out) {
  const sxBasicConstraint *constraints = p.issuer != nullptr ? p.issuer->GetBasicConstraint() : nullptr;
  if (constraints == nullptr) return;
  out.push_back({"path length constraint", std::to_string(constraints->PathLen())});
  out.push_back({"CA certificates below", std::to_string(p.level)});
}

void PutIssuerNames(const RulePlace &p, Facts &out) {
  out.push_back({"issuer", sxNameText(p.cert->Issuer(), kNoName)});
  if (p.issuer != nullptr) out.push_back({"next in chain", sxNameText(p.issuer->Subject(), kNoName)});
}

RuleOutcome NamesMeet(const RulePlace &p) {
  const sxDN *issuerName = p.cert->Issuer();
  const sxDN *wanted = p.issuer->Subject();
  return issuerName != nullptr && wanted != nullptr && issuerName->Equal(*wanted) ? kPasses : kFails;
}

RuleOutcome SignatureIsSupported(const RulePlace &p) { return sxIsSignatureSupported(*p.cert) ? kPasses : kFails; }

RuleOutcome SignatureVerifies(const RulePlace &p) {
  if (!sxIsSignatureSupported(*p.cert)) return NotChecked("its algorithm is not supported");
  return p.cert->VerifySig(p.issuer->PubKey()) == 0 ? kPasses : kFails;
}

// Of either of the two: whoever has the code alone does not know which it was.
void PutVerifier(const RulePlace &p, Facts &out) {
  if (p.cert != nullptr && !sxIsSignatureSupported(*p.cert)) {
    // Of the outer field, which is what says how to verify.
    out.push_back({"signature algorithm not supported", AlgorithmText(StrictCert(*p.cert).Get().outerAlgorithm)});
  } else if (p.issuer != nullptr) {
    out.push_back({"not verified by the key of", sxNameText(p.issuer->Subject(), kNoName)});
  }
}

RuleOutcome NameIsPermitted(const RulePlace &p) {
  const sxGeneralNames *constraints = p.root->NameConstraints();
  if (constraints == nullptr || constraints->Count() == 0) return NotChecked("root has no name constraints");
  const sxDN *subject = p.cert->Subject();
  for (int i = 0; i < constraints->Count(); ++i) {
    const sxDN *subtree = constraints->Get(i)->GetDN();  // null for names of other kinds
    if (subtree != nullptr && subject->IsSub(*subtree)) return kPasses;
  }
  if (p.traces && kxLog_TraceOn()) {
    tderrorFunc(kTopic, 3, 0, "sxValidateNameConstraints: %s doesn't conform to name constraints",
                sxNameText(subject, kNoName).c_str());
  }
  return kFails;
}

void PutName(const RulePlace &p, Facts &out) {
  out.push_back({"name outside the constraints", sxNameText(p.cert->Subject(), kNoName)});
}

RuleOutcome EndsInRoot(const RulePlace &p) { return p.root != nullptr ? kPasses : kFails; }

void PutNothing(const RulePlace &, Facts &) {}

constexpr char kOurs[] = "the gateway's own";

constexpr Rule kCertificateRules[] = {
    {"black list", kOurs, sxValidation_blackListed, 0, NotBlackListed, PutNothing,
     "The serial number is on the black list given: issue another certificate."},
    {"critical extensions", "RFC 5280, 4.2", sxValidation_unhandledCritExt, 0, ExtensionsKnown, PutExtension,
     "Issue the certificate without this critical extension: no rule that decides here processes it."},
    {"notBefore", "RFC 5280, 4.1.2.5", sxValidation_notYetValid, 0, Begun, PutNotBefore,
     "Check this machine's clock; else wait, or set a longer grace period before it."},
    {"notAfter", "RFC 5280, 4.1.2.5", sxValidation_expired, 0, NotOver, PutNotAfter,
     "Check this machine's clock; else renew this certificate, or set a grace period after it."},
};

constexpr Rule kLinkRules[] = {
    {"key usage as issuer", "RFC 5280, 4.2.1.3", sxValidation_wrongKeyUsage, 1, MaySign, PutKeyUsage,
     "This issuer's keyUsage needs keyCertSign: issue it anew."},
    {"issuer is a CA", "RFC 5280, 4.2.1.9", sxValidation_issuerIsNoCA, 0, IssuerIsCA, PutNoCA,
     "The issuer must say cA TRUE in basicConstraints: use a chain through a real CA."},
    {"path length as issuer", "RFC 5280, 4.2.1.9", sxValidation_pathLenExceeded, 1, PathLenKept, PutPathLen,
     "Fewer CA certificates may stand below this one: raise its pathLenConstraint, or shorten the chain."},
    {"issuer's name", "RFC 5280, 6.1.3 (a) (4)", sxValidation_inconsistentChain, 0, NamesMeet, PutIssuerNames,
     "The next certificate is not this one's issuer: give the right issuer."},
};

constexpr Rule kSignatureRules[] = {
    {"signature algorithm", "RFC 5280, 4.1.1.2", sxValidation_badSignature, 0, SignatureIsSupported, PutVerifier,
     "Nothing here computes this algorithm, so nobody knows whether the signature is right: have the certificate "
     "signed with RSA (PKCS #1 v1.5) or ECDSA."},
    {"signature", "RFC 5280, 6.1.3 (a) (1)", sxValidation_badSignature, 0, SignatureVerifies, PutVerifier,
     "The issuer's key did not sign this certificate: it was changed, or the issuer was issued anew with another key."},
};

constexpr Rule kRootRules[] = {
    {"root's name constraints", kOurs, sxValidation_nameConstraints, 0, NameIsPermitted, PutName,
     "The root may not issue for this name."},
};

constexpr Rule kTrustRules[] = {
    {"ends in a trusted root", "RFC 5280, 6.1.1 (d)", sxValidation_notTrusted, 0, EndsInRoot, PutIssuerNames,
     "Give the issuer that is missing, or trust the root that the chain leads to."},
};

}  // namespace

int64_t sxStartGrace(const ValidateParams &params) {
  const int sec = params.Cert_start_grace();
  return sec == kGraceDefault ? int64_t{g_gracePeriodSec} : int64_t{sec};
}

// The process-wide period is for clocks that run ahead of the issuer's; nothing outlives its end by it.
int64_t sxEndGrace(const ValidateParams &params) {
  const int sec = params.Cert_end_grace();
  return sec == kGraceDefault ? 0 : int64_t{sec};
}

bool sxIsSignatureSupported(const sxCert &cert) { return kx_md_len(cert.signatureHashAlgorithm()) > 0; }

void sxCertValidate_SetGracePeriod(unsigned int sec) { g_gracePeriodSec = sec; }
unsigned int sxCertValidate_GetDefaultGracePeriod() { return kDefaultGraceSec; }

std::span<const Rule> CertificateRules() { return kCertificateRules; }
std::span<const Rule> LinkRules() { return kLinkRules; }
std::span<const Rule> SignatureRules() { return kSignatureRules; }
std::span<const Rule> RootRules() { return kRootRules; }
std::span<const Rule> TrustRules() { return kTrustRules; }

const Rule *RuleOf(int code) {
  for (const std::span<const Rule> &rules :
       {CertificateRules(), LinkRules(), SignatureRules(), RootRules(), TrustRules()}) {
    for (const Rule &rule : rules) {
      if (rule.code == code) return &rule;
    }
  }
  return nullptr;
}
