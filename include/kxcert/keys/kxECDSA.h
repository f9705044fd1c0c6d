/// @file
/// Elliptic-curve signing keys on P-256, P-384 and P-521 (SEC 1; RFC 5480; RFC 5915).
///
/// Curves are told by libcrypto's identifiers: 415 "prime256v1", 715 "secp384r1", 716 "secp521r1".
///
/// An imported point must be on its curve, its coordinates below the field prime, and not the point at
/// infinity; these curves have prime order, so that is the whole check. Points are read uncompressed
/// and compressed; the hybrid form is refused (RFC 5480, 2.2). Private keys and generated ones also
/// pass libcrypto's own key check.
///
/// Operations on one key may run on several threads at once.
#ifndef KXCERT_KEYS_KXECDSA_H_
#define KXCERT_KEYS_KXECDSA_H_

#include "kxcert/keys/sxPubKey.h"

struct bignum_st;
struct ec_key_st;
class kxBinBuf;
class kxECDSA_imp;
class sxset;

class KXCERT_EXPORT kxECDSA : public sxPubKey {
 public:
  explicit kxECDSA(int curveNid);           ///< generates a pair; see OK()
  explicit kxECDSA(const char *curveName);  ///< the same; null or "": prime256v1
  /// Imports a point (sxPK_public) or ECPrivateKey DER (sxPK_private); see OK().
  /// @param curveNid  the curve; 0 with sxPK_private: the one that the DER names
  kxECDSA(sxPK_Format format, const unsigned char *data, int dataLen, int curveNid);

  using sxPubKey::Sign;
  /// With a nonce made before (ECDSA_sign_setup): its inverse and the r that belongs to it. A pair
  /// signs once; signing twice with it gives the private key away. Null for both: a fresh nonce.
  int Sign(sxPKop_type op, sx_md_type md, const unsigned char *in, int inLen, unsigned char *out, int outLen,
           const bignum_st *inverseNonce, const bignum_st *r);

  int HasPrivate() const;  ///< 1 or 0
  int Nbits() const;       ///< of the curve's order; 0 when not OK

 private:
  kxECDSA_imp *Imp() const;
};

// Signing wraps a digest (sxPKop_digest) in a DigestInfo first and signs that encoding, of which ECDSA
// uses as many leading bits as the order has; verifying takes the octets as given, whatever the
// operation. So plain ECDSA over a digest is sxPKop_raw. The asymmetry is kept so by intent.

/// @return a new key for sxFreePubKey, or null
KXCERT_EXPORT sxPubKey *sxImportECDSAKey(sxPK_Format format, const unsigned char *data, int dataLen, int curveNid);

// On libcrypto's keys. Those that return one hand it over for EC_KEY_free.

/// An empty key on the process's group of that curve, made at the first call with multiples of its
/// generator computed ahead. From any thread. @return null for another curve
KXCERT_EXPORT ec_key_st *EC_KEY_by_nid_with_precompute(int curveNid);

/// A new key pair that passed the full check. @return null for another curve
KXCERT_EXPORT ec_key_st *kxGenECDSA(int curveNid);
KXCERT_EXPORT ec_key_st *kxGenECDSA(const char *curveName);  ///< null or "": prime256v1

/// As the importing constructor. @return null for what is no key
KXCERT_EXPORT ec_key_st *kxECDSA_from_buf(sxPK_Format format, const unsigned char *data, int dataLen, int curveNid);
/// @param privateForm  0: the uncompressed point, else ECPrivateKey DER, which makes @p out sensitive
/// @return 0 or -1
KXCERT_EXPORT int kxECDSA_to_buf(const ec_key_st *key, kxBinBuf &out, int privateForm);

/// The set form: "NID" (number), "comment" and "curve" (texts of the curve), "public" (the
/// uncompressed point, 300 octets at most) and, when the key has it, "private" (the scalar, big-endian,
/// as long as the order; our choice).
/// @return a new set for delete, or null
KXCERT_EXPORT sxset *kxECDSA_to_set(const ec_key_st *key);
KXCERT_EXPORT ec_key_st *kxECDSA_from_set(const sxset *set);  ///< null when it holds no usable key

KXCERT_EXPORT int kxECDSA_is_ok(const ec_key_st *key);  ///< the full check: 1, or 0 (one line logged)
/// Curve, point and whether there is a private part; its scalar is never printed (our choice).
KXCERT_EXPORT void kxECDSA_herror(const ec_key_st *key);

#endif
