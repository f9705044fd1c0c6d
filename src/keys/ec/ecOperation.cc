#include "ecOperation.h"

#include <openssl/ecdh.h>

#include "ecKey.h"
#include "keys/libcryptoTypes.h"
#include "keys/offload/pkxlOffer.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/platform/log.h"

int ecdsa_op_wrapper(EcOperation operation, const EcRequest &request, EC_KEY *key) {
  int result = -1;
  // A nonce made before belongs to this process's state.
  if (operation == kEcdsaSign && request.inverseNonce == nullptr && PkxlMayOffer() &&
      PkxlOfferEcdsaSign(request.data, request.dataLen, request.out, key, &result)) {
    return result;
  }
  return EcdsaHere(operation, request, key);
}

int EcdsaHere(EcOperation operation, const EcRequest &request, EC_KEY *key) {
  const ErrorQueueMark mark;
  if (operation == kEcdsaSign) {
    unsigned int len = 0;
    const int rc =
        ECDSA_sign_ex(0, request.data, request.dataLen, request.out, &len, request.inverseNonce, request.r, key);
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
  const Curve *const curve = CurveOfKey(key);
  const pkxl_len_and_buf_t point = {static_cast<uint32_t>(peerLen), const_cast<unsigned char *>(peer)};
  int len = -1;
  if (!keyDer.IsEmpty() && curve != nullptr && outLen >= curve->coordLen && PkxlMayOffer() &&
      PkxlOfferEcdh(point, out, {keyDer.Len(), keyDer.Data()}, curve->nid, &len)) {
    return len;
  }
  len = EcdhHere(peer, peerLen, out, outLen, key);
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
