// AlgorithmIdentifiers, written from the end to the beginning as the writer goes.
#ifndef KXCERT_SRC_KEYS_PBE_PBEWRITE_H_
#define KXCERT_SRC_KEYS_PBE_PBEWRITE_H_

#include "asn1/der.h"
#include "kxcert/platform/digest.h"

void WritePbeNumber(sxDerWriter &writer, int number);

/// PBKDF2's AlgorithmIdentifier (RFC 8018, A.2). @param keyLen  octets; 0: not said
void WritePbkdf2(sxDerWriter &writer, sx_md_type digest, int iterations, sxOctetView salt, int keyLen = 0);

#endif
