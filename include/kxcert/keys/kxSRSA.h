/// @file
/// RSA keys (RFC 8017): generation, import and export, PKCS #1 version 1.5 signatures and encryption.
///
/// What is imported must be a key that libcrypto can verify with and that bounds the work of a hostile
/// one (our choice): a modulus of 512 to 16384 bits, odd; a public exponent of 3 or more, odd, below
/// the modulus, and of 64 bits at most when the modulus has more than 3072. Public keys are read as
/// libcrypto reads them, also in BER and with numbers that look negative or have zero octets too many,
/// and written in DER.
///
/// A private exponent must be odd, 3 or more and below the modulus. Primes and CRT values, where a key has
/// them, must belong to it: two primes that make the modulus, neither shorter than a quarter of it, and
/// numbers that fulfil RFC 8017, 3.2. Whether the primes are prime is not looked at. That holds for every
/// way in: DER, PKCS #8, sets and libcrypto's objects.
///
/// Operations on one key may run on several threads at once.
#ifndef KXCERT_KEYS_KXSRSA_H_
#define KXCERT_KEYS_KXSRSA_H_

#include "kxcert/keys/sxPubKey.h"

struct rsa_st;
class kxBinBuf;
class kxSRSA_imp;
class sxset;

constexpr int kMinRsaBits = 512;
constexpr int kMaxRsaBits = 16384;

class KXCERT_EXPORT kxSRSA : public sxPubKey {
 public:
  /// Imports RSAPublicKey (sxPK_public) or RSAPrivateKey (sxPK_private) DER; see OK().
  kxSRSA(sxPK_Format format, const unsigned char *data, int dataLen);
  /// Generates a key (kxGenRSA in rsaGeneration.h), untested; see OK().
  kxSRSA(int bits, int exponent);
  /// Adopts a libcrypto key, also when it is refused; see OK().
  explicit kxSRSA(rsa_st *rsa);

  int HasPrivate() const;  ///< 1 or 0
  int Nbits() const;       ///< of the modulus; 0 when not OK
  int Nbytes() const;      ///< octets of every signature and ciphertext

 private:
  kxSRSA_imp *Imp() const;
};

/// @return a new key for sxFreePubKey, or null
KXCERT_EXPORT sxPubKey *sxImportRSAKey(sxPK_Format format, const unsigned char *data, int dataLen);
KXCERT_EXPORT sxPubKey *sxImportRSAKey_from_Set(const sxset *set);

/// The key's octets; private ones in a buffer that becomes sensitive.
/// @return 0, or the code of sxPubKey::Export
KXCERT_EXPORT int sxExportRSAKey(sxPubKey *key, sxPK_Format format, kxBinBuf &out);
/// @return a new set for delete, or null
KXCERT_EXPORT sxset *sxExportRSAKey_to_Set(sxPubKey *key);

/// Generates a key with the installed function, kxGenRSA unless another is, and tests it: it must verify
/// what it signs, and decrypt what it encrypts if its flags have all of kKeyFlagsTestCipher. A key that
/// fails is freed and fips_reboot called. For exponent 3 the function is told 17, always and by intent.
/// @param bits, exponent  see kxGenRSA in rsaGeneration.h
/// @return a new key for sxFreePubKey; null when there is none or it fails
KXCERT_EXPORT sxPubKey *sxGenerateRSA(int bits, int exponent);

/// Makes sxImportRSAKey and sxGenerateRSA call other functions, for keys kept elsewhere; null goes back to
/// the built-in one. From any thread. A function hands its key over, or null.
using sxImportRSAKeyFunc = sxPubKey *(*)(sxPK_Format format, const unsigned char *data, int dataLen);
using sxGenRSAKeyFunc = sxPubKey *(*)(int bits, int exponent);
KXCERT_EXPORT void sxSetImportRSAKey_func(sxImportRSAKeyFunc func);
KXCERT_EXPORT void sxSetGenRSAKey_func(sxGenRSAKeyFunc func);
KXCERT_EXPORT int sxIsSW_RSA();  ///< 1 while both built-in functions are installed

/// Power-on self-test: signs, verifies, encrypts and decrypts with a fixed key. @return 0 or -1
KXCERT_EXPORT int kxTestRSA();

// On libcrypto's keys. Those that return one hand it over for RSA_free.

/// @param privateForm  0: RSAPublicKey, else RSAPrivateKey
/// @return null unless all octets are one key within the limits above
KXCERT_EXPORT rsa_st *kxRSA_from_buf(const unsigned char *data, int dataLen, int privateForm);
/// The private form makes @p out sensitive. @return 0 or -1
KXCERT_EXPORT int kxRSA_to_buf(const rsa_st *rsa, kxBinBuf &out, int privateForm);

/// The set form. Every "value" is a number as bigNumSet.h stores it.
///   (:private (:value (d) :pkcs8 (PrivateKeyInfo DER)) :public (:value (e)) :modulus (:value (n)))
/// "private" is there when the key has d, "pkcs8" when it has its primes and CRT values as well.
/// @return a new set for delete; null when n or e is missing or too long
KXCERT_EXPORT sxset *kxRSA_to_set(const rsa_st *rsa);
/// Reads "pkcs8" first and falls back to the numbers. @return null when the set holds no usable key
KXCERT_EXPORT rsa_st *kxRSA_from_set(const sxset *set);

KXCERT_EXPORT int kxRSA_is_ok(const rsa_st *rsa);  ///< 1 when within the limits above, else 0
/// Modulus, exponent and whether there is a private part; its numbers are never printed (our choice).
KXCERT_EXPORT void kxRSA_herror(const rsa_st *rsa);

/// The four primitives with PKCS #1 padding: type 1 for private encryption and public decryption, type
/// 2 for the others.
/// @param outLen  at least RSA_size(rsa)
/// @return octets written, or -1
KXCERT_EXPORT int RSA_private_encrypt_wrapper(int inLen, const unsigned char *in, int outLen, unsigned char *out,
                                              rsa_st *rsa);
KXCERT_EXPORT int RSA_private_decrypt_wrapper(int inLen, const unsigned char *in, int outLen, unsigned char *out,
                                              rsa_st *rsa);
KXCERT_EXPORT int RSA_public_encrypt_wrapper(int inLen, const unsigned char *in, int outLen, unsigned char *out,
                                             rsa_st *rsa);
KXCERT_EXPORT int RSA_public_decrypt_wrapper(int inLen, const unsigned char *in, int outLen, unsigned char *out,
                                             rsa_st *rsa);

#endif
