/// @file
/// Times as certificates and CRLs hold them.
#ifndef KXCERT_SRC_CERT_TIMEDER_H_
#define KXCERT_SRC_CERT_TIMEDER_H_

#include <cstdint>
#include <optional>

#include "derForward.h"

class sxASN_Time;

/// The DER of a time (RFC 5280, 4.1.2.5 and 5.1.2.4): UTCTime from 1950 to 2049. Empty beyond the years 0 to 9999, and for
/// kCrlTimeUnreadable.
sxDerOctets sxTimeDer(int64_t seconds);
sxDerOctets sxGeneralizedTimeDer(int64_t seconds);  ///< the same whatever the year
/// sxTimeDer of a certificate, which may well be valid from 1969-12-31 23:59:59 on: -1 is that second.
sxDerOctets sxValidityTimeDer(int64_t seconds);

/// sxASN_Time2seconds, with another word for what it cannot read than the second before 1970.
std::optional<int64_t> sxReadTime(const sxASN_Time *time);

#endif
