/// @file
/// Whether octets are DER, as far as that can be seen without knowing their types (X.690, 8, 10 and 11).
#ifndef KXCERT_SRC_CERT_STRICTDER_H_
#define KXCERT_SRC_CERT_STRICTDER_H_

#include "asn1/der.h"

constexpr int kMaxStrictNesting = 32;

/// Elements behind one another, none included: shortest definite lengths, sorted sets, values of the universal types in
/// their one form, characters of the alphabets that have one. What stands under a tag of another class is looked into
/// when it is constructed. Tags have numbers up to 2^21-1, as the codec's.
bool sxIsStrictDer(sxOctetView octets);

/// One element, and nothing behind it.
bool sxIsStrictElement(sxOctetView octets);

/// What stands under a tag that hides its type. @param tag  of the type, constructed or not
bool sxIsStrictContent(int tag, sxOctetView content);

/// Characters of UTF-8 (RFC 3629). @return -1: it is none
int sxUtf8Len(sxOctetView text);
bool sxIsPrintableString(sxOctetView text);  ///< X.680, 41.4

#endif
