#include "kxcert/asn1/oidNames.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <vector>

namespace {

using enum sxOidKind;

// Each name once in its kind, and each identifier once in all.
constinit const sxNamedOid kNamed[] = {
    // RFC 5280, 4.2, and what certificates carry beside it
    {"subjectDirectoryAttributes", kExtension, sxAsnOid({2, 5, 29, 9})},
    {"subjectKeyIdentifier", kExtension, sxAsnOid({2, 5, 29, 14})},
    {"keyUsage", kExtension, sxAsnOid({2, 5, 29, 15})},
    {"privateKeyUsagePeriod", kExtension, sxAsnOid({2, 5, 29, 16})},
    {"subjectAltName", kExtension, sxAsnOid({2, 5, 29, 17})},
    {"issuerAltName", kExtension, sxAsnOid({2, 5, 29, 18})},
    {"basicConstraints", kExtension, sxAsnOid({2, 5, 29, 19})},
    {"cRLNumber", kExtension, sxAsnOid({2, 5, 29, 20})},
    {"cRLReason", kExtension, sxAsnOid({2, 5, 29, 21})},
    {"holdInstructionCode", kExtension, sxAsnOid({2, 5, 29, 23})},
    {"invalidityDate", kExtension, sxAsnOid({2, 5, 29, 24})},
    {"deltaCRLIndicator", kExtension, sxAsnOid({2, 5, 29, 27})},
    {"issuingDistributionPoint", kExtension, sxAsnOid({2, 5, 29, 28})},
    {"certificateIssuer", kExtension, sxAsnOid({2, 5, 29, 29})},
    {"nameConstraints", kExtension, sxAsnOid({2, 5, 29, 30})},
    {"cRLDistributionPoints", kExtension, sxAsnOid({2, 5, 29, 31})},
    {"certificatePolicies", kExtension, sxAsnOid({2, 5, 29, 32})},
    {"policyMappings", kExtension, sxAsnOid({2, 5, 29, 33})},
    {"authorityKeyIdentifier", kExtension, sxAsnOid({2, 5, 29, 35})},
    {"policyConstraints", kExtension, sxAsnOid({2, 5, 29, 36})},
    {"extKeyUsage", kExtension, sxAsnOid({2, 5, 29, 37})},
    {"freshestCRL", kExtension, sxAsnOid({2, 5, 29, 46})},
    {"inhibitAnyPolicy", kExtension, sxAsnOid({2, 5, 29, 54})},
    {"authorityInfoAccess", kExtension, sxAsnOid({1, 3, 6, 1, 5, 5, 7, 1, 1})},
    {"qcStatements", kExtension, sxAsnOid({1, 3, 6, 1, 5, 5, 7, 1, 3})},  // RFC 3739, 3.2.6
    {"subjectInfoAccess", kExtension, sxAsnOid({1, 3, 6, 1, 5, 5, 7, 1, 11})},
    {"tlsFeature", kExtension, sxAsnOid({1, 3, 6, 1, 5, 5, 7, 1, 24})},                  // RFC 7633, 4
    {"ocspNoCheck", kExtension, sxAsnOid({1, 3, 6, 1, 5, 5, 7, 48, 1, 5})},              // RFC 6960, 4.2.2.2.1
    {"ocspNonce", kExtension, sxAsnOid({1, 3, 6, 1, 5, 5, 7, 48, 1, 2})},                // RFC 6960, 4.4.1
    {"ocspCrlReferences", kExtension, sxAsnOid({1, 3, 6, 1, 5, 5, 7, 48, 1, 3})},        // RFC 6960, 4.4.2
    {"ocspResponse", kExtension, sxAsnOid({1, 3, 6, 1, 5, 5, 7, 48, 1, 4})},             // RFC 6960, 4.4.3
    {"ocspArchiveCutoff", kExtension, sxAsnOid({1, 3, 6, 1, 5, 5, 7, 48, 1, 6})},        // RFC 6960, 4.4.4
    {"ocspServiceLocator", kExtension, sxAsnOid({1, 3, 6, 1, 5, 5, 7, 48, 1, 7})},       // RFC 6960, 4.4.6
    {"ctPrecertificateSCTs", kExtension, sxAsnOid({1, 3, 6, 1, 4, 1, 11129, 2, 4, 2})},  // RFC 6962, 3.3
    {"ctPrecertificatePoison", kExtension, sxAsnOid({1, 3, 6, 1, 4, 1, 11129, 2, 4, 3})},
    {"netscapeCertType", kExtension, sxAsnOid({2, 16, 840, 1, 113730, 1, 1})},
    {"netscapeBaseUrl", kExtension, sxAsnOid({2, 16, 840, 1, 113730, 1, 2})},
    {"netscapeRevocationUrl", kExtension, sxAsnOid({2, 16, 840, 1, 113730, 1, 3})},
    {"netscapeCaRevocationUrl", kExtension, sxAsnOid({2, 16, 840, 1, 113730, 1, 4})},
    {"netscapeRenewalUrl", kExtension, sxAsnOid({2, 16, 840, 1, 113730, 1, 7})},
    {"netscapeCaPolicyUrl", kExtension, sxAsnOid({2, 16, 840, 1, 113730, 1, 8})},
    {"netscapeSslServerName", kExtension, sxAsnOid({2, 16, 840, 1, 113730, 1, 12})},
    {"netscapeComment", kExtension, sxAsnOid({2, 16, 840, 1, 113730, 1, 13})},
    {"microsoftTemplateName", kExtension, sxAsnOid({1, 3, 6, 1, 4, 1, 311, 20, 2})},
    {"microsoftCaVersion", kExtension, sxAsnOid({1, 3, 6, 1, 4, 1, 311, 21, 1})},
    {"microsoftTemplate", kExtension, sxAsnOid({1, 3, 6, 1, 4, 1, 311, 21, 7})},

    // RFC 5280, 4.2.1.12
    {"anyExtendedKeyUsage", kPurpose, sxAsnOid({2, 5, 29, 37, 0})},
    {"serverAuth", kPurpose, sxAsnOid({1, 3, 6, 1, 5, 5, 7, 3, 1})},
    {"clientAuth", kPurpose, sxAsnOid({1, 3, 6, 1, 5, 5, 7, 3, 2})},
    {"codeSigning", kPurpose, sxAsnOid({1, 3, 6, 1, 5, 5, 7, 3, 3})},
    {"emailProtection", kPurpose, sxAsnOid({1, 3, 6, 1, 5, 5, 7, 3, 4})},
    {"ipsecEndSystem", kPurpose, sxAsnOid({1, 3, 6, 1, 5, 5, 7, 3, 5})},
    {"ipsecTunnel", kPurpose, sxAsnOid({1, 3, 6, 1, 5, 5, 7, 3, 6})},
    {"ipsecUser", kPurpose, sxAsnOid({1, 3, 6, 1, 5, 5, 7, 3, 7})},
    {"timeStamping", kPurpose, sxAsnOid({1, 3, 6, 1, 5, 5, 7, 3, 8})},
    {"OCSPSigning", kPurpose, sxAsnOid({1, 3, 6, 1, 5, 5, 7, 3, 9})},
    {"ipsecIKE", kPurpose, sxAsnOid({1, 3, 6, 1, 5, 5, 7, 3, 17})},  // RFC 4945, 5.1.3.12
    {"smartCardLogon", kPurpose, sxAsnOid({1, 3, 6, 1, 4, 1, 311, 20, 2, 2})},

    // X.520; RFC 4519, 2; RFC 5280, A.1
    {"commonName", kAttribute, sxAsnOid({2, 5, 4, 3})},
    {"surname", kAttribute, sxAsnOid({2, 5, 4, 4})},
    {"serialNumber", kAttribute, sxAsnOid({2, 5, 4, 5})},
    {"countryName", kAttribute, sxAsnOid({2, 5, 4, 6})},
    {"localityName", kAttribute, sxAsnOid({2, 5, 4, 7})},
    {"stateOrProvinceName", kAttribute, sxAsnOid({2, 5, 4, 8})},
    {"streetAddress", kAttribute, sxAsnOid({2, 5, 4, 9})},
    {"organizationName", kAttribute, sxAsnOid({2, 5, 4, 10})},
    {"organizationalUnitName", kAttribute, sxAsnOid({2, 5, 4, 11})},
    {"title", kAttribute, sxAsnOid({2, 5, 4, 12})},
    {"description", kAttribute, sxAsnOid({2, 5, 4, 13})},
    {"businessCategory", kAttribute, sxAsnOid({2, 5, 4, 15})},
    {"postalCode", kAttribute, sxAsnOid({2, 5, 4, 17})},
    {"telephoneNumber", kAttribute, sxAsnOid({2, 5, 4, 20})},
    {"name", kAttribute, sxAsnOid({2, 5, 4, 41})},
    {"givenName", kAttribute, sxAsnOid({2, 5, 4, 42})},
    {"initials", kAttribute, sxAsnOid({2, 5, 4, 43})},
    {"generationQualifier", kAttribute, sxAsnOid({2, 5, 4, 44})},
    {"x500UniqueIdentifier", kAttribute, sxAsnOid({2, 5, 4, 45})},
    {"dnQualifier", kAttribute, sxAsnOid({2, 5, 4, 46})},
    {"pseudonym", kAttribute, sxAsnOid({2, 5, 4, 65})},
    {"role", kAttribute, sxAsnOid({2, 5, 4, 72})},
    {"organizationIdentifier", kAttribute, sxAsnOid({2, 5, 4, 97})},
    {"domainComponent", kAttribute, sxAsnOid({0, 9, 2342, 19200300, 100, 1, 25})},
    {"userId", kAttribute, sxAsnOid({0, 9, 2342, 19200300, 100, 1, 1})},
    {"principalName", kAttribute, sxAsnOid({1, 3, 6, 1, 4, 1, 311, 20, 2, 3})},
    {"jurisdictionLocality", kAttribute, sxAsnOid({1, 3, 6, 1, 4, 1, 311, 60, 2, 1, 1})},
    {"jurisdictionState", kAttribute, sxAsnOid({1, 3, 6, 1, 4, 1, 311, 60, 2, 1, 2})},
    {"jurisdictionCountry", kAttribute, sxAsnOid({1, 3, 6, 1, 4, 1, 311, 60, 2, 1, 3})},
    {"dateOfBirth", kAttribute, sxAsnOid({1, 3, 6, 1, 5, 5, 7, 9, 1})},  // RFC 3739, 3.3.2
    {"placeOfBirth", kAttribute, sxAsnOid({1, 3, 6, 1, 5, 5, 7, 9, 2})},
    {"gender", kAttribute, sxAsnOid({1, 3, 6, 1, 5, 5, 7, 9, 3})},
    {"countryOfCitizenship", kAttribute, sxAsnOid({1, 3, 6, 1, 5, 5, 7, 9, 4})},
    {"countryOfResidence", kAttribute, sxAsnOid({1, 3, 6, 1, 5, 5, 7, 9, 5})},
    // RFC 2985, 5
    {"emailAddress", kAttribute, sxAsnOid({1, 2, 840, 113549, 1, 9, 1})},
    {"unstructuredName", kAttribute, sxAsnOid({1, 2, 840, 113549, 1, 9, 2})},
    {"contentType", kAttribute, sxAsnOid({1, 2, 840, 113549, 1, 9, 3})},
    {"messageDigest", kAttribute, sxAsnOid({1, 2, 840, 113549, 1, 9, 4})},
    {"signingTime", kAttribute, sxAsnOid({1, 2, 840, 113549, 1, 9, 5})},
    {"challengePassword", kAttribute, sxAsnOid({1, 2, 840, 113549, 1, 9, 7})},
    {"unstructuredAddress", kAttribute, sxAsnOid({1, 2, 840, 113549, 1, 9, 8})},
    {"extensionRequest", kAttribute, sxAsnOid({1, 2, 840, 113549, 1, 9, 14})},
    {"smimeCapabilities", kAttribute, sxAsnOid({1, 2, 840, 113549, 1, 9, 15})},
    {"friendlyName", kAttribute, sxAsnOid({1, 2, 840, 113549, 1, 9, 20})},
    {"localKeyID", kAttribute, sxAsnOid({1, 2, 840, 113549, 1, 9, 21})},

    // Keys, and curves: RFC 3279, 2.3; RFC 4055, 1.2; RFC 5480, 2.1.1; RFC 8410, 3; RFC 5639, 4; SEC 2
    {"rsaEncryption", kKey, sxAsnOid({1, 2, 840, 113549, 1, 1, 1})},
    {"id-RSAES-OAEP", kKey, sxAsnOid({1, 2, 840, 113549, 1, 1, 7})},
    {"id-RSASSA-PSS", kKey, sxAsnOid({1, 2, 840, 113549, 1, 1, 10})},
    {"id-dsa", kKey, sxAsnOid({1, 2, 840, 10040, 4, 1})},
    {"dhKeyAgreement", kKey, sxAsnOid({1, 2, 840, 113549, 1, 3, 1})},
    {"dhpublicnumber", kKey, sxAsnOid({1, 2, 840, 10046, 2, 1})},
    {"id-ecPublicKey", kKey, sxAsnOid({1, 2, 840, 10045, 2, 1})},
    {"id-ecDH", kKey, sxAsnOid({1, 3, 132, 1, 12})},
    {"X25519", kKey, sxAsnOid({1, 3, 101, 110})},
    {"X448", kKey, sxAsnOid({1, 3, 101, 111})},
    {"Ed25519", kKey, sxAsnOid({1, 3, 101, 112})},
    {"Ed448", kKey, sxAsnOid({1, 3, 101, 113})},
    {"prime-field", kKey, sxAsnOid({1, 2, 840, 10045, 1, 1})},
    {"characteristic-two-field", kKey, sxAsnOid({1, 2, 840, 10045, 1, 2})},
    {"secp192r1", kCurve, sxAsnOid({1, 2, 840, 10045, 3, 1, 1})},
    {"prime256v1", kCurve, sxAsnOid({1, 2, 840, 10045, 3, 1, 7})},
    {"secp256k1", kCurve, sxAsnOid({1, 3, 132, 0, 10})},
    {"secp224k1", kCurve, sxAsnOid({1, 3, 132, 0, 32})},
    {"secp224r1", kCurve, sxAsnOid({1, 3, 132, 0, 33})},
    {"secp384r1", kCurve, sxAsnOid({1, 3, 132, 0, 34})},
    {"secp521r1", kCurve, sxAsnOid({1, 3, 132, 0, 35})},
    {"sect233r1", kCurve, sxAsnOid({1, 3, 132, 0, 27})},
    {"sect283k1", kCurve, sxAsnOid({1, 3, 132, 0, 16})},
    {"sect283r1", kCurve, sxAsnOid({1, 3, 132, 0, 17})},
    {"sect409r1", kCurve, sxAsnOid({1, 3, 132, 0, 37})},
    {"sect571r1", kCurve, sxAsnOid({1, 3, 132, 0, 39})},
    {"brainpoolP160r1", kCurve, sxAsnOid({1, 3, 36, 3, 3, 2, 8, 1, 1, 1})},
    {"brainpoolP192r1", kCurve, sxAsnOid({1, 3, 36, 3, 3, 2, 8, 1, 1, 3})},
    {"brainpoolP224r1", kCurve, sxAsnOid({1, 3, 36, 3, 3, 2, 8, 1, 1, 5})},
    {"brainpoolP256r1", kCurve, sxAsnOid({1, 3, 36, 3, 3, 2, 8, 1, 1, 7})},
    {"brainpoolP256t1", kCurve, sxAsnOid({1, 3, 36, 3, 3, 2, 8, 1, 1, 8})},
    {"brainpoolP320r1", kCurve, sxAsnOid({1, 3, 36, 3, 3, 2, 8, 1, 1, 9})},
    {"brainpoolP384r1", kCurve, sxAsnOid({1, 3, 36, 3, 3, 2, 8, 1, 1, 11})},
    {"brainpoolP384t1", kCurve, sxAsnOid({1, 3, 36, 3, 3, 2, 8, 1, 1, 12})},
    {"brainpoolP512r1", kCurve, sxAsnOid({1, 3, 36, 3, 3, 2, 8, 1, 1, 13})},
    {"brainpoolP512t1", kCurve, sxAsnOid({1, 3, 36, 3, 3, 2, 8, 1, 1, 14})},
    {"SM2", kCurve, sxAsnOid({1, 2, 156, 10197, 1, 301})},

    // Signatures: RFC 8017, A.2.4; RFC 3279, 2.2; RFC 5758, 3
    {"md2WithRSAEncryption", kSignature, sxAsnOid({1, 2, 840, 113549, 1, 1, 2})},
    {"md4WithRSAEncryption", kSignature, sxAsnOid({1, 2, 840, 113549, 1, 1, 3})},
    {"md5WithRSAEncryption", kSignature, sxAsnOid({1, 2, 840, 113549, 1, 1, 4})},
    {"sha1WithRSAEncryption", kSignature, sxAsnOid({1, 2, 840, 113549, 1, 1, 5})},
    {"sha1WithRSASignature", kSignature, sxAsnOid({1, 3, 14, 3, 2, 29})},
    {"sha256WithRSAEncryption", kSignature, sxAsnOid({1, 2, 840, 113549, 1, 1, 11})},
    {"sha384WithRSAEncryption", kSignature, sxAsnOid({1, 2, 840, 113549, 1, 1, 12})},
    {"sha512WithRSAEncryption", kSignature, sxAsnOid({1, 2, 840, 113549, 1, 1, 13})},
    {"sha224WithRSAEncryption", kSignature, sxAsnOid({1, 2, 840, 113549, 1, 1, 14})},
    {"sha512-224WithRSAEncryption", kSignature, sxAsnOid({1, 2, 840, 113549, 1, 1, 15})},
    {"sha512-256WithRSAEncryption", kSignature, sxAsnOid({1, 2, 840, 113549, 1, 1, 16})},
    {"ecdsa-with-SHA1", kSignature, sxAsnOid({1, 2, 840, 10045, 4, 1})},
    {"ecdsa-with-SHA224", kSignature, sxAsnOid({1, 2, 840, 10045, 4, 3, 1})},
    {"ecdsa-with-SHA256", kSignature, sxAsnOid({1, 2, 840, 10045, 4, 3, 2})},
    {"ecdsa-with-SHA384", kSignature, sxAsnOid({1, 2, 840, 10045, 4, 3, 3})},
    {"ecdsa-with-SHA512", kSignature, sxAsnOid({1, 2, 840, 10045, 4, 3, 4})},
    {"id-dsa-with-sha1", kSignature, sxAsnOid({1, 2, 840, 10040, 4, 3})},
    {"id-dsa-with-sha224", kSignature, sxAsnOid({2, 16, 840, 1, 101, 3, 4, 3, 1})},
    {"id-dsa-with-sha256", kSignature, sxAsnOid({2, 16, 840, 1, 101, 3, 4, 3, 2})},
    {"id-dsa-with-sha384", kSignature, sxAsnOid({2, 16, 840, 1, 101, 3, 4, 3, 3})},
    {"id-dsa-with-sha512", kSignature, sxAsnOid({2, 16, 840, 1, 101, 3, 4, 3, 4})},
    {"SM2-with-SM3", kSignature, sxAsnOid({1, 2, 156, 10197, 1, 501})},
    // FIPS 204
    {"id-ml-dsa-44", kSignature, sxAsnOid({2, 16, 840, 1, 101, 3, 4, 3, 17})},
    {"id-ml-dsa-65", kSignature, sxAsnOid({2, 16, 840, 1, 101, 3, 4, 3, 18})},
    {"id-ml-dsa-87", kSignature, sxAsnOid({2, 16, 840, 1, 101, 3, 4, 3, 19})},

    // Digests and what else algorithms are made of
    {"md5", kOther, sxAsnOid({1, 2, 840, 113549, 2, 5})},
    {"sha1", kOther, sxAsnOid({1, 3, 14, 3, 2, 26})},
    {"sha256", kOther, sxAsnOid({2, 16, 840, 1, 101, 3, 4, 2, 1})},
    {"sha384", kOther, sxAsnOid({2, 16, 840, 1, 101, 3, 4, 2, 2})},
    {"sha512", kOther, sxAsnOid({2, 16, 840, 1, 101, 3, 4, 2, 3})},
    {"sha224", kOther, sxAsnOid({2, 16, 840, 1, 101, 3, 4, 2, 4})},
    {"sha512-256", kOther, sxAsnOid({2, 16, 840, 1, 101, 3, 4, 2, 6})},
    {"sha3-256", kOther, sxAsnOid({2, 16, 840, 1, 101, 3, 4, 2, 8})},
    {"id-mgf1", kOther, sxAsnOid({1, 2, 840, 113549, 1, 1, 8})},
    {"hmacWithSHA1", kOther, sxAsnOid({1, 2, 840, 113549, 2, 7})},
    {"hmacWithSHA256", kOther, sxAsnOid({1, 2, 840, 113549, 2, 9})},
    {"hmacWithSHA384", kOther, sxAsnOid({1, 2, 840, 113549, 2, 10})},
    {"hmacWithSHA512", kOther, sxAsnOid({1, 2, 840, 113549, 2, 11})},
    {"passwordBasedMac", kOther, sxAsnOid({1, 2, 840, 113533, 7, 66, 13})},
    {"PBKDF2", kOther, sxAsnOid({1, 2, 840, 113549, 1, 5, 12})},
    {"PBES2", kOther, sxAsnOid({1, 2, 840, 113549, 1, 5, 13})},
    {"PBMAC1", kOther, sxAsnOid({1, 2, 840, 113549, 1, 5, 14})},
    {"scrypt", kOther, sxAsnOid({1, 3, 6, 1, 4, 1, 11591, 4, 11})},
    {"des-EDE3-CBC", kOther, sxAsnOid({1, 2, 840, 113549, 3, 7})},
    {"aes128-CBC", kOther, sxAsnOid({2, 16, 840, 1, 101, 3, 4, 1, 2})},
    {"aes192-CBC", kOther, sxAsnOid({2, 16, 840, 1, 101, 3, 4, 1, 22})},
    {"aes256-CBC", kOther, sxAsnOid({2, 16, 840, 1, 101, 3, 4, 1, 42})},
    {"pbeWithSHAAnd3-KeyTripleDES-CBC", kOther, sxAsnOid({1, 2, 840, 113549, 1, 12, 1, 3})},
    {"pbeWithSHAAnd40BitRC2-CBC", kOther, sxAsnOid({1, 2, 840, 113549, 1, 12, 1, 6})},

    // RFC 5652, 4 and on; RFC 7292, 4.2; RFC 6960, 4.2.1
    {"id-data", kContent, sxAsnOid({1, 2, 840, 113549, 1, 7, 1})},
    {"id-signedData", kContent, sxAsnOid({1, 2, 840, 113549, 1, 7, 2})},
    {"id-envelopedData", kContent, sxAsnOid({1, 2, 840, 113549, 1, 7, 3})},
    {"id-digestedData", kContent, sxAsnOid({1, 2, 840, 113549, 1, 7, 5})},
    {"id-encryptedData", kContent, sxAsnOid({1, 2, 840, 113549, 1, 7, 6})},
    {"id-ct-authData", kContent, sxAsnOid({1, 2, 840, 113549, 1, 9, 16, 1, 2})},
    {"id-ct-TSTInfo", kContent, sxAsnOid({1, 2, 840, 113549, 1, 9, 16, 1, 4})},
    {"id-ct-compressedData", kContent, sxAsnOid({1, 2, 840, 113549, 1, 9, 16, 1, 9})},
    {"x509Certificate", kOther, sxAsnOid({1, 2, 840, 113549, 1, 9, 22, 1})},
    {"x509Crl", kOther, sxAsnOid({1, 2, 840, 113549, 1, 9, 23, 1})},
    {"keyBag", kOther, sxAsnOid({1, 2, 840, 113549, 1, 12, 10, 1, 1})},
    {"pkcs8ShroudedKeyBag", kOther, sxAsnOid({1, 2, 840, 113549, 1, 12, 10, 1, 2})},
    {"certBag", kOther, sxAsnOid({1, 2, 840, 113549, 1, 12, 10, 1, 3})},
    {"crlBag", kOther, sxAsnOid({1, 2, 840, 113549, 1, 12, 10, 1, 4})},
    {"secretBag", kOther, sxAsnOid({1, 2, 840, 113549, 1, 12, 10, 1, 5})},
    {"safeContentsBag", kOther, sxAsnOid({1, 2, 840, 113549, 1, 12, 10, 1, 6})},
    {"ocspBasic", kOther, sxAsnOid({1, 3, 6, 1, 5, 5, 7, 48, 1, 1})},

    // RFC 5280, 4.2.1.4 and 4.2.2
    {"anyPolicy", kOther, sxAsnOid({2, 5, 29, 32, 0})},
    {"domain-validated", kOther, sxAsnOid({2, 23, 140, 1, 2, 1})},
    {"organization-validated", kOther, sxAsnOid({2, 23, 140, 1, 2, 2})},
    {"individual-validated", kOther, sxAsnOid({2, 23, 140, 1, 2, 3})},
    {"extended-validation", kOther, sxAsnOid({2, 23, 140, 1, 1})},
    {"id-qt-cps", kOther, sxAsnOid({1, 3, 6, 1, 5, 5, 7, 2, 1})},
    {"id-qt-unotice", kOther, sxAsnOid({1, 3, 6, 1, 5, 5, 7, 2, 2})},
    {"ocsp", kOther, sxAsnOid({1, 3, 6, 1, 5, 5, 7, 48, 1})},
    {"caIssuers", kOther, sxAsnOid({1, 3, 6, 1, 5, 5, 7, 48, 2})},
    {"ad-timeStamping", kOther, sxAsnOid({1, 3, 6, 1, 5, 5, 7, 48, 3})},
    {"caRepository", kOther, sxAsnOid({1, 3, 6, 1, 5, 5, 7, 48, 5})},
    // RFC 4211, 6 and 7
    {"regToken", kOther, sxAsnOid({1, 3, 6, 1, 5, 5, 7, 5, 1, 1})},
    {"authenticator", kOther, sxAsnOid({1, 3, 6, 1, 5, 5, 7, 5, 1, 2})},
    {"pkiPublicationInfo", kOther, sxAsnOid({1, 3, 6, 1, 5, 5, 7, 5, 1, 3})},
    {"oldCertID", kOther, sxAsnOid({1, 3, 6, 1, 5, 5, 7, 5, 1, 5})},
};

std::string_view ContentOf(const sxAsnOid &oid) {
  return {reinterpret_cast<const char *>(oid.Data()), static_cast<size_t>(oid.Len())};
}

}  // namespace

std::span<const sxNamedOid> sxNamedOids() { return kNamed; }

const char *sxOidName(const sxAsnOid &oid) {
  static const std::vector<const sxNamedOid *> kSorted = [] {
    std::vector<const sxNamedOid *> sorted;
    for (const sxNamedOid &row : kNamed) sorted.push_back(&row);
    std::ranges::sort(sorted, {}, [](const sxNamedOid *row) { return ContentOf(row->oid); });
    return sorted;
  }();
  const auto found =
      std::ranges::lower_bound(kSorted, ContentOf(oid), {}, [](const sxNamedOid *row) { return ContentOf(row->oid); });
  return found != kSorted.end() && (*found)->oid.OidEquiv(oid) ? (*found)->name : nullptr;
}
