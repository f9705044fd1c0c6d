/// @file
/// Object identifiers from the command line: dotted decimal, and names of extensions and purposes.
#ifndef KXCERT_TOOLS_KXCERT_OIDINPUT_H_
#define KXCERT_TOOLS_KXCERT_OIDINPUT_H_

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "knownWords.h"
#include "kxcert/asn1/sxAsnOid.h"

/// Dotted decimal of two arcs or more, of any size; up to 249 characters.
std::optional<sxAsnOid> ReadOid(std::string_view text);
/// An extension by its name in RFC 5280 ("keyUsage"), or by its identifier.
std::optional<sxAsnOid> ReadExtensionType(std::string_view text);
/// A purpose of extended key usage by its name ("serverAuth"), or by its identifier.
std::optional<sxAsnOid> ReadPurpose(std::string_view text);

std::string NameOrOid(const sxAsnOid &oid);  ///< "Ed25519"; dotted decimal when it has no name here
std::string NamedOid(const sxAsnOid &oid);   ///< "1.3.101.112 (Ed25519)"; dotted decimal alone when it has none
std::string NamedOid(std::span<const unsigned char> content);

Words ExtensionWords();    ///< the names of extensions
Words ExtKeyUsageWords();  ///< the names of purposes

// Of options: "", or what is wrong with the text.
std::string CheckOid(const std::string &text);
std::string CheckExtensionType(const std::string &text);

#endif
