#include "ecOperation.h"

#include <openssl/ecdh.h>

#include "curves.h"
#include "ecKey.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/keys/kxECDSA.h"
#include "kxcert/keys/pkxl.h"
#include "kxcert/platform/log.h"
#include "libcryptoTypes.h"

namespace {

// @return true: the service did it, *result is the operation's
bool OfferEcdsa(EcOperation operation, const EcRequest &request, EC_KEY *key, int *result) {
  const Curve *const curve = CurveOfKey(key);
  kxBinBuf keyOctets;
  if (curve == nullptr || kxECDSA_to_buf(key, keyOctets, operation == kEcdsaSign) != 0) {
    herror_func(0, 0, "%s: kxECDSA_to_buf failed", "ecdsa_op_wrapper");
    return false;
  }
  const pkxl_len_and_buf_t data = {static_cast<uint32_t>(request.dataLen), const_cast<unsigned char *>(request.data)};
  const pkxl_len_and_buf_t keyItem = {keyOctets.Len(), keyOctets.Data()};
  if (operation == kEcdsaSign) {
    pkxl_len_and_buf_t out = {static_cast<uint32_t>(curve->maxSigLen), request.out};
    return pkxl_ecdsa_sign(&data, &out, &keyItem, curve->nid, result) == 0;
  }
  const pkxl_len_and_buf_t sig = {static_cast<uint32_t>(request.sigLen), const_cast<unsigned char *>(request.sig)};
  return pkxl_ecdsa_verify(&data, &sig, &keyItem, curve->nid, result) == 0;
}

// @return octets of the secret, or -1: to be computed here. Whatever is not as long as the field is no secret.
int OfferEcdh(const unsigned char *peer, int peerLen, unsigned char *out, int outLen, const EC_KEY *key,
              kxBinBuf &keyDer) {
  const Curve *const curve = CurveOfKey(key);
  if (curve == nullptr || outLen < curve->coordLen) return -1;
  const pkxl_len_and_buf_t point = {static_cast<uint32_t>(peerLen), const_cast<unsigned char *>(peer)};
  const pkxl_len_and_buf_t keyItem = {keyDer.Len(), keyDer.Data()};
  pkxl_len_and_buf_t secret = {static_cast<uint32_t>(curve->coordLen), out};
  int result = -1;
  if (pkxl_ecdh_compute_key(&point, &secret, &keyItem, curve->nid, &result) != 0) return -1;
  return result == curve->coordLen ? result : -1;
}

}  // namespace

int ecdsa_op_wrapper(EcOperation operation, const EcRequest &request, EC_KEY *key) {
  // A nonce made before belongs to this process's state.
  if (request.inverseNonce == nullptr && pkxl_should_use()) {
    int result = -1;
    if (OfferEcdsa(operation, request, key, &result)) return result;
  }
  return EcdsaHere(operation, request, key);
}

int EcdsaHere(EcOperation operation, const EcRequest &request, EC_KEY *key) {
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

int ECDH_compute_key_wrapper(const unsigned char *peer, int peerLen, unsigned char *out, int outLen, EC_KEY *key,
                             kxBinBuf &keyDer) {
  int len = -1;
  if (!keyDer.IsEmpty() && pkxl_should_use()) len = OfferEcdh(peer, peerLen, out, outLen, key, keyDer);
  if (len < 0) len = EcdhHere(peer, peerLen, out, outLen, key);
  if (len < 0) tderrorFunc("ec", 1, 0, "%s: no shared secret", "ECDH_compute_key_wrapper");
  return len;
}

int EcdhHere(const unsigned char *peer, int peerLen, unsigned char *out, int outLen, EC_KEY *key) {
  const ErrorQueueMark mark;
  const EC_GROUP *const group = EC_KEY_get0_group(key);
  const int fieldLen = (EC_GROUP_get_degree(group) + 7) / 8;
  const EcPoint point(EC_POINT_new(group));
  if (peerLen < 1 || outLen < fieldLen || point == nullptr) return -1;
  // Reading the point checks that it is on the curve; the one at infinity has no coordinates.
  if (EC_POINT_oct2point(group, point.get(), peer, static_cast<size_t>(peerLen), nullptr) != 1) return -1;
  if (EC_POINT_is_at_infinity(group, point.get())) return -1;
  return ECDH_compute_key(out, static_cast<size_t>(fieldLen), point.get(), key, nullptr) == fieldLen ? fieldLen : -1;
}
