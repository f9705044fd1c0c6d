// The one way to RSA's private and public operations.
#ifndef KXCERT_SRC_KEYS_RSA_RSAOPERATION_H_
#define KXCERT_SRC_KEYS_RSA_RSAOPERATION_H_

#include <openssl/rsa.h>

// The numbers are part of the protocol between processes.
enum RsaOperation : int { kPrivateDecrypt = 0, kPrivateEncrypt = 1, kPublicDecrypt = 2, kPublicEncrypt = 3 };

/// Runs the operation with PKCS #1 padding. A private one is done by the key-operation service of this machine
/// when that is in use (kxcert/keys/pkxl.h) and does it right, all else in this process.
/// @param outLen  at least RSA_size(rsa)
/// @return octets written, or -1
int rsa_op_wrapper(RsaOperation operation, int inLen, const unsigned char *in, int outLen, unsigned char *out,
                   RSA *rsa);
/// The same, in this process whatever is in use.
int RsaOperationHere(RsaOperation operation, int inLen, const unsigned char *in, int outLen, unsigned char *out,
                     RSA *rsa);

#endif
