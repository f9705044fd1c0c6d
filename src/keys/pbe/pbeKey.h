// Keys made of passwords.
#ifndef KXCERT_SRC_KEYS_PBE_PBEKEY_H_
#define KXCERT_SRC_KEYS_PBE_PBEKEY_H_

#include "kxcert/foundation/kxBinBuf.h"
#include "pbePlan.h"

struct PbeKeys {
  kxBinBuf key;  // sensitive, as is the other one
  kxBinBuf iv;
};

/// @param password  as the caller gave it
bool MakePbeKeys(const PbePlan &plan, sxOctetView password, PbeKeys *keys, PbeFailure *failure);

/// PBKDF2 or scrypt. @param keyLen  octets
bool DerivePbeOctets(const PbeDerivation &derivation, sxOctetView password, size_t keyLen, kxBinBuf *out,
                     PbeFailure *failure);
bool DerivePkcs12Octets(const PbeDerivation &derivation, sxPkcs12Purpose purpose, sxOctetView bmp, size_t keyLen,
                        kxBinBuf *out, PbeFailure *failure);

/// What traditional PEM makes of a password: MD5, once, with the first octets of the vector as the salt.
bool MakePemKey(const PbeCipher &cipher, sxOctetView iv, sxOctetView password, kxBinBuf *key, PbeFailure *failure);

bool CheckPbePassword(sxOctetView password, PbeFailure *failure);

#endif
