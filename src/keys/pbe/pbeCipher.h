// Octets through a cipher of password-based encryption.
#ifndef KXCERT_SRC_KEYS_PBE_PBECIPHER_H_
#define KXCERT_SRC_KEYS_PBE_PBECIPHER_H_

#include "kxcert/foundation/kxBinBuf.h"
#include "pbeAlgorithms.h"
#include "pbeFailure.h"

/// Whether a cipher can have made these octets: whole blocks, and at least one.
bool CheckPbeContent(const PbeCipher &cipher, sxOctetView content, PbeFailure *failure);

/// @param iv   octets of a block; none for RC4
/// @param[out] out  sensitive; may not hold the input
bool PbeCrypt(const PbeCipher &cipher, bool encrypt, const kxBinBuf &key, const kxBinBuf &iv, sxOctetView input,
              kxBinBuf *out, PbeFailure *failure);

#endif
