/// @file
/// Object identifiers of OCSP, all but the access method below id-pkix-ocsp (RFC 6960, 4.2.1 and 4.4).
#ifndef KXCERT_SRC_TRUST_REVOCATION_OCSPOIDS_H_
#define KXCERT_SRC_TRUST_REVOCATION_OCSPOIDS_H_

#include "asn1/der.h"

constexpr unsigned char kOidOcspBasic[] = {0x2B, 6, 1, 5, 5, 7, 48, 1, 1};
constexpr unsigned char kOidOcspNonce[] = {0x2B, 6, 1, 5, 5, 7, 48, 1, 2};
constexpr unsigned char kOidOcspNoCheck[] = {0x2B, 6, 1, 5, 5, 7, 48, 1, 5};
constexpr unsigned char kOidOcspExtendedRevoke[] = {0x2B, 6, 1, 5, 5, 7, 48, 1, 9};
constexpr unsigned char kOidOcspSigning[] = {0x2B, 6, 1, 5, 5, 7, 3, 9};  // id-kp-OCSPSigning

#endif
