// What the values of extensions are when they are issued: of their types, in DER, and by the rules of RFC 5280, 4.2.
#include <algorithm>
#include <iterator>
#include <memory>

#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/modules/PKIX1Implicit88.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "valueExtension.h"

namespace {

constinit const sxAsnOid kSubjectDirectory({2, 5, 29, 9});

// Whether they are the octets that the codec makes of what it read: nothing of another type or form, nothing twice.
template <class Tree>
bool ReadExactly(sxOctetView value, Tree *tree) {
  kxBinBuf der;
  return sxASN_DecodeBuf(*tree, reinterpret_cast<const char *>(value.data()), sxLen(value)) == 0 &&
         sxASN_EncodeBuf(*tree, der, 1) == 0 && sxEqual(sxOctetView(der.Data(), der.Len()), value);
}

template <class Tree>
bool IsExactly(sxOctetView value) {
  Tree tree;
  return ReadExactly(value, &tree);
}

bool AreNames(const sxASN_GeneralNames &names) {
  const auto isName = [](const sxASN_GeneralName &element) {
    sxAnyName name;
    sxASN_GeneralName filled;
    return name.Set(element, sxNameUse::kName) && name.Fill(&filled, sxNameUse::kName);
  };
  return sxIsIssuedCount(names.Count()) && sxAllOf(names, isName);
}

// Under an implicit tag only this reader knows that it is one: X.690, 11.2.2, the last one of named bits is set, and
// 11.2.1, those behind it are not.
bool AreReasons(const sxASN_ReasonFlags &reasons) {
  const int bitLen = reasons.BitLen();
  if (bitLen < 1 || bitLen > sxASN_ReasonFlags::aACompromise + 1 || reasons.GetBit(bitLen - 1) != 1) return false;
  const int numUnused = reasons.Len() * 8 - bitLen;
  return (reasons.Data()[reasons.Len() - 1] & ((1 << numUnused) - 1)) == 0;
}

// 4.2.1.13: reasons say nothing alone, and the CRL issuer is named as in the CRL.
bool IsPoint(const sxASN_DistributionPoint &point) {
  if (point.distributionPoint == nullptr && point.cRLIssuer == nullptr) return false;
  if (point.reasons != nullptr && !AreReasons(*point.reasons)) return false;
  if (point.cRLIssuer != nullptr) {
    const auto isDn = [](const sxASN_GeneralName &name) { return name.directoryName() != nullptr; };
    if (!AreNames(*point.cRLIssuer) || !sxAllOf(*point.cRLIssuer, isDn)) return false;
  }
  if (point.distributionPoint == nullptr) return true;
  const sxASN_GeneralNames *const fullName = point.distributionPoint->fullName();
  const sxASN_RelativeDistinguishedName *const last = point.distributionPoint->nameRelativeToCRLIssuer();
  if (fullName != nullptr) return AreNames(*fullName);
  return last != nullptr && last->Count() > 0 && (point.cRLIssuer == nullptr || point.cRLIssuer->Count() == 1);
}

bool ArePoints(sxOctetView value) {
  sxASN_CRLDistPointsSyntax points;
  return ReadExactly(value, &points) && sxIsIssuedCount(points.Count()) && sxAllOf(points, IsPoint);
}

bool AreAttributes(sxOctetView value) {
  sxASN_SubjectDirectoryAttributes attributes;
  const auto hasValue = [](const sxASN_Attribute &attribute) { return attribute.values->Count() > 0; };
  return ReadExactly(value, &attributes) && sxAllOf(attributes, hasValue);
}

struct Form {
  const sxAsnOid *oid;
  sxExtParseFunc parse;           // null: there are no rules but those below
  sxExtComposeFunc compose;       // refuses what must not be issued
  bool (*isOfType)(sxOctetView);  // null: the octets that were composed are those that were read
};
// Names and places have one form each, whoever's they are.
constexpr Form kForms[] = {
    {&sxASN_id_ce_subjectAltName, sxParseIssuerAltName, sxComposeIssuerAltName, nullptr},
    {&sxASN_id_ce_issuerAltName, sxParseIssuerAltName, sxComposeIssuerAltName, nullptr},
    {&sxASN_id_pe_authorityInfoAccess, sxParseSubjectInfoAccess, sxComposeSubjectInfoAccess, nullptr},
    {&sxASN_id_pe_subjectInfoAccess, sxParseSubjectInfoAccess, sxComposeSubjectInfoAccess, nullptr},
    {&sxASN_id_ce_nameConstraints, sxParseNameConstraints, sxComposeNameConstraints, nullptr},
    {&sxASN_id_ce_policyMappings, sxParsePolicyMappings, sxComposePolicyMappings, nullptr},
    {&sxASN_id_ce_policyConstraints, sxParsePolicyConstraints, sxComposePolicyConstraints, nullptr},
    {&sxASN_id_ce_inhibitAnyPolicy, sxParseInhibitAnyPolicy, sxComposeInhibitAnyPolicy, nullptr},
    {&sxASN_id_pe_tlsFeature, sxParseTlsFeature, sxComposeTlsFeature, nullptr},
    {&sxASN_id_pkix_ocsp_nocheck, sxParseOcspNoCheck, sxComposeOcspNoCheck, nullptr},
    // Composed in UTF8String, texts may be of other types.
    {&sxASN_id_ce_certificatePolicies, sxParseCertPolicies, sxComposeCertPolicies,
     IsExactly<sxASN_CertificatePolicies>},
    {&sxASN_id_ce_extKeyUsage, nullptr, nullptr, IsExactly<sxASN_ExtKeyUsageSyntax>},
    {&sxASN_id_ce_cRLDistributionPoints, nullptr, nullptr, ArePoints},
    {&sxASN_id_ce_freshestCRL, nullptr, nullptr, ArePoints},
    {&kSubjectDirectory, nullptr, nullptr, AreAttributes},
};

bool Composes(const Form &form, sxOctetView value) {
  sxASN_Extension ext;
  ext.extnID = new sxAsnOid(*form.oid);
  ext.extnValue = new sxAsnOcts(value.data(), sxLen(value));
  int understood = 0;
  const std::unique_ptr<sxExtension> read(form.parse(ext, understood));
  const std::unique_ptr<sxASN_Extension> made(read == nullptr ? nullptr : form.compose(*read, 0));
  return made != nullptr &&
         (form.isOfType != nullptr || sxEqual(sxView(made->extnValue->Data(), made->extnValue->Len()), value));
}

}  // namespace

bool sxMayBeIssued(sxOctetView type, sxOctetView value) {
  const auto *const form = std::ranges::find_if(
      kForms, [type](const Form &row) { return sxEqual(sxView(row.oid->Data(), row.oid->Len()), type); });
  if (form == std::end(kForms)) return true;
  return (form->parse == nullptr || Composes(*form, value)) && (form->isOfType == nullptr || form->isOfType(value));
}
