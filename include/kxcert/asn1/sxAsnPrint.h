/// @file
/// Helpers that print values: indents, hexadecimal and character dumps.
#ifndef KXCERT_ASN1_SXASNPRINT_H_
#define KXCERT_ASN1_SXASNPRINT_H_

#include <cstdio>

#include "kxcert/platform/export.h"

class SxStream;

/// Two spaces a level, at most bufLen/2 - 1 levels, and a NUL.
KXCERT_EXPORT void StrIndent(int indent, char *buf, int bufLen);

constexpr int kMaxHexPrint = 1600;  ///< octets that HexPrint shows

/// Rows of twenty "%02x " items after a line feed; to the log without line feeds when @p toLog.
KXCERT_EXPORT void HexPrint(FILE *out, const unsigned char *data, int len, int indent, int toLog);
/// Rows of twenty characters; what is not printable ASCII is a full stop.
KXCERT_EXPORT void PrintStr(FILE *out, const unsigned char *data, int len, int indent, int toLog);
/// Printable ASCII as it is, everything else a full stop; @p text has room for len + 1.
KXCERT_EXPORT void ToStr(const unsigned char *data, char *text, int len);

KXCERT_EXPORT void HexPrint(SxStream &out, const unsigned char *data, int len, int indent);
KXCERT_EXPORT void PrintStr(SxStream &out, const unsigned char *data, int len, int indent);

/// Whether object identifiers print with their names (oidNames.h) behind them, on this thread. They do not at first.
KXCERT_EXPORT void sxAsnPrint_NameOids(bool on);
bool sxAsnPrint_NamesOids();  // the library's own use

#endif
