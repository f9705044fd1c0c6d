#include "rsaOperation.h"

#include "keys/libcryptoTypes.h"
#include "keys/offload/pkxlOffer.h"
#include "kxcert/keys/kxSRSA.h"

namespace {

// Room for RSA_size octets, which libcrypto writes without asking how many there is room for.
bool HasRoom(const RSA *rsa, int outLen) {
  return rsa != nullptr && RSA_get0_n(rsa) != nullptr && outLen >= RSA_size(rsa);
}

}  // namespace

int rsa_op_wrapper(RsaOperation operation, int inLen, const unsigned char *in, int outLen, unsigned char *out,
                   RSA *rsa) {
  if (in == nullptr || out == nullptr || inLen < 0 || !HasRoom(rsa, outLen)) return -1;
  int result = -1;
  if (PkxlMayOffer() && PkxlOfferRsa(operation, inLen, in, out, rsa, &result)) return result;
  return RsaOperationHere(operation, inLen, in, outLen, out, rsa);
}

int RsaOperationHere(RsaOperation operation, int inLen, const unsigned char *in, int outLen, unsigned char *out,
                     RSA *rsa) {
  if (inLen < 0 || !HasRoom(rsa, outLen)) return -1;
  const ErrorQueueMark mark;
  switch (operation) {
    case kPrivateDecrypt: return RSA_private_decrypt(inLen, in, out, rsa, RSA_PKCS1_PADDING);
    case kPrivateEncrypt: return RSA_private_encrypt(inLen, in, out, rsa, RSA_PKCS1_PADDING);
    case kPublicDecrypt: return RSA_public_decrypt(inLen, in, out, rsa, RSA_PKCS1_PADDING);
    case kPublicEncrypt: return RSA_public_encrypt(inLen, in, out, rsa, RSA_PKCS1_PADDING);
  }
  return -1;
}

int RSA_private_encrypt_wrapper(int inLen, const unsigned char *in, int outLen, unsigned char *out, RSA *rsa) {
  return rsa_op_wrapper(kPrivateEncrypt, inLen, in, outLen, out, rsa);
}
int RSA_private_decrypt_wrapper(int inLen, const unsigned char *in, int outLen, unsigned char *out, RSA *rsa) {
  return rsa_op_wrapper(kPrivateDecrypt, inLen, in, outLen, out, rsa);
}
int RSA_public_encrypt_wrapper(int inLen, const unsigned char *in, int outLen, unsigned char *out, RSA *rsa) {
  return rsa_op_wrapper(kPublicEncrypt, inLen, in, outLen, out, rsa);
}
int RSA_public_decrypt_wrapper(int inLen, const unsigned char *in, int outLen, unsigned char *out, RSA *rsa) {
  return rsa_op_wrapper(kPublicDecrypt, inLen, in, outLen, out, rsa);
}
