// The numbers of a Diffie-Hellman key, checked; and their DER.
#ifndef KXCERT_SRC_KEYS_DH_DHNUMBERS_H_
#define KXCERT_SRC_KEYS_DH_DHNUMBERS_H_

#include <string>

#include "asn1/der.h"
#include "keys/libcryptoTypes.h"

class kxBinBuf;

struct DhNumbers {
  std::string groupName;
  int privBits = 0;   // what new private values in this group are to have
  BigNum p, g, x, y;  // x is null in a public key
};

// Null when a key can be made in that group; else what is wrong. Null numbers are wrong too.
const char *WhyNoDhGroup(const BIGNUM *p, const BIGNUM *g);
// Null when the group is one and its values lie in it. Whether y belongs to x is not looked at.
const char *WhyNoDhKey(const DhNumbers &numbers);

// Whether y = g ^ x. The numbers are a key.
[[nodiscard]] bool DhValuesFit(const DhNumbers &numbers);

// base ^ x mod p, in time that tells nothing but the length of x.
[[nodiscard]] bool SecretModExp(BIGNUM *result, const BIGNUM *base, const DhNumbers &numbers);

// The two DER forms that kxSDH.h draws. The private one makes out sensitive and needs x.
// @return 0 or -1
[[nodiscard]] int EncodeDhKey(const DhNumbers &numbers, bool privateForm, kxBinBuf &out);

// Reads them, and those of RFC 3279, 2.3.3, which have the order of g behind it; that order is not used. The group
// has no name, and private values are to be as long as the one that is read, or as the modulus.
// @return null, or what is wrong
const char *DecodeDhKey(sxOctetView der, bool privateForm, DhNumbers *numbers);

#endif
