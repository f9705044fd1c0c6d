/// @file
/// What is told about a key: nothing that is secret.
#ifndef KXCERT_TOOLS_KXCERT_KEYFACTS_H_
#define KXCERT_TOOLS_KXCERT_KEYFACTS_H_

#include <string>

#include "facts.h"

class sxPubKey;

std::string KeyName(sxPubKey &key);         ///< "RSA, 2048 bits", "EC, secp521r1, 521 bits"
std::string KeyFingerprint(sxPubKey &key);  ///< SHA-256 of the SubjectPublicKeyInfo, hexadecimal; "" for a failure

/// Three lines: what it is, which part, its fingerprint.
std::string KeyLines(sxPubKey &key, bool isPrivate);
Facts KeyFacts(sxPubKey &key, bool isPrivate);

#endif
