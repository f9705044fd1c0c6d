#include "kxcert/asn1/oids.h"

// Each line: the constant and its arcs.
#define KXCERT_OID(name, ...)     \
  constinit const sxAsnOid name { \
    { __VA_ARGS__ }               \
  }

// RFC 1321, RFC 3279, RFC 5754; FIPS 180-4 registrations under 2.16.840.1.101.3.4.2
KXCERT_OID(sxASN_md5, 1, 2, 840, 113549, 2, 5);
KXCERT_OID(sxASN_sha1, 1, 3, 14, 3, 2, 26);
KXCERT_OID(sxASN_sha256, 2, 16, 840, 1, 101, 3, 4, 2, 1);
KXCERT_OID(sxASN_sha384, 2, 16, 840, 1, 101, 3, 4, 2, 2);
KXCERT_OID(sxASN_sha512, 2, 16, 840, 1, 101, 3, 4, 2, 3);
KXCERT_OID(sxASN_sha512_256, 2, 16, 840, 1, 101, 3, 4, 2, 6);

// RFC 8017, A.2.4; RFC 5758, 3.2
KXCERT_OID(sxASN_md5WithRSAEncryption, 1, 2, 840, 113549, 1, 1, 4);
KXCERT_OID(sxASN_sha1WithRSAEncryption, 1, 2, 840, 113549, 1, 1, 5);
KXCERT_OID(sxASN_sha_1WithRSAEncryption, 1, 3, 14, 3, 2, 29);
KXCERT_OID(sxASN_sha256WithRSAEncryption, 1, 2, 840, 113549, 1, 1, 11);
KXCERT_OID(sxASN_sha384WithRSAEncryption, 1, 2, 840, 113549, 1, 1, 12);
KXCERT_OID(sxASN_sha512WithRSAEncryption, 1, 2, 840, 113549, 1, 1, 13);
KXCERT_OID(sxASN_sha1WithECDSAEncryption, 1, 2, 840, 10045, 4, 1);
KXCERT_OID(sxASN_sha256WithECDSAEncryption, 1, 2, 840, 10045, 4, 3, 2);
KXCERT_OID(sxASN_sha384WithECDSAEncryption, 1, 2, 840, 10045, 4, 3, 3);
KXCERT_OID(sxASN_sha512WithECDSAEncryption, 1, 2, 840, 10045, 4, 3, 4);

// RFC 3279, 2.3; RFC 5480, 2.1.1
KXCERT_OID(sxASN_rsaEncryption, 1, 2, 840, 113549, 1, 1, 1);
KXCERT_OID(sxASN_dsa, 1, 2, 840, 10040, 4, 1);
KXCERT_OID(sxASN_ECDSAPublicKey, 1, 2, 840, 10045, 2, 1);
KXCERT_OID(sxASN_prime256v1, 1, 2, 840, 10045, 3, 1, 7);
KXCERT_OID(sxASN_secp384r1, 1, 3, 132, 0, 34);
KXCERT_OID(sxASN_secp521r1, 1, 3, 132, 0, 35);

// X.520; RFC 4519; PKCS #9
KXCERT_OID(sxASN_id_at_commonName, 2, 5, 4, 3);
KXCERT_OID(sxASN_id_at_countryName, 2, 5, 4, 6);
KXCERT_OID(sxASN_id_at_stateOrProvinceName, 2, 5, 4, 8);
KXCERT_OID(sxASN_id_at_organizationName, 2, 5, 4, 10);
KXCERT_OID(sxASN_id_at_organizationalUnitName, 2, 5, 4, 11);
KXCERT_OID(sxASN_id_at_localityName, 2, 5, 4, 7);
KXCERT_OID(sxASN_id_at_title, 2, 5, 4, 12);
KXCERT_OID(sxASN_id_at_serialNumber, 2, 5, 4, 5);
KXCERT_OID(sxASN_id_at_streetAddress, 2, 5, 4, 9);
KXCERT_OID(sxASN_id_dc, 0, 9, 2342, 19200300, 100, 1, 25);
KXCERT_OID(sxASN_emailAddress, 1, 2, 840, 113549, 1, 9, 1);
KXCERT_OID(sxASN_id_uid, 0, 9, 2342, 19200300, 100, 1, 1);
KXCERT_OID(sxASN_id_principalName, 1, 3, 6, 1, 4, 1, 311, 20, 2, 3);

