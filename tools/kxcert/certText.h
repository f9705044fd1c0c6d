/// @file
/// Certificates whole, as text and as JSON, also those with keys or signatures that the library does not use.
#ifndef KXCERT_TOOLS_KXCERT_CERTTEXT_H_
#define KXCERT_TOOLS_KXCERT_CERTTEXT_H_

#include <span>
#include <string>

#include "facts.h"

class sxASN_SubjectPublicKeyInfo;
class sxCert;

/// @param level  of sxCertHerrorDetails; brief is the subject alone
/// @param[out] facts  all that is told, whatever the level
std::string CertText(const sxCert &cert, int level, Facts &facts);

/// The same of octets that are a certificate which the library does not take. @return "": they are none
/// @param[out] isUnsupported  its key is of a kind, or on a curve, that is not used here; else something is wrong with it
std::string UnusedCertText(std::span<const unsigned char> octets, int level, Facts &facts, bool *isUnsupported);

/// Of a key that is not used here: "not supported: 1.2.840.10045.2.1 (id-ecPublicKey) with 1.3.132.0.10 (secp256k1)".
std::string UnusedKeyWords(const sxASN_SubjectPublicKeyInfo &info, bool *isUnsupported);

#endif
