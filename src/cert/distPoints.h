/// @file
/// Distribution points of certificates and CRLs with all that they say (RFC 5280, 4.2.1.13 and 4.2.1.15). The
/// extension object of the public interface keeps full names alone.
#ifndef KXCERT_SRC_CERT_DISTPOINTS_H_
#define KXCERT_SRC_CERT_DISTPOINTS_H_

#include <optional>
#include <vector>

#include "asn1/der.h"
#include "kxcert/cert/sxGeneralName.h"

class sxASN_ReasonFlags;
class sxASN_RelativeDistinguishedName;
class sxAsnOid;
class sxCert;
class sxDN;

/// More points than these are not looked at.
constexpr size_t kMaxDistPoints = 16;
/// Nor are more names of one.
constexpr int kMaxDistPointNames = 8;

struct sxDistPoint {
  /// Where the CRL is, by any of these; empty: not said. A name relative to the issuer stands here as a whole one.
  sxGeneralNames names;
  std::optional<unsigned int> reasons;  ///< bit n is ReasonFlags bit n; absent: all
  sxGeneralNames crlIssuer;             ///< empty: the certificate's own issuer
};

/// The octets of an extension's value, lent by the certificate; empty when it has none of that kind.
sxOctetView sxRawExtension(const sxCert &cert, const sxAsnOid &oid);

/// Reads a CRLDistributionPoints value. The codec decides what is one.
/// @param issuer  of the certificate or CRL that has the extension: what relative names are relative to, unless the
///                point names a CRL issuer
/// @return false when it does not decode; what it held before that is not used either
bool sxReadDistPoints(sxOctetView value, const sxDN &issuer, std::vector<sxDistPoint> *points);

/// Adds a name relative to the issuer as a whole one: one more step below the issuer's (RFC 5280, 4.2.1.13 and 5.2.5).
/// @return false: the issuer has no name, and nothing was added
bool sxAddRelativeName(const sxASN_RelativeDistinguishedName &last, const sxDN &issuer, sxGeneralNames *names);

unsigned int sxReasonBits(const sxASN_ReasonFlags &reasons);

#endif
