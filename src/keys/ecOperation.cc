#include "ecOperation.h"

#include "kxcert/platform/log.h"
#include "libcryptoTypes.h"

int ecdsa_op_wrapper(EcOperation operation, const EcRequest &request, EC_KEY *key) {
  const ErrorQueueMark mark;
  if (operation == kEcdsaSign) {
    unsigned int len = 0;
    const int rc = ECDSA_sign_ex(0, request.data, request.dataLen, request.out, &len,
                                 request.inverseNonce, request.r, key);
    return rc == 1 ? static_cast<int>(len) : rc;
  }
  if (operation == kEcdsaVerify) {
    return ECDSA_verify(0, request.data, request.dataLen, request.sig, request.sigLen, key);
  }
  herror_func(0, 0, "%s: called with invalid operation %d", "ecdsa_op_wrapper", operation);
  return -1;
}
