// The algorithms of password-based encryption by object identifier, with libcrypto's names for them.
#ifndef KXCERT_SRC_KEYS_PBE_PBEALGORITHMS_H_
#define KXCERT_SRC_KEYS_PBE_PBEALGORITHMS_H_

#include "asn1/der.h"
#include "kxcert/keys/passwordBased.h"

// Encrypts; key and vector lengths in octets.
struct PbeCipher {
  const char *name;  // for EVP_CIPHER_fetch
  size_t keyLen;
  size_t blockLen;  // and the vector's; 1 for RC4, which has neither blocks nor vector
  bool isLegacy;    // in libcrypto's legacy provider
};

constexpr size_t kMaxPbeKeyLen = 32;
constexpr size_t kMaxPbeBlockLen = 16;

// Each finds a row by the content octets of an identifier; null when there is none.

/// encryptionScheme of PBES2 (RFC 8018, B.2; RFC 3565, 4.1).
const PbeCipher *FindPbes2Cipher(sxOctetView oid);
/// Identifier of a row that FindPbes2Cipher lends.
sxOctetView Pbes2CipherOid(sxPbeCipher cipher, const PbeCipher **row);

/// PBKDF2's pseudorandom function (RFC 8018, B.1): libcrypto's name of the digest in its HMAC.
const char *FindPbePrf(sxOctetView oid);
/// The other way; empty for a digest that has none.
sxOctetView PbePrfOid(sx_md_type digest, const char **name);
/// A digest by its own identifier.
const char *FindPbeDigest(sxOctetView oid);
/// Octets of a digest by the name that one of these lends.
size_t PbeDigestLen(const char *name);

// The schemes of one identifier for digest and cipher.
struct PbeScheme {
  sxOctetView oid;
  const char *digest;
  PbeCipher cipher;
  bool isPkcs12;  // its key derivation (RFC 7292, C); else PBKDF1 (RFC 8018, A.3)
};
const PbeScheme *FindPbeScheme(sxOctetView oid);
const PbeScheme &Pkcs12TripleDes();

/// What headers of PEM name (RFC 1423, 1.1; others by use).
const PbeCipher *FindPemCipher(std::string_view name);

extern const sxOctetView kPbes2Oid, kPbkdf2Oid, kScryptOid;

#endif
