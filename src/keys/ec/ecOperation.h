// The one way to ECDSA and ECDH.
#ifndef KXCERT_SRC_KEYS_EC_ECOPERATION_H_
#define KXCERT_SRC_KEYS_EC_ECOPERATION_H_

#include <openssl/ec.h>

class kxBinBuf;

// The numbers go on from RSA's; they are part of the protocol between processes.
enum EcOperation : int { kEcdsaSign = 4, kEcdsaVerify = 5 };

struct EcRequest {
  const unsigned char *data;
  int dataLen;
  const unsigned char *sig = nullptr;  // verifying: DER
  int sigLen = 0;
  unsigned char *out = nullptr;          // signing: at least ECDSA_size octets
  const BIGNUM *inverseNonce = nullptr;  // signing: both or none
  const BIGNUM *r = nullptr;
};

/// Runs the operation. Signing is done by the key-operation service of this machine when that is in use
/// (kxcert/keys/pkxl.h) and does it right, all else in this process.
/// @return signing: octets written, 0 or less on failure; verifying: 1 valid, 0 not, -1 for what is no
///         signature (also BER, and octets after it) or a failure
int ecdsa_op_wrapper(EcOperation operation, const EcRequest &request, EC_KEY *key);
/// The same, in this process whatever is in use.
int EcdsaHere(EcOperation operation, const EcRequest &request, EC_KEY *key);

/// The shared secret, from the same service or as EcdhHere.
/// @param peer    as ReadPoint wrote it
/// @param out     at least as many octets as the field has
/// @param keyDer  @p key for the service (ECPrivateKey DER); empty: it is not asked
/// @return octets written, those of the field, or -1 (one line traced)
int ECDH_compute_key_wrapper(const unsigned char *peer, int peerLen, unsigned char *out, int outLen, EC_KEY *key,
                             kxBinBuf &keyDer);
/// The x coordinate of own private part times @p peer (an uncompressed point on the key's curve), padded
/// in front to the size of the field.
/// @return octets written, or -1: no such point, or less room than that
int EcdhHere(const unsigned char *peer, int peerLen, unsigned char *out, int outLen, EC_KEY *key);

#endif
