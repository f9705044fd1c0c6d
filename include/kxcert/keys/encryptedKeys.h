/// @file
/// Private keys that a password protects: PKCS #8, and the encrypted blocks of traditional PEM.
///
/// Views without data, limits and secrets are as in passwordBased.h. Any thread; nothing keeps what it is given.
#ifndef KXCERT_KEYS_ENCRYPTEDKEYS_H_
#define KXCERT_KEYS_ENCRYPTEDKEYS_H_

#include <string>
#include <string_view>

#include "kxcert/keys/passwordBased.h"

class sxPubKey;

/// Opens DER of
///   EncryptedPrivateKeyInfo ::= SEQUENCE { encryptionAlgorithm AlgorithmIdentifier,
///                                          encryptedData OCTET STRING }   (RFC 5208, 6)
/// @param[out] out  a PrivateKeyInfo, sensitive; one SEQUENCE at least, which is not what a wrong password gives.
///                  Unchanged on failure
/// @param[out] why  may be null; the result's text, and what it is about
/// @return sxPbeResult
KXCERT_EXPORT int sxDecryptKeyInfo(sxPbeOctets der, sxPbeOctets password, kxBinBuf &out, std::string *why = nullptr);

/// The other way, for any PrivateKeyInfo. @param[out] out  not sensitive; unchanged on failure
KXCERT_EXPORT int sxEncryptKeyInfo(const sxPbeSettings &settings, sxPbeOctets keyInfo, sxPbeOctets password,
                                   kxBinBuf &out);

/// DER of an EncryptedPrivateKeyInfo of a key: RSA, EC or Diffie-Hellman (keyForms.h).
/// @return sxPbeResult; sxPbe_failed also for a key that is not OK or has no private part
KXCERT_EXPORT int sxExportEncryptedKey(sxPubKey *key, const sxPbeSettings &settings, sxPbeOctets password,
                                       kxBinBuf &out);

/// Opens a block whose headers say that it is encrypted (RFC 1421, 4.6.1.3): DES, three-key 3DES or AES in CBC mode,
/// with a key that MD5 makes of the password. Written by others for as long as they had no PKCS #8; never here.
/// @param dekInfo  value of the header "DEK-Info": "AES-256-CBC,1F2E...", the vector in hexadecimal
/// @param content  the block's octets
/// @param[out] out  an encoding of the kind that the label says; otherwise as in sxDecryptKeyInfo
KXCERT_EXPORT int sxDecryptPemKey(std::string_view dekInfo, sxPbeOctets content, sxPbeOctets password, kxBinBuf &out,
                                  std::string *why = nullptr);

#endif
