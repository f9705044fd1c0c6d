/// @file
/// One key from input, whatever its form.
#ifndef KXCERT_TOOLS_KXCERT_KEYINPUT_H_
#define KXCERT_TOOLS_KXCERT_KEYINPUT_H_

#include <memory>
#include <string>

#include "kxcert/keys/sxPubKey.h"

class Report;

struct FreeKey {
  void operator()(sxPubKey *key) const { sxFreePubKey(key); }
};
using KeyRef = std::unique_ptr<sxPubKey, FreeKey>;

enum class KeyPart {
  kAny,      ///< a private key that stands beside its own public one is the one; another one's is a problem
  kPrivate,  ///< public keys beside it are passed over; another one's is noted
};

struct FoundKey {
  KeyRef key;  ///< OK; null when there is none: that is a problem, which has been told
  bool isPrivate = false;
  std::string where;  ///< file, and line for PEM; printable ASCII, in one line whatever the file's name
};

/// The one key in a file, or in standard input for "-": text of an attribute set, PEM or DER (PKCS #1, PKCS #8, SEC 1,
/// SubjectPublicKeyInfo), told apart by content. Files of several forms that were joined have all their keys counted.
/// What is no key is passed over when there is one, such as the certificates and the EC parameters that others write
/// before it.
/// @param passwordSource  of keyPassword.h; "": the terminal is asked, where there is one
FoundKey ReadKey(const std::string &path, KeyPart part, Report &report, const std::string &passwordSource = "");

#endif
