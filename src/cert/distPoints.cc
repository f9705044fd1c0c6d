#include "distPoints.h"

#include <algorithm>

#include "kxcert/asn1/modules/PKIX1Implicit88.h"
#include "kxcert/asn1/sxAsnOid.h"
#include "kxcert/cert/sxCert.h"
#include "kxcert/cert/sxDN.h"
#include "sxCert_imp.h"

namespace {

void AddNames(const sxASN_GeneralNames *from, sxGeneralNames *names) {
  if (from == nullptr) return;
  const sxGeneralNames all(from);
  for (int i = 0; i < std::min(all.Count(), kMaxDistPointNames); ++i) names->Add(all.Get(i));
}

bool ReadPoint(const sxASN_DistributionPoint &from, const sxDN &issuer, sxDistPoint *point) {
  AddNames(from.cRLIssuer, &point->crlIssuer);
  if (from.reasons != nullptr) point->reasons = sxReasonBits(*from.reasons);
  if (from.distributionPoint == nullptr) return true;
  if (from.distributionPoint->fullName() != nullptr) {
    return AddNames(from.distributionPoint->fullName(), &point->names), true;
  }
  const sxASN_RelativeDistinguishedName *const last = from.distributionPoint->nameRelativeToCRLIssuer();
  const sxGeneralName *const named = point->crlIssuer.GetFirstOfType(sxGN_dn);
  return last != nullptr && sxAddRelativeName(*last, named != nullptr ? *named->GetDN() : issuer, &point->names);
}

}  // namespace

unsigned int sxReasonBits(const sxASN_ReasonFlags &reasons) {
  unsigned int bits = 0;
  for (int i = 0; i <= sxASN_ReasonFlags::aACompromise; ++i) {
    if (reasons.GetBit(i) == 1) bits |= 1U << i;
  }
  return bits;
}

sxOctetView sxRawExtension(const sxCert &cert, const sxAsnOid &oid) {
  const auto &imp = static_cast<const sxCert_imp &>(*cert.GetP());
  const sxOctetView wanted = sxView(oid.Data(), oid.Len());
  sxPlainExtension ext;
  for (sxDerReader each(imp.ExtensionOctets()); !each.AtEnd();) {
    if (!sxTakePlainExtension(each, &ext)) break;
    if (sxEqual(ext.oid, wanted)) return ext.value;
  }
  return {};
}

bool sxAddRelativeName(const sxASN_RelativeDistinguishedName &last, const sxDN &issuer, sxGeneralNames *names) {
  if (issuer.GetName() == nullptr) return false;
  sxASN_RDNSequence whole(*issuer.GetName());
  whole.AppendCopy(last);
  const sxDN dn(&whole);
  const sxGeneralName full(&dn);
  names->Add(&full);
  return full.GetType() == sxGN_dn;
}

bool sxReadDistPoints(sxOctetView value, const sxDN &issuer, std::vector<sxDistPoint> *points) {
  sxASN_CRLDistPointsSyntax tree;
  if (sxASN_DecodeBuf(tree, reinterpret_cast<const char *>(value.data()), sxLen(value)) != 0) return false;
  for (const sxASN_DistributionPoint &point : tree) {
    if (points->size() == kMaxDistPoints) break;
    points->emplace_back();
    if (!ReadPoint(point, issuer, &points->back())) return false;
  }
  return true;
}
