/// @file
/// PKCS #1 version 1.5 blocks (RFC 8017, 7.2 and 9.2) and the DigestInfo inside signatures; PKCS #8.
#ifndef KXCERT_KEYS_PKCS1_H_
#define KXCERT_KEYS_PKCS1_H_

#include "kxcert/keys/keyCodes.h"
#include "kxcert/platform/export.h"

class kxBinBuf;

/// DER of
///   DigestInfo ::= SEQUENCE { digestAlgorithm AlgorithmIdentifier, digest OCTET STRING }
/// with NULL as the algorithm's parameters. The digest's length is not compared with its kind's.
/// @retval  0  done
/// @retval -1  null, empty or above 2^20 octets, or a kind that HashOID_By_MD does not know; out keeps
///             what it had
KXCERT_EXPORT int kxPKCS1DigestInfo(const unsigned char *digest, int digestLen, int mdType, kxBinBuf &out);

/// Compares what an opened signature holds with what it should hold. A DigestInfo is compared octet by
/// octet with two encodings: parameters NULL, and parameters absent, which some signers write
/// (RFC 8017, 9.2, note 2; RFC 4055, 5). No other encoding matches.
/// @param expected  the message (sxPKop_raw) or its digest
/// @retval 0                   it matches
/// @retval kKeyLenMismatch     the length differs
/// @retval kKeyUnequal         the octets differ
/// @retval kKeyBadInput        null, a negative length, or nothing to compare with
/// @retval kKeyLibraryFailed   there is no DigestInfo of that kind
/// @retval kKeyNotImplemented  another operation
KXCERT_EXPORT int sxComparePKCS1(sxPKop_type op, int mdType, const unsigned char *expected, int expectedLen,
                                 const unsigned char *decoded, int decodedLen);

/// Blocks: 00, the type, padding, 00, the data. Type 1 pads with FF, type 2 with random octets, at
/// least eight of them.
/// @param blockType  1 or 2
/// @retval  0  @p blockLen octets are written
/// @retval -1  another type, null, or data longer than blockLen - 11
KXCERT_EXPORT int kxPKCS1Pad(int blockType, const unsigned char *data, int dataLen, unsigned char *block, int blockLen);

/// As kxPKCS1Pad, on buffers. @p block becomes sensitive when @p data is. @return 0 or -1
KXCERT_EXPORT int sxpkcs1pad(int blockType, const kxBinBuf &data, int blockLen, kxBinBuf &block);

/// Takes a block apart. @p data becomes sensitive when @p block is. Whether type 2 succeeds must not be
/// told to whoever sent the block (RFC 8017, 7.2.2). @return 0 or -1, data is then unchanged
KXCERT_EXPORT int sxpkcs1unpad(int blockType, const kxBinBuf &block, kxBinBuf &data);

/// Wraps an RSAPrivateKey in
///   PrivateKeyInfo ::= SEQUENCE { version INTEGER (0), privateKeyAlgorithm AlgorithmIdentifier,
///                                 privateKey OCTET STRING, attributes [0] OPTIONAL }   (RFC 5208, 5)
/// with rsaEncryption, and unwraps it; attributes are skipped. Results are sensitive buffers. Whether
/// the octets inside are a key is left to who decodes them.
/// @return 0, or -1 (empty, malformed or another algorithm; out keeps what it had)
KXCERT_EXPORT int kxPKCS1_to_PKCS8(const kxBinBuf &pkcs1, kxBinBuf &pkcs8);
KXCERT_EXPORT int kxPKCS8_to_PKCS1(const kxBinBuf &pkcs8, kxBinBuf &pkcs1);

#endif
