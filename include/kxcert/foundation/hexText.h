/// @file
/// Hexadecimal text. Lower case for ever: keys of stored records are made of it.
#ifndef KXCERT_FOUNDATION_HEXTEXT_H_
#define KXCERT_FOUNDATION_HEXTEXT_H_

#include "kxcert/platform/export.h"

/// Reads 2 * @p dataLen digits of either case.
/// @param[out] data  untouched on failure
/// @retval  0  done
/// @retval -1  null, wrong length, or a character that is no digit
KXCERT_EXPORT int string_to_bytes(const char *text, int textLen, unsigned char *data, int dataLen);

/// Writes 2 * @p dataLen lower-case digits and a NUL.
/// @retval -1  null, or @p textLen is below 2 * dataLen + 1; nothing written
KXCERT_EXPORT int bytes_to_string(const unsigned char *data, int dataLen, char *text, int textLen);

#endif
