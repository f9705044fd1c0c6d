/// @file
/// The times of certificates and CRLs as seconds.
#ifndef KXCERT_CERT_CERTTIME_H_
#define KXCERT_CERT_CERTTIME_H_

#include <cstdint>

#include "kxcert/platform/export.h"

class sxASN_Time;
class sxString;

/// Seconds since 1970-01-01 00:00 UTC, or -1. Years after 2037 become 1 January 2038 with their time
/// of day, so that results fit 32 bits; 1 January 1970 is 0 whatever its time of day. By intent.
KXCERT_EXPORT int sxGeneralTime2time(const unsigned char *text, int len);  ///< YYYYMMDDHHMMSSZ
KXCERT_EXPORT int sxUTCTime2time(const unsigned char *text, int len);      ///< YYMMDDHHMM[SS]Z
KXCERT_EXPORT int sxASN_Time2time(const sxASN_Time *time);
/// The same of any year to 9999 and exactly; -1 for null, and for a text of another form or a date that does not exist,
/// but for 1969-12-31 23:59:59, too.
KXCERT_EXPORT int64_t sxASN_Time2seconds(const sxASN_Time *time);

/// "2030-01-31 23:59:59 UTC", of seconds since 1970-01-01 00:00 UTC.
KXCERT_EXPORT sxString sxTimeText(int64_t seconds);

#endif
