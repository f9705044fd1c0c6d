/// @file
/// What a password protects: octets beside an AlgorithmIdentifier that says how (RFC 8018; RFC 7292, appendix C).
///
/// Read are PBES2 (PBKDF2 with HMAC of SHA-1 and SHA-2, those cut to 224 and 256 bits included, or scrypt; AES-128, -192,
/// -256 and three-key 3DES, all in CBC mode), PBES1 (MD5 or SHA-1 with DES or RC2) and the six schemes of PKCS #12 (SHA-1 with
/// 3DES, RC2 and RC4). What keys or containers are inside is not known here.
///
/// Passwords are octets as they stand, and UTF-8 where a scheme of PKCS #12 makes a BMPString of them. A view without
/// data is no password at all, which those schemes tell from the empty one; the others do not.
///
/// Numbers of a file that drive work are compared with the limits below before anything is computed. Secrets are in
/// sensitive buffers and wiped. DES, RC2 and RC4 are loaded from libcrypto's legacy provider, into a library context
/// of this library's own, once something needs them. Any thread; nothing keeps what it is given.
#ifndef KXCERT_KEYS_PASSWORDBASED_H_
#define KXCERT_KEYS_PASSWORDBASED_H_

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "kxcert/platform/digest.h"
#include "kxcert/platform/export.h"

class kxBinBuf;

constexpr uint64_t kMaxPbeIterations = 10'000'000;
/// Of scrypt, octets: 128 * N * r * p, so that what is done one part after the other counts as well.
/// Nor is more held than this and 1 MiB: 128 * r * (N + p + 2), of which the blocks beside the N matter where N is small.
constexpr uint64_t kMaxPbeScryptMemory = uint64_t{1} << 26;
constexpr uint64_t kPbeScryptShare = 256;    ///< so many octets of scrypt's memory cost what an iteration does
constexpr size_t kMaxPbeSaltLen = 1024;      ///< octets, at least one; PBES1 has 8 (RFC 8018, A.3)
constexpr size_t kMaxPbePasswordLen = 4096;  ///< octets
constexpr size_t kMaxPbeDerivedLen = 128;    ///< octets of a key: each digest of it has all the iterations
constexpr size_t kMaxPbeContentLen = size_t{1} << 28;  ///< octets
constexpr int kUsualPbeIterations = 50'000;            ///< of what is written, unless asked for otherwise

enum sxPbeResult : int {
  sxPbe_ok = 0,
  sxPbe_wrongPassword = -1,  ///< the padding is none: CBC modes do not tell this from damage
  sxPbe_unsupported = -2,
  sxPbe_malformed = -3,  ///< the AlgorithmIdentifier, or octets that no password makes right
  sxPbe_tooCostly = -4,  ///< beyond one of the limits; nothing was tried
  sxPbe_noProvider = -5,
  sxPbe_failed = -6,  ///< refused by libcrypto, or bad arguments
  sxPbe_needsPassword = -7,
};
/// Fixed text, for a message; "unknown result" for another number.
KXCERT_EXPORT const char *sxPbe_ResultText(int result);

using sxPbeOctets = std::span<const unsigned char>;

/// @param algorithm   DER of the AlgorithmIdentifier, and nothing behind it
/// @param content     what is encrypted
/// @param[out] out    sensitive; unchanged on failure. RC4 has no padding: a wrong password gives other octets
/// @param[out] why    may be null; the result's text, and which algorithm or number it is about
/// @return sxPbeResult (failures are logged in one line)
KXCERT_EXPORT int sxPbe_Decrypt(sxPbeOctets algorithm, sxPbeOctets content, sxPbeOctets password, kxBinBuf &out,
                                std::string *why = nullptr);

/// Iterations that deriving the key costs, those of each digest of it counted; 0 for what would not be tried.
KXCERT_EXPORT uint64_t sxPbe_Cost(sxPbeOctets algorithm);

enum sxPbeCipher : int {
  sxPbe_aes256,  ///< PBES2 with AES-256-CBC; so with the next three
  sxPbe_aes192,
  sxPbe_aes128,
  sxPbe_3des,
  sxPbe_pkcs12_3des,  ///< pbeWithSHAAnd3-KeyTripleDES-CBC (RFC 7292, appendix C), for readers that know no PBES2
};

struct sxPbeSettings {
  sxPbeCipher cipher = sxPbe_aes256;
  int iterations = kUsualPbeIterations;  ///< 1 to kMaxPbeIterations
  /// PBKDF2's HMAC: sx_md_sha1, sx_md_sha256, sx_md_sha384 or sx_md_sha512. sxPbe_pkcs12_3des has SHA-1 whatever it is.
  sx_md_type digest = sx_md_sha256;
};

/// Encrypts with a new random salt and initialisation vector.
/// @param[out] algorithm  DER of the AlgorithmIdentifier; unchanged on failure, as is @p out
/// @param[out] out        not sensitive any more
/// @return sxPbe_ok, sxPbe_failed, or sxPbe_malformed for settings out of range
KXCERT_EXPORT int sxPbe_Encrypt(const sxPbeSettings &settings, sxPbeOctets plain, sxPbeOctets password,
                                kxBinBuf &algorithm, kxBinBuf &out);

/// The octets that PBKDF2 or scrypt makes of a password, as its AlgorithmIdentifier says (RFC 8018, A.2; RFC 7914, 7).
/// @param keyLen  octets, kMaxPbeDerivedLen at most; 0: as many as the parameters' keyLength says, which else must not differ
/// @param[out] out  sensitive; unchanged on failure
/// @return as sxPbe_Decrypt
KXCERT_EXPORT int sxPbe_DeriveKey(sxPbeOctets algorithm, sxPbeOctets password, size_t keyLen, kxBinBuf &out,
                                  std::string *why = nullptr);

/// What a key of PKCS #12 is for (RFC 7292, B.3).
enum sxPkcs12Purpose : int { sxPkcs12_key = 1, sxPkcs12_iv = 2, sxPkcs12_mac = 3 };

/// The key derivation of PKCS #12 (RFC 7292, B.2).
/// @param digest     content octets of the digest's object identifier: SHA-1, SHA-2, MD5
/// @param bmp        the password as sxPbe_BmpPassword makes it; no octets for no password
/// @param iterations 1 to kMaxPbeIterations
/// @param keyLen     1 to kMaxPbeDerivedLen
/// @param[out] out   sensitive; unchanged on failure
/// @return as sxPbe_Decrypt
KXCERT_EXPORT int sxPbe_Pkcs12Key(sxPbeOctets digest, sxPkcs12Purpose purpose, sxPbeOctets bmp, sxPbeOctets salt,
                                  uint64_t iterations, size_t keyLen, kxBinBuf &out, std::string *why = nullptr);

/// A password as a BMPString with two zero octets behind it (RFC 7292, B.1): UTF-16, most significant octet first.
/// Octets that are no UTF-8 are taken as Latin-1, each a character, as others do.
/// @param[out] out  sensitive; empty for a view without data, two zero octets for the empty password
KXCERT_EXPORT void sxPbe_BmpPassword(sxPbeOctets password, kxBinBuf &out);

#endif
