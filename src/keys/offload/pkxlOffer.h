// Private operations by the service of this machine. What it answers is checked before anybody sees it: a
// signature with the public key, an opened block by closing it again, a secret by its length. Whoever answers
// something else, or nothing in time, is left alone for a while (pkxlPatience.h).
#ifndef KXCERT_SRC_KEYS_OFFLOAD_PKXLOFFER_H_
#define KXCERT_SRC_KEYS_OFFLOAD_PKXLOFFER_H_

#include <openssl/ec.h>
#include <openssl/rsa.h>

#include "keys/rsa/rsaOperation.h"
#include "kxcert/foundation/bufIter.h"

class kxBinBuf;

/// Whether this thread's operations are to be offered now: the service is in use (kxcert/keys/pkxl.h), and no
/// PkxlStayHere lives.
bool PkxlMayOffer();

/// While one lives, what this thread does is done in this process: tests of keys and of the operations
/// themselves, which say nothing when they are done elsewhere.
class PkxlStayHere {
 public:
  PkxlStayHere();
  ~PkxlStayHere();
  PkxlStayHere(const PkxlStayHere &) = delete;
  PkxlStayHere &operator=(const PkxlStayHere &) = delete;
};

// Each returns true when the service did it, with *result what the operation itself gives; false: to be done
// here.

/// @param operation  public ones are not offered
/// @param rsa        with the values of the Chinese remainder theorem; without them it is not offered
/// @param out        RSA_size(rsa) octets
bool PkxlOfferRsa(RsaOperation operation, int inLen, const unsigned char *in, unsigned char *out, RSA *rsa,
                  int *result);
/// @param out  as many octets as the curve's longest signature has
bool PkxlOfferEcdsaSign(const unsigned char *data, int dataLen, unsigned char *out, EC_KEY *key, int *result);
/// @param keyDer  ECPrivateKey of the curve
/// @param out     as many octets as the curve's field has
bool PkxlOfferEcdh(const pkxl_len_and_buf_t &peer, unsigned char *out, const pkxl_len_and_buf_t &keyDer, int curveNid,
                   int *result);

#endif
