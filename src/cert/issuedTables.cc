// Which extensions beside those of extensionTables.cc are understood. Each table ends with a null OID.
#include <iterator>
#include <vector>

#include "kxcert/asn1/oids.h"
#include "valueExtension.h"

constinit const sxAsnOid sxASN_id_ce_issuerAltName({2, 5, 29, 18});
constinit const sxAsnOid sxASN_id_ce_nameConstraints({2, 5, 29, 30});
constinit const sxAsnOid sxASN_id_ce_policyMappings({2, 5, 29, 33});
constinit const sxAsnOid sxASN_id_ce_inhibitAnyPolicy({2, 5, 29, 54});
constinit const sxAsnOid sxASN_id_pe_subjectInfoAccess({1, 3, 6, 1, 5, 5, 7, 1, 11});
constinit const sxAsnOid sxASN_id_pe_tlsFeature({1, 3, 6, 1, 5, 5, 7, 1, 24});
constinit const sxAsnOid sxASN_id_pkix_ocsp_nocheck({1, 3, 6, 1, 5, 5, 7, 48, 1, 5});

namespace {

constexpr sxExtParser kParsers[] = {
    {&sxASN_id_ce_certificatePolicies, sxParseCertPolicies},
    {&sxASN_id_ce_policyMappings, sxParsePolicyMappings},
    {&sxASN_id_ce_policyConstraints, sxParsePolicyConstraints},
    {&sxASN_id_ce_inhibitAnyPolicy, sxParseInhibitAnyPolicy},
    {&sxASN_id_ce_nameConstraints, sxParseNameConstraints},
    {&sxASN_id_ce_issuerAltName, sxParseIssuerAltName},
    {&sxASN_id_ce_freshestCRL, sxParseFreshestCRL},
    {&sxASN_id_pe_subjectInfoAccess, sxParseSubjectInfoAccess},
    {&sxASN_id_pe_tlsFeature, sxParseTlsFeature},
    {&sxASN_id_pkix_ocsp_nocheck, sxParseOcspNoCheck},
    {nullptr, nullptr},
};

constexpr sxExtComposer kComposers[] = {
    {&sxASN_id_ce_certificatePolicies, sxComposeCertPolicies},
    {&sxASN_id_ce_policyMappings, sxComposePolicyMappings},
    {&sxASN_id_ce_policyConstraints, sxComposePolicyConstraints},
    {&sxASN_id_ce_inhibitAnyPolicy, sxComposeInhibitAnyPolicy},
    {&sxASN_id_ce_nameConstraints, sxComposeNameConstraints},
    {&sxASN_id_ce_issuerAltName, sxComposeIssuerAltName},
    {&sxASN_id_ce_freshestCRL, sxComposeFreshestCRL},
    {&sxASN_id_pe_subjectInfoAccess, sxComposeSubjectInfoAccess},
    {&sxASN_id_pe_tlsFeature, sxComposeTlsFeature},
    {&sxASN_id_pkix_ocsp_nocheck, sxComposeOcspNoCheck},
    {nullptr, nullptr},
};

}  // namespace

// A row for each identifier that either table has.
const sxExtComposer *sxTemplateExtComposerTable() {
  static const std::vector<sxExtComposer> kAll = [] {
    std::vector<sxExtComposer> all;
    for (const sxExtComposer *row = Get_ExtComposerTable(); row->oid != nullptr; ++row) all.push_back(*row);
    all.insert(all.end(), std::begin(kComposers), std::end(kComposers));
    return all;
  }();
  return kAll.data();
}

const sxExtParser *Get_IssuedExtParserTable() { return kParsers; }
const sxExtComposer *Get_IssuedExtComposerTable() { return kComposers; }
