#include "rsaOperation.h"

#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/keys/kxSRSA.h"
#include "kxcert/keys/pkxl.h"
#include "kxcert/platform/log.h"
#include "libcryptoTypes.h"

namespace {

// @return 0: *result is the operation's; 1: not served; -1: the key does not encode
int OfferRsaOperation(RsaOperation operation, int inLen, const unsigned char *in, int outLen, unsigned char *out,
                      RSA *rsa, int *result) {
  kxBinBuf key;
  if (kxRSA_to_buf(rsa, key, operation <= kPrivateEncrypt) != 0) {
    herror_func(0, 0, "%s: kxRSA_to_buf failed (operation %d)", "rsa_op_wrapper", operation);
    return -1;
  }
  const pkxl_len_and_buf_t input = {static_cast<uint32_t>(inLen), const_cast<unsigned char *>(in)};
  const pkxl_len_and_buf_t keyDer = {key.Len(), key.Data()};
  pkxl_len_and_buf_t output = {static_cast<uint32_t>(outLen), out};
  return pkxl_rsa_op(&input, &output, &keyDer, operation, result) == 0 ? 0 : 1;
}

}  // namespace

int rsa_op_wrapper(RsaOperation operation, int inLen, const unsigned char *in, int outLen,
                   unsigned char *out, RSA *rsa) {
  // libcrypto writes up to RSA_size octets without asking how many there is room for.
  if (rsa == nullptr || in == nullptr || out == nullptr || inLen < 0 || outLen < RSA_size(rsa)) return -1;
  if (pkxl_should_use()) {
    int result = -1;
    const int rc = OfferRsaOperation(operation, inLen, in, outLen, out, rsa, &result);
    if (rc <= 0) return rc < 0 ? -1 : result;
  }
  return RsaOperationHere(operation, inLen, in, outLen, out, rsa);
}

int RsaOperationHere(RsaOperation operation, int inLen, const unsigned char *in, int outLen, unsigned char *out,
                     RSA *rsa) {
  if (inLen < 0 || outLen < RSA_size(rsa)) return -1;
  const ErrorQueueMark mark;
  switch (operation) {
    case kPrivateDecrypt: return RSA_private_decrypt(inLen, in, out, rsa, RSA_PKCS1_PADDING);
    case kPrivateEncrypt: return RSA_private_encrypt(inLen, in, out, rsa, RSA_PKCS1_PADDING);
    case kPublicDecrypt: return RSA_public_decrypt(inLen, in, out, rsa, RSA_PKCS1_PADDING);
    case kPublicEncrypt: return RSA_public_encrypt(inLen, in, out, rsa, RSA_PKCS1_PADDING);
  }
  return -1;
}

int RSA_private_encrypt_wrapper(int inLen, const unsigned char *in, int outLen, unsigned char *out,
                                RSA *rsa) {
  return rsa_op_wrapper(kPrivateEncrypt, inLen, in, outLen, out, rsa);
}
int RSA_private_decrypt_wrapper(int inLen, const unsigned char *in, int outLen, unsigned char *out,
                                RSA *rsa) {
  return rsa_op_wrapper(kPrivateDecrypt, inLen, in, outLen, out, rsa);
}
int RSA_public_encrypt_wrapper(int inLen, const unsigned char *in, int outLen, unsigned char *out,
                               RSA *rsa) {
  return rsa_op_wrapper(kPublicEncrypt, inLen, in, outLen, out, rsa);
}
int RSA_public_decrypt_wrapper(int inLen, const unsigned char *in, int outLen, unsigned char *out,
                               RSA *rsa) {
  return rsa_op_wrapper(kPublicDecrypt, inLen, in, outLen, out, rsa);
}
