/// @file
/// What an INTEGER denotes, apart from how it is stored: for comparing and hashing.
#ifndef KXCERT_SRC_ASN1_INTEGERDIGITS_H_
#define KXCERT_SRC_ASN1_INTEGERDIGITS_H_

#include "kxcert/asn1/sxAsnInt.h"

/// Equal numbers have equal digits: the magnitude without leading zeros, or of a negative number the
/// fewest octets of its two's complement.
struct sxAsnDigits {
  bool negative;
  const unsigned char *octets;  ///< lent by the number or by the area
  int len;
};

using sxAsnDigitArea = unsigned char[4];

sxAsnDigits sxAsnDigitsOf(const sxAsnInt &number, sxAsnDigitArea &area);

#endif
