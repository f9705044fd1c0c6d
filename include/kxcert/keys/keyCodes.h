/// @file
/// What key operations are told and what they answer: operation kinds, export formats, length kinds,
/// capability flags and result codes.
#ifndef KXCERT_KEYS_KEYCODES_H_
#define KXCERT_KEYS_KEYCODES_H_

#include "kxcert/platform/export.h"

/// What the octets given to Sign and Verify are.
enum sxPKop_type : int {
  sxPKop_digest = 0,      ///< a digest, signed inside a PKCS #1 DigestInfo
  sxPKop_raw = 1,         ///< signed as they stand, compared exactly
  sxPKop_digest_alt = 2,  ///< as sxPKop_digest
  sxPKop_either = 3,      ///< signed as they stand; verified as they stand, else inside a DigestInfo
};

enum sxPK_Format : int {
  sxPK_set = 0,      ///< a configuration set (sxset)
  sxPK_public = 1,   ///< RSA: RSAPublicKey DER (RFC 8017, A.1.1); EC: the uncompressed point;
                     ///< DH: SubjectPublicKeyInfo DER (kxSDH.h)
  sxPK_private = 2,  ///< RSA: RSAPrivateKey DER; EC: ECPrivateKey DER (RFC 5915); DH:
                     ///< PrivateKeyInfo DER (kxSDH.h)
};

/// Capacity that Export wants for sxPK_set: 4 on every target, although a whole pointer is stored.
constexpr int kKeySetCapacity = 4;

enum sxPK_Len_Type : int {
  sxPK_len_bits = 0,     ///< size of the key, bits
  sxPK_len_output = 1,   ///< longest output of one operation, bytes
  sxPK_len_modulus = 2,  ///< RSA only: size of the modulus, bytes
};

/// Kinds of key, as algorithm() and AlgType_By_SignOID tell them.
enum sxPK_Alg : int { sxPK_RSA = 0, sxPK_DH = 1, sxPK_DSA = 2, sxPK_ECDSA = 3 };

// Flags(): fixed numbers. Only the private part varies them; RSA and EC keys have the same ones, and
// DH keys one number whatever parts they have.
constexpr int kKeyFlagsPublic = 0x150;   ///< every usable RSA or EC key
constexpr int kKeyFlagsPrivate = 0x409;  ///< what the private part adds
constexpr int kKeyFlagsDh = 0x521;       ///< every usable DH key
constexpr int kKeyFlagCanSign = 0x8;     ///< one of kKeyFlagsPrivate: the key can sign
/// A new RSA key that has both is tested with a ciphertext as well. No key of this library has them.
constexpr int kKeyFlagsTestCipher = 0x6;

// Results of key operations: 0 or a count of octets, or one of these.
constexpr int kKeyUnequal = -100;          ///< a signature does not match; RSA decryption failed
constexpr int kKeyLibraryFailed = -1000;   ///< libcrypto refused
constexpr int kKeyNotImplemented = -1001;  ///< this kind cannot do it, or lacks the private part
constexpr int kKeyNotUsable = -1002;       ///< OK() is 0, a null key, or no set could be made
constexpr int kKeyBadInput = -1003;        ///< empty or null input; DER export failed
constexpr int kKeyLenMismatch = -1004;     ///< a length differs from the one expected
constexpr int kKeyOutputShort = -1005;     ///< the output area is too short
constexpr int kKeyNoDigestInfo = -1006;    ///< a digest kind without an algorithm

/// Told once how an asynchronous operation ended.
/// @param rc         0, or why it failed
/// @param result     what belongs to the callee from here on, or null (see the operation)
/// @param resultLen  octets of it
/// @param errText    lent for the call; may be null
using sxPKCallback = void (*)(void *opaque, int rc, void *result, int resultLen, const char *errText);

#endif
