/// @file
/// An OCSP response (RFC 6960, 4.2.1) as its octets have it. Nothing here is believed; ocsp.h judges.
///
///   OCSPResponse ::= SEQUENCE { responseStatus ENUMERATED, responseBytes [0] SEQUENCE { type, response } OPTIONAL }
///   BasicOCSPResponse ::= SEQUENCE { tbsResponseData, signatureAlgorithm, signature, certs [0] OPTIONAL }
#ifndef KXCERT_TRUST_OCSPRESPONSE_H_
#define KXCERT_TRUST_OCSPRESPONSE_H_

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "kxcert/platform/export.h"

/// Octets that are lent by those of the response.
using sxOcspOctets = std::span<const unsigned char>;

constexpr size_t kMaxOcspResponseLen = 65536;
constexpr size_t kMaxOcspSingles = 256;    ///< certificates that one response tells of
constexpr size_t kMaxOcspCerts = 16;       ///< that it brings along
constexpr size_t kMaxOcspExtensions = 32;  ///< in one list
constexpr int64_t kOcspNoTime = -1;        ///< of a field that is absent

enum class sxOcspStatus { kGood, kRevoked, kUnknown };

struct sxOcspExtension {
  sxOcspOctets oid;  ///< content octets
  bool critical = false;
  sxOcspOctets value;  ///< octets of extnValue
};

/// What is said of one certificate. Times are seconds since 1970-01-01 00:00 UTC, as certTime.h makes them.
struct sxOcspSingle {
  sxOcspOctets hashAlgorithm;  ///< content octets of its identifier
  sxOcspOctets issuerNameHash;
  sxOcspOctets issuerKeyHash;
  sxOcspOctets serial;  ///< content octets of the INTEGER
  sxOcspStatus status = sxOcspStatus::kUnknown;
  int64_t revokedSec = kOcspNoTime;  ///< of a revoked one
  int reason = -1;                   ///< CRLReason (RFC 5280, 5.3.1) of a revoked one; -1: not said
  int64_t thisUpdateSec = 0;
  int64_t nextUpdateSec = kOcspNoTime;
  std::vector<sxOcspExtension> extensions;
};

struct sxOcspResponse {
  int status = 0;                 ///< responseStatus; the rest is only there for 0, successful
  sxOcspOctets type;              ///< content octets of responseType
  bool basic = false;             ///< type is id-pkix-ocsp-basic; the rest is only there for that
  sxOcspOctets responderName;     ///< the Name, whole; or
  sxOcspOctets responderKeyHash;  ///< SHA-1 of its key, when it is one
  int64_t producedAtSec = 0;
  std::vector<sxOcspSingle> singles;
  std::vector<sxOcspExtension> extensions;
  sxOcspOctets tbsResponseData;  ///< these whole, identifier and length included
  sxOcspOctets signatureAlgorithm;
  sxOcspOctets signature;
  std::vector<sxOcspOctets> certs;  ///< each whole, not decoded
};

/// Reads DER of at most kMaxOcspResponseLen octets, all of it or nothing, within the bounds above.
/// @param[out] response  meaningless on failure
/// @return null, or why it is none: static
KXCERT_EXPORT const char *sxOcspResponse_Read(const unsigned char *octets, size_t len, sxOcspResponse *response);

#endif
