/// @file
/// Times as certificates and CRLs hold them.
#ifndef KXCERT_SRC_CERT_TIMEDER_H_
#define KXCERT_SRC_CERT_TIMEDER_H_

#include <cstdint>

#include "derForward.h"

/// The DER of a time (RFC 5280, 4.1.2.5 and 5.1.2.4): UTCTime from 1950 to 2049. Empty beyond the years 0 to 9999, and for
/// kCrlTimeUnreadable.
sxDerOctets sxTimeDer(int64_t seconds);
sxDerOctets sxGeneralizedTimeDer(int64_t seconds);  ///< the same whatever the year

#endif
