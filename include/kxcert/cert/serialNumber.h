/// @file
/// Serial numbers as octets.
#ifndef KXCERT_CERT_SERIALNUMBER_H_
#define KXCERT_CERT_SERIALNUMBER_H_

#include "kxcert/platform/export.h"

class kxBinBuf;
class sxAsnInt;

/// A new integer from its content octets (two's complement), for delete; null for none.
KXCERT_EXPORT sxAsnInt *AsnIntFromBuf(const unsigned char *octets, int len);
/// A serial's octets: as stored when longer than four, else the fewest that hold the value.
/// @return octets, also for a null @p buf; -1 (logged) when they do not fit
KXCERT_EXPORT int AsnInt2Buf(const sxAsnInt *serial, unsigned char *buf, int len);
KXCERT_EXPORT int AsnInt2BinBuf(const sxAsnInt *serial, kxBinBuf &out);  ///< 0 or -1

#endif
