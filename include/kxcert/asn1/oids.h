/// @file
/// The object identifiers that the library speaks. Constants: ready before any static constructor.
#ifndef KXCERT_ASN1_OIDS_H_
#define KXCERT_ASN1_OIDS_H_

#include "kxcert/asn1/sxAsnOid.h"

#define KXCERT_OID(name) extern KXCERT_EXPORT const sxAsnOid name

// Digests
KXCERT_OID(sxASN_md5);
KXCERT_OID(sxASN_sha1);
KXCERT_OID(sxASN_sha256);
KXCERT_OID(sxASN_sha384);
KXCERT_OID(sxASN_sha512);
KXCERT_OID(sxASN_sha512_256);

// Signatures
KXCERT_OID(sxASN_md5WithRSAEncryption);
KXCERT_OID(sxASN_sha1WithRSAEncryption);
KXCERT_OID(sxASN_sha_1WithRSAEncryption);  // the older one, OIW
KXCERT_OID(sxASN_sha256WithRSAEncryption);
KXCERT_OID(sxASN_sha384WithRSAEncryption);
KXCERT_OID(sxASN_sha512WithRSAEncryption);
KXCERT_OID(sxASN_sha1WithECDSAEncryption);
KXCERT_OID(sxASN_sha256WithECDSAEncryption);
KXCERT_OID(sxASN_sha384WithECDSAEncryption);
KXCERT_OID(sxASN_sha512WithECDSAEncryption);

// Keys and curves
KXCERT_OID(sxASN_rsaEncryption);
KXCERT_OID(sxASN_dsa);
KXCERT_OID(sxASN_ECDSAPublicKey);
KXCERT_OID(sxASN_prime256v1);
KXCERT_OID(sxASN_secp384r1);
KXCERT_OID(sxASN_secp521r1);

// Attributes of names
KXCERT_OID(sxASN_id_at_commonName);
KXCERT_OID(sxASN_id_at_countryName);
KXCERT_OID(sxASN_id_at_stateOrProvinceName);
KXCERT_OID(sxASN_id_at_organizationName);
KXCERT_OID(sxASN_id_at_organizationalUnitName);
KXCERT_OID(sxASN_id_at_localityName);
KXCERT_OID(sxASN_id_at_title);
KXCERT_OID(sxASN_id_at_serialNumber);
KXCERT_OID(sxASN_id_at_streetAddress);
KXCERT_OID(sxASN_id_dc);
KXCERT_OID(sxASN_emailAddress);
KXCERT_OID(sxASN_id_uid);
KXCERT_OID(sxASN_id_principalName);

// Certificate and CRL extensions
KXCERT_OID(sxASN_id_ce_basicConstraints);
KXCERT_OID(sxASN_id_ce_keyUsage);
KXCERT_OID(sxASN_id_ce_cRLDistributionPoints);
KXCERT_OID(sxASN_id_ce_freshestCRL);
KXCERT_OID(sxASN_id_ce_subjectAltName);
KXCERT_OID(sxASN_id_ce_extKeyUsage);
KXCERT_OID(sxASN_id_ce_subjectKeyIdentifier);
KXCERT_OID(sxASN_id_ce_authorityKeyIdentifier);
KXCERT_OID(sxASN_id_pe_authorityInfoAccess);
KXCERT_OID(sxASN_id_ce_policyConstraints);
KXCERT_OID(sxASN_id_ce_certificatePolicies);
KXCERT_OID(sxASN_id_ce_issuingDistributionPoint);
KXCERT_OID(sxASN_id_ce_issuingDistributionPoint_obsolete);
// Under the product's own private enterprise arc
KXCERT_OID(sxASN_id_pki_extension_device_id);
KXCERT_OID(sxASN_id_pki_extension_device_type);
KXCERT_OID(sxASN_id_pki_extension_device_name);

// Extended key usage purposes and access methods
KXCERT_OID(sxASN_id_kp_serverAuth);
KXCERT_OID(sxASN_id_kp_clientAuth);
KXCERT_OID(sxASN_id_kp_codeSigning);
KXCERT_OID(sxASN_id_kp_emailProtection);
KXCERT_OID(sxASN_id_kp_ipsecEndSystem);
KXCERT_OID(sxASN_id_kp_ipsecTunnel);
KXCERT_OID(sxASN_id_kp_ipsecUser);
KXCERT_OID(sxASN_id_kp_timeStamping);
KXCERT_OID(sxASN_id_kp_smartCardLogon);
KXCERT_OID(sxASN_id_ad_ocsp);
KXCERT_OID(sxASN_id_ad_caIssuers);

#undef KXCERT_OID

#endif
