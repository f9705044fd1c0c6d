/// @file
/// Fields that certificates and CRLs share, taken from plain DER in their order.
///
/// They follow the rules of the codec's types and accept nothing that it refuses.
#ifndef KXCERT_SRC_CERT_PLAINFIELDS_H_
#define KXCERT_SRC_CERT_PLAINFIELDS_H_

#include "plainCert.h"

bool sxTakePlainInteger(sxDerReader &from, sxOctetView *number);
bool sxTakePlainOid(sxDerReader &from, sxOctetView *oid);
bool sxTakePlainBits(sxDerReader &from, int tag, sxOctetView *bits);
bool sxTakePlainTime(sxDerReader &from, sxPlainTime *time);
/// @param decoded  the octets are the codec's own encoding of what decoded: parameters then pass as they are
bool sxTakePlainAlgorithm(sxDerReader &from, bool decoded, sxPlainAlgorithm *algorithm);
/// @param[out] name  the whole element
bool sxTakePlainName(sxDerReader &from, bool decoded, sxOctetView *name, sxFlatName *flat);
/// SubjectPublicKeyInfo.
/// @param[out] bits  octets of the bit string; left as it was when some of its bits are unused: it is no key
bool sxTakePlainKey(sxDerReader &from, bool decoded, sxPlainAlgorithm *algorithm, sxOctetView *bits);
/// Extensions, whose values are not looked into, in an element around them.
/// @param[out] extensions  content of the SEQUENCE, for sxTakePlainExtension
bool sxTakePlainExtensions(sxDerReader &from, int tag, sxOctetView *extensions);
int sxPlainVersion(sxOctetView number);  ///< the low 32 bits, plus 1

#endif
