#include "extensionRules.h"

#include <iterator>

#include "plainFields.h"

namespace {

constexpr unsigned char kOidSubjectDirectory[] = {0x55, 0x1D, 9};
constexpr unsigned char kOidDistPoints[] = {0x55, 0x1D, 31};
constexpr unsigned char kOidFreshestCrl[] = {0x55, 0x1D, 46};
constexpr unsigned char kOidAuthorityInfo[] = {0x2B, 6, 1, 5, 5, 7, 1, 1};
constexpr unsigned char kOidSubjectInfo[] = {0x2B, 6, 1, 5, 5, 7, 1, 11};
constexpr unsigned char kOidTlsFeature[] = {0x2B, 6, 1, 5, 5, 7, 1, 24};
constexpr unsigned char kOidOcspNoCheck[] = {0x2B, 6, 1, 5, 5, 7, 48, 1, 5};

constexpr sxExtensionRule kRules[] = {
    {kOidAuthorityKeyId, sxCritical::kNever, true, false, kDerSequence, false, sxAuthorityKeyIdFault},
    {kOidSubjectKeyId, sxCritical::kNever, true, false, kDerOctetString, false, sxSubjectKeyIdFault},
    {kOidKeyUsage, sxCritical::kAlways, false, false, kDerBitString, false, sxKeyUsageFault},
    {kOidPolicies, sxCritical::kAsAsked, false, false, kDerSequence, false, sxPoliciesFault},
    {kOidPolicyMappings, sxCritical::kAlways, false, true, kDerSequence, false, sxPolicyMappingsFault},
    {kOidSubjectAltName, sxCritical::kWithoutSubject, true, false, kDerSequence, false, sxAltNamesFault},
    {kOidIssuerAltName, sxCritical::kNever, false, false, kDerSequence, false, sxAltNamesFault},
    {kOidSubjectDirectory, sxCritical::kNever, true, false, kDerSequence, false, sxSubjectDirectoryFault},
    {kOidBasicConstraints, sxCritical::kOfCAs, true, false, kDerSequence, true, sxBasicConstraintsFault},
    {kOidNameConstraints, sxCritical::kAlways, true, true, kDerSequence, false, sxNameConstraintsFault},
    {kOidPolicyConstraints, sxCritical::kAlways, true, true, kDerSequence, false, sxPolicyConstraintsFault},
    {kOidExtKeyUsage, sxCritical::kAsAsked, false, false, kDerSequence, false, sxExtKeyUsageFault},
    {kOidDistPoints, sxCritical::kAsAsked, false, false, kDerSequence, false, sxDistPointsFault},
    {kOidInhibitAnyPolicy, sxCritical::kAlways, true, true, kDerInteger, false, sxInhibitAnyPolicyFault},
    {kOidFreshestCrl, sxCritical::kNever, true, false, kDerSequence, false, sxDistPointsFault},
    {kOidAuthorityInfo, sxCritical::kNever, true, false, kDerSequence, false, sxInfoAccessFault},
    {kOidSubjectInfo, sxCritical::kNever, true, false, kDerSequence, false, sxInfoAccessFault},
    {kOidTlsFeature, sxCritical::kAsAsked, false, false, kDerSequence, false, sxTlsFeatureFault},
    {kOidOcspNoCheck, sxCritical::kAsAsked, false, false, kDerNull, true, sxOcspNoCheckFault},
};

// A number that is not negative. Its octets may be anyone's.
uint32_t Clamped(sxOctetView number) {
  uint64_t value = 0;
  for (const unsigned char octet : number) {
    value = value << 8 | octet;
    if (value > UINT32_MAX) return UINT32_MAX;
  }
  return static_cast<uint32_t>(value);
}

}  // namespace

const sxExtensionRule *sxExtensionRuleOf(sxOctetView oid) {
  const auto *const found =
      std::ranges::find_if(kRules, [oid](const sxExtensionRule &rule) { return sxEqual(rule.oid, oid); });
  return found == std::end(kRules) ? nullptr : found;
}

bool sxCriticalityOf(const sxExtensionRule &rule, bool asked, bool isCA, bool hasSubject) {
  switch (rule.critical) {
    case sxCritical::kAlways: return true;
    case sxCritical::kNever: return false;
    case sxCritical::kOfCAs: return isCA || asked;
    case sxCritical::kWithoutSubject: return !hasSubject || asked;
    default: return asked;
  }
}

bool sxReadPlainConstraints(sxOctetView value, sxPlainConstraints *out) {
  sxDerReader all(value), fields;
  sxOctetView flag, pathLen;
  if (!all.Enter(kDerSequence, &fields) || !all.AtEnd()) return false;
  if (fields.NextIs(kDerBoolean)) {
    if (!fields.Take(kDerBoolean, &flag) || flag.size() != 1) return false;
    out->isCA = flag[0] != 0;
    out->saysFalse = !out->isCA;
  }
  out->hasPathLen = fields.Take(kDerInteger, &pathLen);
  if (!out->hasPathLen) return fields.AtEnd();
  if (pathLen.empty() || pathLen[0] >= 0x80) return false;
  out->pathLen = Clamped(pathLen);
  return fields.AtEnd();
}

bool sxReadPlainUsage(sxOctetView value, unsigned *usage) {
  sxDerReader all(value);
  sxOctetView bits;
  if (!sxTakePlainBits(all, kDerBitString, &bits) || !all.AtEnd()) return false;
  *usage = 0;
  for (size_t i = 1; i < bits.size() && i < 3; ++i) {
    for (unsigned bit = 0; bit < 8; ++bit) *usage |= (bits[i] >> (7 - bit) & 1U) << ((i - 1) * 8 + bit);
  }
  return true;
}