// RFC 5280, 4.2 and 5.2
KXCERT_OID(sxASN_id_ce_basicConstraints, 2, 5, 29, 19);
KXCERT_OID(sxASN_id_ce_keyUsage, 2, 5, 29, 15);
KXCERT_OID(sxASN_id_ce_cRLDistributionPoints, 2, 5, 29, 31);
KXCERT_OID(sxASN_id_ce_freshestCRL, 2, 5, 29, 46);
KXCERT_OID(sxASN_id_ce_subjectAltName, 2, 5, 29, 17);
KXCERT_OID(sxASN_id_ce_extKeyUsage, 2, 5, 29, 37);
KXCERT_OID(sxASN_id_ce_subjectKeyIdentifier, 2, 5, 29, 14);
KXCERT_OID(sxASN_id_ce_authorityKeyIdentifier, 2, 5, 29, 35);
KXCERT_OID(sxASN_id_pe_authorityInfoAccess, 1, 3, 6, 1, 5, 5, 7, 1, 1);
KXCERT_OID(sxASN_id_ce_policyConstraints, 2, 5, 29, 36);
KXCERT_OID(sxASN_id_ce_certificatePolicies, 2, 5, 29, 32);
KXCERT_OID(sxASN_id_ce_issuingDistributionPoint, 2, 5, 29, 28);
KXCERT_OID(sxASN_id_ce_issuingDistributionPoint_obsolete, 2, 5, 29, 26);
// 32473 is the enterprise number for documentation (RFC 5612): our choice until one is assigned.
KXCERT_OID(sxASN_id_pki_extension_device_id, 1, 3, 6, 1, 4, 1, 32473, 3, 1, 1);
KXCERT_OID(sxASN_id_pki_extension_device_type, 1, 3, 6, 1, 4, 1, 32473, 3, 1, 2);
KXCERT_OID(sxASN_id_pki_extension_device_name, 1, 3, 6, 1, 4, 1, 32473, 3, 1, 3);

// RFC 5280, 4.2.1.12 and 4.2.2.1; RFC 4945, 5.1.3.12
KXCERT_OID(sxASN_id_kp_serverAuth, 1, 3, 6, 1, 5, 5, 7, 3, 1);
KXCERT_OID(sxASN_id_kp_clientAuth, 1, 3, 6, 1, 5, 5, 7, 3, 2);
KXCERT_OID(sxASN_id_kp_codeSigning, 1, 3, 6, 1, 5, 5, 7, 3, 3);
KXCERT_OID(sxASN_id_kp_emailProtection, 1, 3, 6, 1, 5, 5, 7, 3, 4);
KXCERT_OID(sxASN_id_kp_ipsecEndSystem, 1, 3, 6, 1, 5, 5, 7, 3, 5);
KXCERT_OID(sxASN_id_kp_ipsecTunnel, 1, 3, 6, 1, 5, 5, 7, 3, 6);
KXCERT_OID(sxASN_id_kp_ipsecUser, 1, 3, 6, 1, 5, 5, 7, 3, 7);
KXCERT_OID(sxASN_id_kp_timeStamping, 1, 3, 6, 1, 5, 5, 7, 3, 8);
KXCERT_OID(sxASN_id_kp_smartCardLogon, 1, 3, 6, 1, 4, 1, 311, 20, 2, 2);
KXCERT_OID(sxASN_id_ad_ocsp, 1, 3, 6, 1, 5, 5, 7, 48, 1);
KXCERT_OID(sxASN_id_ad_caIssuers, 1, 3, 6, 1, 5, 5, 7, 48, 2);
