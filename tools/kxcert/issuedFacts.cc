#include "issuedFacts.h"

#include <cstdint>

#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/cert/issuedExtensions.h"
#include "unknownParts.h"
#include "visibleText.h"

namespace {

Facts NameFacts(const sxAnyName &name) { return {{"kind", name.Label()}, {"value", VisibleLine(name.Str())}}; }

Facts QualifierFacts(const sxPolicyQualifier &qualifier) {
  Facts facts = {{"oid", OidText(qualifier.type)}};
  if (!qualifier.cpsUri.empty()) facts["cps"] = VisibleLine(qualifier.cpsUri);
  if (!qualifier.explicitText.empty()) facts["explicitText"] = VisibleText(qualifier.explicitText);
  if (!qualifier.organization.empty()) {
    facts["organization"] = VisibleLine(qualifier.organization);
    facts["noticeNumbers"] = Facts::array();
    for (const int number : qualifier.noticeNumbers) facts["noticeNumbers"].push_back(number);
  }
  if (!qualifier.octets.empty()) facts["octets"] = HexOf(qualifier.octets.data(), qualifier.octets.size());
  return facts;
}

Facts PolicyFacts(const sxExtension &ext) {
  auto policies = Facts::array();
  for (const sxPolicy &policy : static_cast<const sxCertPolicies &>(ext).Policies()) {
    auto qualifiers = Facts::array();
    for (const sxPolicyQualifier &qualifier : policy.qualifiers) qualifiers.push_back(QualifierFacts(qualifier));
    policies.push_back({{"oid", OidText(policy.id)}, {"qualifiers", qualifiers}});
  }
  return {{"policies", policies}};
}

Facts MappingFacts(const sxExtension &ext) {
  auto mappings = Facts::array();
  for (const sxPolicyMapping &mapping : static_cast<const sxPolicyMappings &>(ext).Mappings()) {
    mappings.push_back({{"issuer", OidText(mapping.issuerDomain)}, {"subject", OidText(mapping.subjectDomain)}});
  }
  return {{"mappings", mappings}};
}

Facts LimitFacts(const sxExtension &ext) {
  const sxPolicyLimits &limits = static_cast<const sxPolicyConstraints &>(ext).Limits();
  Facts facts;
  if (limits.requireExplicit >= 0) facts["requireExplicitPolicy"] = CountFacts(limits.requireExplicit);
  if (limits.inhibitMapping >= 0) facts["inhibitPolicyMapping"] = CountFacts(limits.inhibitMapping);
  return facts;
}

Facts InhibitFacts(const sxExtension &ext) {
  return {{"skipCerts", CountFacts(static_cast<const sxInhibitAnyPolicy &>(ext).SkipCerts())}};
}

Facts SubtreeFacts(const std::vector<sxNameSubtree> &subtrees) {
  auto all = Facts::array();
  for (const sxNameSubtree &subtree : subtrees) {
    Facts facts = NameFacts(subtree.base);
    if (subtree.minimum != 0) facts["minimum"] = CountFacts(subtree.minimum);
    if (subtree.maximum >= 0) facts["maximum"] = CountFacts(subtree.maximum);
    all.push_back(std::move(facts));
  }
  return all;
}

Facts SpaceFacts(const sxExtension &ext) {
  const sxNameSpace &space = static_cast<const sxNameConstraints &>(ext).Space();
  return {{"permitted", SubtreeFacts(space.permitted)}, {"excluded", SubtreeFacts(space.excluded)}};
}

Facts FeatureFacts(const sxExtension &ext) {
  auto features = Facts::array();
  for (const int feature : static_cast<const sxTlsFeature &>(ext).Features()) features.push_back(CountFacts(feature));
  return {{"features", features}};
}

struct FactsRow {
  const sxAsnOid *type;
  Facts (*tell)(const sxExtension &ext);
};
constexpr FactsRow kRows[] = {
    {&sxASN_id_ce_certificatePolicies, PolicyFacts}, {&sxASN_id_ce_policyMappings, MappingFacts},
    {&sxASN_id_ce_policyConstraints, LimitFacts},    {&sxASN_id_ce_inhibitAnyPolicy, InhibitFacts},
    {&sxASN_id_ce_nameConstraints, SpaceFacts},      {&sxASN_id_pe_tlsFeature, FeatureFacts},
};

}  // namespace

Facts CountFacts(int count) { return count == INT32_MAX ? Facts(nullptr) : Facts(count); }

ReadAs ReadExtension(const sxASN_Extension &ext, std::unique_ptr<sxExtension> *made) {
  for (const sxExtParser *table : {Get_ExtParserTable(), Get_CRLExtParserTable(), Get_IssuedExtParserTable()}) {
    for (; table->oid != nullptr; ++table) {
      if (table->parse == sxParseNoParse || !table->oid->OidEquiv(*ext.extnID)) continue;
      int understood = 0;
      made->reset(table->parse(ext, understood));
      return *made != nullptr ? ReadAs::kRead : ReadAs::kBroken;
    }
  }
  return ReadAs::kUnknown;
}

Facts IssuedFacts(const sxAsnOid &type, const sxExtension &ext) {
  for (const FactsRow &row : kRows) {
    if (row.type->OidEquiv(type)) return row.tell(ext);
  }
  return {};
}
