// Which values of extensions may be issued: those of their form that our own readers read and our composers would make.
#include <algorithm>
#include <iterator>
#include <memory>

#include "extensionRules.h"
#include "issueRules.h"
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/oids.h"
#include "strictDer.h"
#include "valueExtension.h"

namespace {

struct Composed {
  const sxAsnOid *oid;
  sxExtParseFunc parse;
  sxExtComposeFunc compose;  // refuses what must not be issued
};
// Names and places have one form each, whoever's they are.
constexpr Composed kComposed[] = {
    {&sxASN_id_ce_subjectAltName, sxParseIssuerAltName, sxComposeIssuerAltName},
    {&sxASN_id_ce_issuerAltName, sxParseIssuerAltName, sxComposeIssuerAltName},
    {&sxASN_id_pe_authorityInfoAccess, sxParseSubjectInfoAccess, sxComposeSubjectInfoAccess},
    {&sxASN_id_pe_subjectInfoAccess, sxParseSubjectInfoAccess, sxComposeSubjectInfoAccess},
    {&sxASN_id_ce_nameConstraints, sxParseNameConstraints, sxComposeNameConstraints},
    {&sxASN_id_ce_certificatePolicies, sxParseCertPolicies, sxComposeCertPolicies},
    {&sxASN_id_ce_policyMappings, sxParsePolicyMappings, sxComposePolicyMappings},
    {&sxASN_id_ce_policyConstraints, sxParsePolicyConstraints, sxComposePolicyConstraints},
    {&sxASN_id_ce_inhibitAnyPolicy, sxParseInhibitAnyPolicy, sxComposeInhibitAnyPolicy},
    {&sxASN_id_pe_tlsFeature, sxParseTlsFeature, sxComposeTlsFeature},
};

bool Composes(const Composed &row, sxOctetView value) {
  sxASN_Extension ext;
  ext.extnID = new sxAsnOid(*row.oid);
  ext.extnValue = new sxAsnOcts(value.data(), sxLen(value));
  int understood = 0;
  const std::unique_ptr<sxExtension> read(row.parse(ext, understood));
  return read != nullptr && std::unique_ptr<sxASN_Extension>(row.compose(*read, 0)) != nullptr;
}

// Whether a directory name stands within: a SEQUENCE of an identifier and a string is one of its attributes.
bool HoldsUncompared(sxOctetView content) {
  sxDerElement element, value;
  sxOctetView type;
  for (sxDerReader each(content); each.Take(&element);) {
    if ((element.tag & kConstructed) == 0) continue;
    sxDerReader fields(element.content);
    const bool isAva =
        element.tag == kDerSequence && fields.Take(kDerOid, &type) && fields.Take(&value) && fields.AtEnd();
    if ((isAva && !sxIsComparedValue(value)) || HoldsUncompared(element.content)) return true;
  }
  return false;
}

// Of a certificate's own facts, which issueRules.h has.
bool IsFitted(sxOctetView type) { return sxEqual(type, kOidKeyUsage) || sxEqual(type, kOidBasicConstraints); }

}  // namespace

bool sxMayBeIssued(sxOctetView type, sxOctetView value) {
  const sxExtensionRule *const rule = sxExtensionRuleOf(type);
  if (rule == nullptr || IsFitted(type)) return true;
  if (!sxIsStrictElement(value) || rule->form(value).reason != nullptr || HoldsUncompared(value)) { return false; }
  const auto *const row = std::ranges::find_if(
      kComposed, [type](const Composed &one) { return sxEqual(sxView(one.oid->Data(), one.oid->Len()), type); });
  return row == std::end(kComposed) || Composes(*row, value);
}
