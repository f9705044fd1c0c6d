// What the end entity's key is for, and what the CAs above let it be for.
#include "kxcert/cert/sxExtensions.h"
#include "trust/strict/purposes.h"
#include "trust/strict/strictPath.h"
#include "trust/strict/strictRule.h"

namespace {

constexpr char kNobodyAsks[] = "no purpose is asked for";

bool IsAsked(const StrictPath &path) { return path.Question().purpose.Len() > 0; }

// @param mustBeNamed  nothing at all does not stand for it
StrictOutcome Serves(const StrictPath &path, int level, bool mustBeNamed, bool mustBeAlone) {
  const sxAsnOid &wanted = path.Question().purpose;
  const sxPlainExtension *const usage = path.At(level).Find(kOidExtKeyUsage);
  if (usage == nullptr) return StrictPassesIf(!mustBeNamed, "extended key usage", "absent");
  size_t number = 0;
  const PurposeMatch match = MatchPurpose(usage->value, wanted, &number);
  if (match == PurposeMatch::kUnreadable) return StrictFails("extended key usage", "cannot be read");
  const bool isAny = match == PurposeMatch::kAny && path.Question().anyPurpose && !mustBeNamed;
  if (match != PurposeMatch::kNamed && !isAny) {
    return StrictFails("extended key usage without", PurposeText(wanted));
  }
  if (!mustBeAlone) return StrictPasses();
  if (!usage->critical) return StrictFails("extended key usage", "not critical");
  return StrictPassesIf(number == 1, "extended key usage", "with other purposes");
}

StrictOutcome EndEntityServes(StrictPath &path, int level) {
  if (!IsAsked(path)) return StrictNotChecked(kNobodyAsks);
  const Purpose *const known = FindPurpose(path.Question().purpose);
  return Serves(path, level, known != nullptr && known->mustBeNamed, known != nullptr && known->mustBeAlone);
}

StrictOutcome IssuerAllows(StrictPath &path, int level) {
  if (!IsAsked(path)) return StrictNotChecked(kNobodyAsks);
  if (path.At(level).Find(kOidExtKeyUsage) == nullptr) return StrictNotChecked("issuer has no extended key usage");
  return Serves(path, level, false, false);
}

StrictOutcome KeyUsageFits(StrictPath &path, int level) {
  if (!IsAsked(path)) return StrictNotChecked(kNobodyAsks);
  const Purpose *const known = FindPurpose(path.Question().purpose);
  if (known == nullptr) return StrictNotChecked("which key usages fit this purpose is not known here");
  const StrictCert &cert = path.At(level);
  if (!cert.HasUsage()) return StrictNotChecked("it has no key usage");
  std::string missing;
  for (int bit = sxKU_digitalSignature; bit <= sxKU_decipherOnly; ++bit) {
    if ((known->usages >> bit & 1U) == 0) continue;
    if (cert.MayUse(bit)) return StrictPasses();
    missing += (missing.empty() ? "" : ", ") + std::string(sxKeyUsage::KeyusageStr(bit));
  }
  return StrictFails("key usage with none of", missing);
}

constexpr StrictRule kPurposeRules[] = {
    {"purpose.extKeyUsage", "RFC 5280, 4.2.1.12", sxValidation_wrongKeyUsage, StrictWhere::kEndEntity, true,
     EndEntityServes, "The certificate is for something else: use one whose extended key usage has this purpose."},
    {"purpose.issuers", "RFC 5280, 4.2.1.12", sxValidation_wrongKeyUsage, StrictWhere::kIssuers, false, IssuerAllows,
     "This CA may not issue for this purpose: use one whose extended key usage has it, or has none."},
    {"purpose.keyUsage", "RFC 5280, 4.2.1.3", sxValidation_wrongKeyUsage, StrictWhere::kEndEntity, true, KeyUsageFits,
     "The certificate's key usage does not fit this purpose: issue it with one that does."},
};

}  // namespace

std::span<const StrictRule> PurposeRules() { return kPurposeRules; }
