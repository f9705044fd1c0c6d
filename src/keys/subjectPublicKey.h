/// @file
/// Keys out of a certificate's subjectPublicKeyInfo (RFC 5280, 4.1.2.7; RFC 3279, 2.3; RFC 5480).
///
///   SubjectPublicKeyInfo ::= SEQUENCE { algorithm AlgorithmIdentifier, subjectPublicKey BIT STRING }
#ifndef KXCERT_SRC_KEYS_SUBJECTPUBLICKEY_H_
#define KXCERT_SRC_KEYS_SUBJECTPUBLICKEY_H_

class sxASN_SubjectPublicKeyInfo;
class sxPubKey;

enum sxSpkiResult : int {
  sxSpki_ok = 0,
  sxSpki_unsupported,  ///< neither RSA nor EC nor DSA, or no algorithm at all
  sxSpki_dsa,
  sxSpki_bad_rsa,  ///< RSA, but no usable RSAPublicKey in the bit string
  sxSpki_bad_ec,   ///< EC, but the curve is not named, not ours, or the point is none of it
};

/// The key from its pieces, which are only borrowed. RSA keys go through sxImportRSAKey.
///
/// RSA is rsaEncryption or, as some issuers write, one of the RSA signature algorithms; its parameters
/// are not looked at. EC is id-ecPublicKey.
/// @param algOid  content octets of the algorithm's identifier
/// @param params  the parameters' whole element, tag and length included; null when absent
/// @param key     octets of the bit string, without the one that counts unused bits
/// @param[out] why  may be null
/// @return a new key for sxFreePubKey, or null
sxPubKey *sxPubKey_FromSPKI(const unsigned char *algOid, int algOidLen, const unsigned char *params, int paramsLen,
                            const unsigned char *key, int keyLen, sxSpkiResult *why);

/// The same from a decoded tree. Unused bits in the bit string make the key undecodable.
sxPubKey *sxPubKey_FromSPKI(const sxASN_SubjectPublicKeyInfo &spki, sxSpkiResult *why);

#endif
