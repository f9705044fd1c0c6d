/// @file
/// Signed files: a file carries, or a second file holds, a block with a time and a signature (ECDSA over
/// P-521 with SHA-512) by the key that this library has built in, or that the caller names.
///
/// docs/formats/signedFile.md draws the block and says which octets are signed. What stands before the block
/// and in it is not: whoever reads a verified text file begins behind the line that ends the block. All
/// functions may be called from any thread, on different files or the same.
///
/// Only regular files are read, and links to them. A folder, a pipe, a device is not waited for and not
/// opened: FSV_FILE_NOT_FOUND, whether it is given as file, signature, old file or key.
#ifndef KXCERT_SIGNEDFILE_FILESIGNVERIFY_H_
#define KXCERT_SIGNEDFILE_FILESIGNVERIFY_H_

#include "kxcert/platform/export.h"

class sxPubKey;
class sxset;

/// What verifying a file answers; 0 is success.
enum FSV_RC : int {
  FSV_OK = 0,
  FSV_FILE_NOT_FOUND = -1,
  FSV_OLD_NOT_SIGNED = -2,
  FSV_OLD_IS_LATER = -3,
  FSV_NO_KEY = -10,
  FSV_NOT_SIGNED = -11,
  FSV_READ_FAILED = -12,
  FSV_NOT_VERIFIED = -13,
};

/// The English text of a code. Codes without one, and FSV_OK is among them by intent, give "unknown error
/// N" in an area of the calling thread, good until its next such call.
KXCERT_EXPORT const char *FSV_RC_to_str(int rc);

/// Whether files with a time of zero are refused (FSV_NOT_SIGNED); false until it is called. For the whole
/// process, from any thread.
///
/// A program should switch this on before it verifies anything. A time of zero adds nothing to the digest, and
/// nothing in it marks where the time ends: what was signed as a time and a content verifies as no time and a
/// content that begins with the time's eight octets, which nobody signed (FileSignVerify2; FileSignVerify
/// where those octets are no control characters). The other way round, eight octets of content that pass for a
/// time, it is up to who signs: never with a time of zero, not even once with the same key.
KXCERT_EXPORT void fsv_refuse_zero_time(bool refuse);

/// Verifies a text file whose signature block stands at its head. Its control characters (31 and below) are
/// not signed, so that line ends and TABs may change.
/// @param oldFile  the version to be replaced, or null: its time must not be later than the file's; its
///                 signature is not verified
/// @param keyFile  a public key as text of an attribute set, or null: the built-in one, and, when the
///                 environment variable FSV_TESTING is set, a second one for tests
/// @return FSV_RC
KXCERT_EXPORT int FileSignVerify(const char *file, const char *oldFile, const char *keyFile);
/// The same for any file, all octets of which are signed, with the block in @p sigFile; that of
/// @p oldFile is read from @p oldFile itself.
KXCERT_EXPORT int FileSignVerify2(const char *file, const char *sigFile, const char *oldFile, const char *keyFile);

extern "C" {
KXCERT_EXPORT int FileSignVerifyC(const char *file, const char *oldFile, const char *keyFile);
KXCERT_EXPORT int FileSignVerify2C(const char *file, const char *sigFile, const char *oldFile, const char *keyFile);
}

// The steps.

constexpr unsigned int kMaxFileSignatureLen = 256;  ///< octets; the longest of P-521 has 139

/// Reads a signature block.
/// @param[out]    timestamp  in network byte order: its octets in memory are those of the file
/// @param[in,out] sigLen     room at @p sig; the octets of the signature
/// @return FSV_OK, FSV_FILE_NOT_FOUND or FSV_NOT_SIGNED (no room among it)
KXCERT_EXPORT int get_timestamp_and_signature(const char *file, unsigned long long &timestamp, unsigned char *sig,
                                              unsigned int &sigLen);
/// The digest that is signed.
/// @param timestamp  as above; 0 adds nothing
/// @param textMode   leaves out control characters
/// @param skipBlock  leaves out everything up to the line that ends the block
/// @return FSV_OK, FSV_FILE_NOT_FOUND, FSV_NOT_SIGNED (the block does not end) or FSV_READ_FAILED
KXCERT_EXPORT int hash_file(const char *file, unsigned long long timestamp, unsigned char digest[64], bool textMode,
                            bool skipBlock);

/// The public key in a regular file, or the built-in one when @p keyFile is null.
/// @param[out] out  when not null: a new set with what was read, for delete; null on failure
/// @return a key for sxFreePubKey, or null
KXCERT_EXPORT sxPubKey *load_key(const char *keyFile, sxset **out);
/// The key in a set: (:curve (:NID (716) ...) :public (HEX OF THE POINT)). @return null for anything else
KXCERT_EXPORT sxPubKey *load_key_do(const sxset *set);

#endif
