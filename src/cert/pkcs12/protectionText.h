/// @file
/// How something is protected, in words.
#ifndef KXCERT_SRC_CERT_PKCS12_PROTECTIONTEXT_H_
#define KXCERT_SRC_CERT_PKCS12_PROTECTIONTEXT_H_

#include "asn1/der.h"
#include "kxcert/cert/pkcs12.h"

sxPkcs12Protection ProtectionOf(sxOctetView algorithm);

#endif
