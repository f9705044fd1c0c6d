/// @file
/// What the library has no words for; and fingerprints, which name an object
/// whatever is in it.
#ifndef KXCERT_TOOLS_KXCERT_UNKNOWNPARTS_H_
#define KXCERT_TOOLS_KXCERT_UNKNOWNPARTS_H_

#include <span>
#include <string>

#include "facts.h"

class sxASN_Extensions;
class sxAsnOid;
class sxCert;
class sxExtensionsList;
class SxStream;

std::string OidText(const sxAsnOid &oid);  ///< dotted decimal
std::string OidText(std::span<const unsigned char> content);
/// Prints those extensions that are not in @p known, in words where the library has them, else each with its identifier
/// and its octets.
/// @param extensions  those that @p known was made from; may be null
/// @param alsoKnown   one that is told elsewhere, or null
/// @param all         gets every one of them as JSON, in order, with its members where it is read here; or is null
/// @return those that are not read as JSON
Facts PrintUnknown(const sxASN_Extensions *extensions, const sxExtensionsList &known, const sxAsnOid *alsoKnown,
                   SxStream *out, int indent, Facts *all = nullptr);

std::string Sha256Of(const unsigned char *octets, size_t len);  ///< hexadecimal
/// Of a certificate's SubjectPublicKeyInfo as received; "" without one.
std::string SpkiSha256(const unsigned char *octets, size_t len);
std::string SpkiSha256(const sxCert &cert);

#endif
