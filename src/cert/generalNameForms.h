/// @file
/// What a general name of each kind has to be (RFC 5280, 4.2.1.6 and 4.2.1.10), by its octets. One judge of names that are
/// made and of names that came.
#ifndef KXCERT_SRC_CERT_GENERALNAMEFORMS_H_
#define KXCERT_SRC_CERT_GENERALNAMEFORMS_H_

#include <string>

#include "asn1/der.h"
#include "kxcert/cert/issuedExtensions.h"

/// @param content  of the element, whose tag said the kind; what is constructed in it is strict DER
bool sxIsNameOfKind(sxNameKind kind, sxOctetView content, sxNameUse use);

/// An address of 4 octets, or of 16 as RFC 5952 writes it; fewer or more octets as if they were of the former.
std::string sxAddressText(sxOctetView octets);

/// @param name  one of the alternatives of GeneralName
/// @return why it is none (static), or null
const char *sxNameFault(const sxDerElement &name, sxNameUse use);

#endif
