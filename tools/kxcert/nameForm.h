/// @file
/// Names as RFC 4514 writes them, for those who ask for that instead of the library's own form.
#ifndef KXCERT_TOOLS_KXCERT_NAMEFORM_H_
#define KXCERT_TOOLS_KXCERT_NAMEFORM_H_

#include <string>

#include "verb.h"

class sxASN_RDNSequence;
class sxAsnType;

/// The option by which a verb is told how to write names; NameText obeys it.
OptionRow NameFormRow();
bool WantsRfc4514();

/// Printable ASCII, most specific RDN first; the octets of other characters are escaped. Values of types without a
/// descriptor of RFC 4519, and those that are no text, are "#" and their encoding (RFC 4514, 2.4).
std::string Rfc4514Text(const sxASN_RDNSequence &name);

/// A string of any type as printable ASCII, or "#" and its encoding, cut, for what is no text.
std::string StringText(const sxAsnType &value);

#endif
