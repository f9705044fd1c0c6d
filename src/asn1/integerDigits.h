/// @file
/// What an INTEGER denotes, apart from how it is stored: for comparing and hashing.
#ifndef KXCERT_SRC_ASN1_INTEGERDIGITS_H_
#define KXCERT_SRC_ASN1_INTEGERDIGITS_H_

#include "asn1/der.h"
#include "kxcert/asn1/sxAsnInt.h"

/// Equal numbers have equal digits: the magnitude without leading zeros, or of a negative number the
/// fewest octets of its two's complement.
struct sxAsnDigits {
  bool negative;
  const unsigned char *octets;  ///< lent by the number or by the area
  int len;
};

/// Of content octets in two's complement, any number of them; they stay borrowed.
inline sxAsnDigits sxAsnDigitsOf(sxOctetView content) {
  const unsigned char *octets = content.data();
  int len = sxLen(content);
  const bool negative = len > 0 && octets[0] >= 0x80;
  // What a leading octet repeats of the sign says nothing (X.690 8.3.2); a magnitude has none at all.
  while (len > 0 && (negative ? len > 1 && octets[0] == 0xFF && octets[1] >= 0x80 : octets[0] == 0)) {
    ++octets;
    --len;
  }
  return {negative, octets, len};
}

using sxAsnDigitArea = unsigned char[4];

sxAsnDigits sxAsnDigitsOf(const sxAsnInt &number, sxAsnDigitArea &area);

#endif
