/// @file
/// PEM: Base64 text between a header and a footer (RFC 7468).
#ifndef KXCERT_CERT_PEM_H_
#define KXCERT_CERT_PEM_H_

#include "kxcert/platform/export.h"

class kxBinBuf;
class sxString;

/// Takes the Base64 text between header and footer. Strict: the header stands at offset 0, every full
/// line has 64 characters, at most two characters follow the footer.
/// @param[out]    out    new octets for delete[]; untouched on failure
/// @param[in,out] len    characters of @p text; on success the octets of @p out, else
///                       untouched
/// @param         strip  characters that are dropped from the body, or null
/// @retval  0  done
/// @retval -1  not Base64, or nothing in it
/// @retval -2  header, lines or footer are not as they must be (strict)
/// @retval -3  bad arguments
KXCERT_EXPORT int Base64Decode_PEM(const char *text, unsigned char **out, int &len, const char *header,
                                   const char *footer, int strict, const char *strip);
/// Header, Base64 text and footer, with nothing between them.
/// @param[out] out  stays sensitive, and becomes so when @p data or @p header is; unchanged on failure
/// @return 0, or -1: there is nothing to encode
KXCERT_EXPORT int Base64Encode_PEM(const sxString &header, const sxString &footer, const kxBinBuf &data, sxString &out);

#endif
