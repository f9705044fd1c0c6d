/// @file
/// Signing files, and verifying them with a key that is there already; fileSignVerify.h says what is signed.
///
/// A result is written whole or not at all, and only after it was verified as it stands on the disk. Any thread;
/// whoever signs one file twice at a time gets one of the two results.
#ifndef KXCERT_SIGNEDFILE_FILESIGN_H_
#define KXCERT_SIGNEDFILE_FILESIGN_H_

#include <cstdint>

#include "kxcert/platform/export.h"

class sxPubKey;

/// What signing a file answers; 0 is success.
enum FSG_RC : int {
  FSG_OK = 0,
  FSG_NO_FILE = -1,      ///< not there, or no regular file
  FSG_READ_FAILED = -2,  ///< or it changed meanwhile
  FSG_BAD_KEY = -3,      ///< no private key of P-521
  FSG_BAD_TIME = -4,     ///< 0, which would sign no time at all
  FSG_NOT_TEXT = -5,     ///< control characters other than TABs, line ends and page breaks, which nobody would sign
  FSG_SIGNED = -6,       ///< it has a block, and that is not to be replaced
  FSG_EXISTS = -7,       ///< the result's name is taken
  FSG_WRITE_FAILED = -8,
  FSG_FAILED = -9,         ///< signing
  FSG_SAME_FILE = -10,     ///< the signature's file is the one that is signed
  FSG_OTHER_OWNER = -11,   ///< signed in place it would not be its owner's or its group's any more, or lose permissions
  FSG_BROKEN_BLOCK = -12,  ///< it begins as a block does, without being one: what of it is text is not known
};
KXCERT_EXPORT const char *FSG_RC_to_str(int rc);  ///< lent, static

/// Whether files can be signed (@p isPrivate) or verified with a key: one of P-521. False for null.
KXCERT_EXPORT bool fsg_key_fits(sxPubKey *key, bool isPrivate);

/// Puts a signature block at the head of a text file. What a file may be read for begins behind that block.
///
/// A file that begins with a block is signed already: that block is replaced when @p replace says so, else the file
/// stays as it is, so that nobody's signature goes unnoticed.
/// @param outFile  the result; null: the file itself (that which a link leads to). It gets the file's permissions (of
///        0777). The file itself keeps owner, group, all permissions and the access control list, or is not signed
/// @param seconds  since 1970-01-01 00:00 UTC: the time that is signed
/// @param replace  also a file that has the name @p outFile
/// @return FSG_RC
KXCERT_EXPORT int FileSign(const char *file, const char *outFile, sxPubKey *key, uint64_t seconds, bool replace);
/// The same for any file, which is not changed: the block becomes the file @p sigFile, which everybody may read.
KXCERT_EXPORT int FileSign2(const char *file, const char *sigFile, sxPubKey *key, uint64_t seconds, bool replace);

/// FileSignVerify, or with a @p sigFile FileSignVerify2, with a key that is no file of theirs. No other key is tried.
/// @return FSV_RC; FSV_NO_KEY for a key that is not of P-521
KXCERT_EXPORT int FileVerifyWithKey(const char *file, const char *sigFile, const char *oldFile, sxPubKey *key);

#endif
