// Issuers, and what a trusted root must be when it is asked.
#include "kxcert/cert/sxExtensions.h"
#include "trust/strict/datesAsWritten.h"
#include "trust/strict/strictPath.h"
#include "trust/strict/strictRule.h"

namespace {

StrictOutcome IsVersion3(StrictPath &path, int level) {
  const int version = path.At(level).Get().version;
  return version == 3 ? StrictPasses() : StrictFails("version", std::to_string(version));
}

StrictOutcome SaysCA(StrictPath &path, int level) {
  const StrictCert &cert = path.At(level);
  if (cert.Find(kOidBasicConstraints) == nullptr) return StrictFails("basic constraints", "absent");
  if (cert.Constraints() == nullptr) return StrictFails("basic constraints", "cannot be read");
  return StrictPassesIf(cert.IsCA(), "basic constraints", "without cA");
}

StrictOutcome SaysItCritically(StrictPath &path, int level) {
  const sxPlainExtension *const found = path.At(level).Find(kOidBasicConstraints);
  if (found == nullptr) return StrictNotChecked("issuer has no basic constraints");
  return StrictPassesIf(found->critical, "basic constraints", "not critical");
}

StrictOutcome MaySign(StrictPath &path, int level) {
  const StrictCert &cert = path.At(level);
  if (!cert.HasUsage()) return StrictNotChecked("issuer has no key usage");
  return StrictPassesIf(cert.MayUse(sxKU_keyCertSign), "key usage", "without keyCertSign");
}

StrictOutcome HasKeyId(StrictPath &path, int level) {
  return StrictPassesIf(path.At(level).Find(kOidSubjectKeyId) != nullptr, "subject key identifier", "absent");
}

// Self-issued certificates do not count (RFC 5280, 6.1.4 (l)), where the check of all validations counts each.
StrictOutcome PathLenKept(StrictPath &path, int level) {
  const sxPlainConstraints *const constraints = path.At(level).Constraints();
  if (constraints == nullptr || !constraints->isCA || !constraints->hasPathLen) {
    return StrictNotChecked("issuer has no path length constraint");
  }
  uint32_t below = 0;
  for (int i = 1; i < level; ++i) below += path.At(i).IsSelfIssued() ? 0U : 1U;
  if (below <= constraints->pathLen) return StrictPasses();
  std::vector<sxFact> facts;
  facts.push_back({"path length constraint", std::to_string(constraints->pathLen)});
  facts.push_back({"CA certificates below, self-issued ones not counted", std::to_string(below)});
  return StrictFails(std::move(facts));
}

constexpr char kBasicConstraintsSource[] = "RFC 5280, 4.2.1.9";
constexpr char kReissueAdvice[] = "This CA's certificate has to be issued anew.";

constexpr StrictRule kCaRules[] = {
    {"caConstraints.version", "RFC 5280, 6.1.4 (k)", sxValidation_issuerIsNoCA, StrictWhere::kIssuers, false,
     IsVersion3, "Only version 3 says who is a CA: this issuer has to be issued anew."},
    {"caConstraints.basicConstraints", "RFC 5280, 6.1.4 (k)", sxValidation_issuerIsNoCA, StrictWhere::kIssuers, false,
     SaysCA, "The issuer must say cA TRUE in basicConstraints: use a chain through a real CA."},
    {"caConstraints.critical", kBasicConstraintsSource, sxValidation_issuerIsNoCA, StrictWhere::kIssuers, false,
     SaysItCritically, kReissueAdvice},
    {"caConstraints.keyUsage", "RFC 5280, 6.1.4 (n)", sxValidation_wrongKeyUsage, StrictWhere::kIssuers, false, MaySign,
     "This issuer's keyUsage needs keyCertSign: issue it anew."},
    {"caConstraints.pathLength", "RFC 5280, 6.1.4 (l), (m)", sxValidation_pathLenExceeded, StrictWhere::kIssuers, false,
     PathLenKept, "Fewer CA certificates may stand below this one: raise its pathLenConstraint, or shorten the chain."},
};

constexpr char kAnchorAdvice[] = "Trust the root's newer certificate, or another root.";

constexpr StrictRule kAnchorRules[] = {
    {"anchor.notBefore", "RFC 5280, 4.1.2.5", sxValidation_notYetValid, StrictWhere::kRoot, false, BegunAsWritten,
     kAnchorAdvice},
    {"anchor.notAfter", "RFC 5280, 4.1.2.5", sxValidation_expired, StrictWhere::kRoot, false, NotOverAsWritten,
     kAnchorAdvice},
    {"anchor.basicConstraints", kBasicConstraintsSource, sxValidation_issuerIsNoCA, StrictWhere::kRoot, false, SaysCA,
     kAnchorAdvice},
    {"anchor.critical", kBasicConstraintsSource, sxValidation_issuerIsNoCA, StrictWhere::kRoot, false, SaysItCritically,
     kAnchorAdvice},
    {"anchor.subjectKeyIdentifier", "RFC 5280, 4.2.1.2", sxValidation_badInput, StrictWhere::kRoot, false, HasKeyId,
     kAnchorAdvice},
    {"anchor.keyUsage", "RFC 5280, 4.2.1.3", sxValidation_wrongKeyUsage, StrictWhere::kRoot, false, MaySign,
     kAnchorAdvice},
    {"anchor.pathLength", "RFC 5937, 3.2", sxValidation_pathLenExceeded, StrictWhere::kRoot, false, PathLenKept,
     "Fewer CA certificates may stand below this root: shorten the chain."},
};

constexpr StrictRule kCalendarRules[] = {
    {"calendar.notBefore", "RFC 5280, 4.1.2.5", sxValidation_notYetValid, StrictWhere::kBelowRoot, true, BegunAsWritten,
     "Check this machine's clock; else wait, or set a longer grace period before it."},
    {"calendar.notAfter", "RFC 5280, 4.1.2.5", sxValidation_expired, StrictWhere::kBelowRoot, true, NotOverAsWritten,
     "Check this machine's clock; else renew this certificate, or set a grace period after it."},
};

}  // namespace

std::span<const StrictRule> CaRules() { return kCaRules; }
std::span<const StrictRule> AnchorRules() { return kAnchorRules; }
std::span<const StrictRule> CalendarRules() { return kCalendarRules; }
