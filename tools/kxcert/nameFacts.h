/// @file
/// Names as JSON: distinguished names by their parts, and general names.
#ifndef KXCERT_TOOLS_KXCERT_NAMEFACTS_H_
#define KXCERT_TOOLS_KXCERT_NAMEFACTS_H_

#include "facts.h"

class sxASN_Extensions;
class sxAsnOid;
class sxDN;

/// The RDNs in the order of the encoding, the root-most first; each a list of attributes with oid, name (the type's
/// keyword, or the identifier once more) and value: the text in UTF-8, or null and the value's DER as octets.
Facts RdnFacts(const sxDN *dn);

/// The general names of the alternative name extension @p type: kind ("DNS") and value, which is null, with the DER as
/// octets, where it is not of the kind's form; of another name its oid. An empty list without the extension, or when it
/// does not decode.
Facts AltNameFacts(const sxASN_Extensions *extensions, const sxAsnOid &type);

#endif
