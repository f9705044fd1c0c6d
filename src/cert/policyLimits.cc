// Policy constraints and inhibitAnyPolicy (RFC 5280, 4.2.1.11 and 4.2.1.14): after how many certificates.
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/modules/PKIX1Implicit88.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/foundation/textStream.h"
#include "valueExtension.h"

using LimitsImp = sxValueExtension<sxPolicyConstraints, sxPolicyLimits>;
using InhibitImp = sxValueExtension<sxInhibitAnyPolicy, int>;
template <>
const char *const LimitsImp::kName = "Policy Constraints";
template <>
const char *const InhibitImp::kName = "Inhibit Any Policy";

namespace {

bool ReadSkip(const sxAsnInt *number, int *skip) { return number == nullptr || sxReadCount(*number, skip); }

// An empty one can be read: RFC 5280 leaves to the reader what it means. Here nothing.
bool ReadLimits(const sxASN_PolicyConstraints &tree, sxPolicyLimits *limits) {
  return ReadSkip(tree.requireExplicitPolicy, &limits->requireExplicit) &&
         ReadSkip(tree.inhibitPolicyMapping, &limits->inhibitMapping);
}

const char *WriteLimits(const sxPolicyLimits &limits, sxASN_PolicyConstraints *tree) {
  if (limits.requireExplicit >= 0) tree->requireExplicitPolicy = new sxAsnInt(limits.requireExplicit);
  if (limits.inhibitMapping >= 0) tree->inhibitPolicyMapping = new sxAsnInt(limits.inhibitMapping);
  return limits.requireExplicit < 0 && limits.inhibitMapping < 0 ? "no limit" : nullptr;
}

const char *WriteInhibit(const int &skip, sxAsnInt *number) {
  number->Set(skip);
  return skip < 0 ? "a negative number" : nullptr;
}

void PrintLimit(SxStream *out, int indent, const char *what, int skip) {
  if (skip < 0) return;
  out->Indent(indent);
  out->Printf("%s after %s certificates\n", what, sxCountText(skip).c_str());
}

}  // namespace

template <>
void LimitsImp::Sprint(SxStream *out, int indent) const {
  out->Indent(indent);
  out->Printf("%s:\n", kName);
  PrintLimit(out, indent + 1, "Requires an explicit policy", Get().requireExplicit);
  PrintLimit(out, indent + 1, "Inhibits policy mapping", Get().inhibitMapping);
}

template <>
void InhibitImp::Sprint(SxStream *out, int indent) const {
  PrintLimit(out, indent, "Inhibits any policy", Get());
}

sxPolicyConstraints::sxPolicyConstraints(sxPolicyLimits limits) : sxExtension(new LimitsImp(limits)) {}
const sxPolicyLimits &sxPolicyConstraints::Limits() const { return LimitsImp::Of(*this); }

sxInhibitAnyPolicy::sxInhibitAnyPolicy(int skipCerts) : sxExtension(new InhibitImp(skipCerts)) {}
int sxInhibitAnyPolicy::SkipCerts() const { return InhibitImp::Of(*this); }

sxExtension *sxParsePolicyConstraints(const sxASN_Extension &ext, int &understood) {
  return LimitsImp::Parse(ext, understood, ReadLimits);
}
sxExtension *sxParseInhibitAnyPolicy(const sxASN_Extension &ext, int &understood) {
  return InhibitImp::Parse(ext, understood, sxReadCount);
}
sxASN_Extension *sxComposePolicyConstraints(const sxExtension &ext, int critical) {
  return LimitsImp::Compose(ext, sxASN_id_ce_policyConstraints, critical, WriteLimits);
}
sxASN_Extension *sxComposeInhibitAnyPolicy(const sxExtension &ext, int critical) {
  return InhibitImp::Compose(ext, sxASN_id_ce_inhibitAnyPolicy, critical, WriteInhibit);
}
