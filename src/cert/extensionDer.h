/// @file
/// Extensions as they are written.
///
///   Extension ::= SEQUENCE { extnID OBJECT IDENTIFIER, critical BOOLEAN DEFAULT FALSE, extnValue OCTET STRING }
#ifndef KXCERT_SRC_CERT_EXTENSIONDER_H_
#define KXCERT_SRC_CERT_EXTENSIONDER_H_

#include "derForward.h"

/// @param oid    content octets
/// @param value  octets of extnValue
void sxAppendExtension(sxOctetView oid, bool isCritical, sxOctetView value, sxDerOctets *out);
sxDerOctets sxExtensionDer(sxOctetView oid, bool isCritical, sxOctetView value);  ///< one by itself

#endif
