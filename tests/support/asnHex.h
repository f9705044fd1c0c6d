/// @file
/// ASN.1 values from and to hexadecimal text.
#ifndef KXCERT_TESTS_SUPPORT_ASNHEX_H_
#define KXCERT_TESTS_SUPPORT_ASNHEX_H_

#include <string>
#include <vector>

#include "kxcert/asn1/sxAsnType.h"

/// sxASN_DecodeBuf of the octets; they lie in a block of their own, so that a read past them shows.
int DecodeOctets(const std::vector<unsigned char> &octets, sxAsnType &value);
int DecodeHex(const char *hex, sxAsnType &value);

/// The encoding, sorted unless asked otherwise; "-" when there is none.
std::string EncodeHex(sxAsnType &value, int sortSets = 1);

/// What decodes, encoded again; "-" when it does not decode.
std::string Reencode(const char *hex, sxAsnType &value);

/// What Print writes.
std::string Printed(sxAsnType &value, int indent = 0);

#endif
