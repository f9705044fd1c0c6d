/// @file
/// Base64 (RFC 4648, section 4).
#ifndef KXCERT_FOUNDATION_BASE64_H_
#define KXCERT_FOUNDATION_BASE64_H_

#include "kxcert/platform/export.h"

/// Lines of 64 characters, each ended by a line feed, the last one too; NUL after it.
/// @return a new text for Base64FreeBuffer, "" for no octets, null for bad arguments
KXCERT_EXPORT char *Base64Encode(const unsigned char *data, int dataLen);

/// Strict: spaces, TABs and line ends may stand anywhere, everything else must be the alphabet in
/// whole groups of four with '=' only at the end and no stray bits under the padding.
/// @param[out] dataLen  octets in the result, 0 when there are none
/// @return new octets for Base64FreeBuffer, null when the text is not Base64
KXCERT_EXPORT unsigned char *Base64Decode(const char *text, int textLen, int *dataLen);

/// Wipes it first; null is ignored.
KXCERT_EXPORT void Base64FreeBuffer(void *buffer);

#endif
