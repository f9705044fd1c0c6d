/// @file
/// The one key in some octets, whatever its form: PEM, DER or an attribute set, plain or encrypted (loadFiles.h).
#ifndef KXCERT_CERT_IMPORTKEY_H_
#define KXCERT_CERT_IMPORTKEY_H_

#include <string>

#include "kxcert/cert/loadFiles.h"

enum sxKeyImport : int {
  sxKeyImport_ok = 0,
  sxKeyImport_none = -1,           ///< no key in it
  sxKeyImport_several = -2,        ///< more than one, each of which could be meant
  sxKeyImport_needsPassword = -3,  ///< encrypted, and no password was given
  sxKeyImport_wrongPassword = -4,  ///< or damaged: most forms do not tell the two apart
  sxKeyImport_damaged = -5,        ///< a key that does not decode, or is not usable
  sxKeyImport_unsupported = -6,    ///< encrypted in a way that is not read, or cannot be here: no legacy provider
  sxKeyImport_tooCostly = -7,      ///< beyond one of the limits of passwordBased.h or loadFiles.h
};

/// A private key, or a public one when there is none. A private one that could not be opened or read is passed over beside
/// one that could, but is the answer beside public ones.
/// @param password  null: there is none; asked once for each encrypted key
/// @param[out] key  a new key for sxFreePubKey; unchanged on failure
/// @param[out] why  may be null: printable ASCII, "" when there is a key
/// @return sxKeyImport. Any thread
KXCERT_EXPORT int sxImportKey(const unsigned char *octets, size_t len, const sxAskPassword &password, sxPubKey **key,
                              std::string *why = nullptr);

/// The same with a password. @param password  octets that need no NUL behind them; null: there is none
KXCERT_EXPORT int sxImportKeyWithPassword(const unsigned char *octets, size_t len, const unsigned char *password,
                                          size_t passwordLen, sxPubKey **key, std::string *why = nullptr);

#endif
