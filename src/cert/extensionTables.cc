// Which extensions are understood, and by which functions. Each table ends with a null OID.
#include "kxcert/asn1/oids.h"
#include "sxExtension_imp.h"

namespace {

constexpr sxExtParser kParsers[] = {
    {&sxASN_id_ce_basicConstraints, sxParseBasicConstraint},
    {&sxASN_id_ce_keyUsage, sxParseKeyUsage},
    {&sxASN_id_ce_cRLDistributionPoints, sxParseDistPoints},
    {&sxASN_id_ce_subjectAltName, sxParseSubjectAltName},
    {&sxASN_id_ce_extKeyUsage, sxParseExtKeyUsage},
    {&sxASN_id_ce_subjectKeyIdentifier, sxParseKeyIdentifier},
    {&sxASN_id_ce_authorityKeyIdentifier, sxParseKeyIdentifier},
    {&sxASN_id_pe_authorityInfoAccess, sxParseAuthorityInfoAccess},
    {&sxASN_id_ce_policyConstraints, sxParseNoParse},
    {&sxASN_id_ce_certificatePolicies, sxParseNoParse},
    {&sxASN_id_pki_extension_device_id, sxParseDeviceData},
    {&sxASN_id_pki_extension_device_type, sxParseDeviceData},
    {&sxASN_id_pki_extension_device_name, sxParseDeviceData},
    {nullptr, nullptr},
};

constexpr sxExtParser kCRLParsers[] = {
    {&sxASN_id_ce_issuingDistributionPoint, sxParseIssuingDP},
    {&sxASN_id_ce_issuingDistributionPoint_obsolete, sxParseNoParse},
    {nullptr, nullptr},
};

// No rows that are passed over: a scope of the obsolete kind is none that anybody here obeys.
constexpr sxExtParser kKeptCRLParsers[] = {
    {&sxASN_id_ce_authorityKeyIdentifier, sxParseKeyIdentifier},
    {&sxASN_id_ce_freshestCRL, sxParseFreshestCRL},
    {&sxASN_id_ce_issuingDistributionPoint, sxParseIssuingDP},
    {nullptr, nullptr},
};

constexpr sxExtComposer kComposers[] = {
    {&sxASN_id_ce_basicConstraints, sxComposeBasicConstraint},
    {&sxASN_id_ce_keyUsage, sxComposeKeyUsage},
    {&sxASN_id_ce_cRLDistributionPoints, sxComposeDistPoints},
    {&sxASN_id_ce_subjectAltName, sxComposeSubjectAltName},
    {&sxASN_id_ce_extKeyUsage, sxComposeExtKeyUsage},
    {&sxASN_id_ce_subjectKeyIdentifier, sxComposeSubjectKeyId},
    {&sxASN_id_ce_authorityKeyIdentifier, sxComposeAuthorityKeyId},
    {&sxASN_id_pe_authorityInfoAccess, sxComposeAuthorityInfoAccess},
    {&sxASN_id_pki_extension_device_id, sxComposeDeviceData},
    {&sxASN_id_pki_extension_device_type, sxComposeDeviceData},
    {&sxASN_id_pki_extension_device_name, sxComposeDeviceData},
    {nullptr, nullptr},
};

constexpr sxExtComposer kCRLComposers[] = {
    {&sxASN_id_ce_issuingDistributionPoint, sxComposeIssuingDP},
    {nullptr, nullptr},
};

}  // namespace

const sxExtParser *Get_ExtParserTable() { return kParsers; }
const sxExtParser *Get_CRLExtParserTable() { return kCRLParsers; }
const sxExtParser *sxKeptCRLExtParserTable() { return kKeptCRLParsers; }
const sxExtComposer *Get_ExtComposerTable() { return kComposers; }
const sxExtComposer *Get_CRLExtComposerTable() { return kCRLComposers; }

sxExtension *sxParseNoParse(const sxASN_Extension &, int &) { return nullptr; }
