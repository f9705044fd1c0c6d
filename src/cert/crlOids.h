/// @file
/// Object identifiers of what CRLs and their entries have beside certificates' extensions, as content octets: 2.5.29.x
/// (RFC 5280, 5.2 and 5.3).
#ifndef KXCERT_SRC_CERT_CRLOIDS_H_
#define KXCERT_SRC_CERT_CRLOIDS_H_

constexpr unsigned char kOidCrlNumber[] = {0x55, 0x1D, 20};
constexpr unsigned char kOidReasonCode[] = {0x55, 0x1D, 21};
constexpr unsigned char kOidInvalidityDate[] = {0x55, 0x1D, 24};
constexpr unsigned char kOidDeltaIndicator[] = {0x55, 0x1D, 27};
constexpr unsigned char kOidCertificateIssuer[] = {0x55, 0x1D, 29};

#endif
