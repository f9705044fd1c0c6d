/// @file
/// Whether a CRL says anything of a certificate: issuer and scope (RFC 5280, 6.3.3 (b) to (e)), and of a CRL that
/// updates another, whether it is one of it.
#ifndef KXCERT_SRC_TRUST_REVOCATION_CRLSCOPE_H_
#define KXCERT_SRC_TRUST_REVOCATION_CRLSCOPE_H_

#include "cert/distPoints.h"

class sxAsnInt;
class sxCRL;

/// A set of reasons: bit n is ReasonFlags bit n (RFC 5280, 4.2.1.13). The bit that is unused there is in none.
using ReasonMask = unsigned int;
constexpr ReasonMask kAllReasons = 0x1FE;

struct CrlFit {
  const char *misfit = nullptr;  ///< static: why it says nothing of the certificate; null when it does
  ReasonMask reasons = 0;        ///< for which it does
};

/// Whether its issuer may say something of the certificate: (b) (1). @return static: why not; null when it may
const char *CrlIssuerMisfit(const sxCRL &crl, const sxCert &cert, const sxDistPoint &point);
/// The rest, of a CRL whose issuer may.
CrlFit FitCrl(const sxCRL &crl, const sxCert &cert, const sxDistPoint &point);

/// Less than 0, 0 or more than 0: the numbers of CRLs (RFC 5280, 5.2.3) in order. A CRL without one is before all.
int CompareNumbers(const sxAsnInt *a, const sxAsnInt *b);

/// Whether @p crl was made before @p other: by thisUpdate, and by number where those are equal.
bool IsOlder(const sxCRL &crl, const sxCRL &other);

/// Whether @p crl is newer than another one of its series: neither its date nor its number is lower, and one is higher.
bool IsNewer(const sxCRL &crl, const sxCRL &held);

/// Whether both are of the same issuer and scope, so that one can take the place of the other.
bool SameSeries(const sxCRL &a, const sxCRL &b);

/// @return static: why @p delta does not update @p base; null when it does
const char *DeltaMisfit(const sxCRL &delta, const sxCRL &base);

#endif
