/// @file
/// Outer forms of certificates: files, PEM, times, serial numbers.
#ifndef KXCERT_CERT_CERTFORMATS_H_
#define KXCERT_CERT_CERTFORMATS_H_

#include "kxcert/platform/export.h"

class kxBinBuf;
class sxASN_Time;
class sxAsnInt;
class sxString;

constexpr int kCertFileErrLen = 512;   ///< room that the error text of sxCert_AsnBufFromFile takes

/// Reads a certificate file: DER or PEM as it stands, or "{ASN}" and hexadecimal text, whose octets
/// are then reversed by intent.
/// @param[out] err  kCertFileErrLen bytes, or null
/// @return 0 or -1
KXCERT_EXPORT int sxCert_AsnBufFromFile(const char *file, kxBinBuf &out, char *err);

/// Takes the Base64 text between header and footer. Strict: the header stands at offset 0, every full
/// line has 64 characters, at most two characters follow the footer.
/// @param[in]  len    characters of @p text on entry
/// @param[out] out    new octets for delete[]; untouched on failure
/// @param[out] len    octets
/// @param      strip  characters that are dropped from the body, or null
/// @retval  0  done
/// @retval -1  not Base64, or nothing in it
/// @retval -2  header, lines or footer are not as they must be (strict)
/// @retval -3  bad arguments
KXCERT_EXPORT int Base64Decode_PEM(const char *text, unsigned char **out, int &len, const char *header,
                                   const char *footer, int strict, const char *strip);
KXCERT_EXPORT int Base64Encode_PEM(const sxString &header, const sxString &footer, const kxBinBuf &data,
                                   sxString &out);

/// Seconds since 1970-01-01 00:00 UTC, or -1. Years after 2037 become 1 January 2038 with their time
/// of day, so that results fit 32 bits; 1 January 1970 is 0 whatever its time of day. By intent.
KXCERT_EXPORT int sxGeneralTime2time(const unsigned char *text, int len);   ///< YYYYMMDDHHMMSSZ
KXCERT_EXPORT int sxUTCTime2time(const unsigned char *text, int len);       ///< YYMMDDHHMM[SS]Z
KXCERT_EXPORT int sxASN_Time2time(const sxASN_Time *time);

/// A new integer from its content octets (two's complement), for delete; null for none.
KXCERT_EXPORT sxAsnInt *AsnIntFromBuf(const unsigned char *octets, int len);
/// A serial's octets: as stored when longer than four, else the fewest that hold the value.
/// @return octets, also for a null @p buf; -1 (logged) when they do not fit
KXCERT_EXPORT int AsnInt2Buf(const sxAsnInt *serial, unsigned char *buf, int len);
KXCERT_EXPORT int AsnInt2BinBuf(const sxAsnInt *serial, kxBinBuf &out);     ///< 0 or -1

#endif
