/// @file
/// Critical extensions that certificates do not understand by themselves, and that rules process all the same.
#ifndef KXCERT_SRC_TRUST_PROCESSEDEXTENSIONS_H_
#define KXCERT_SRC_TRUST_PROCESSEDEXTENSIONS_H_

#include <optional>

#include "kxcert/asn1/sxAsnOid.h"

class sxCert;

/// The first critical extension that is neither understood nor processed. Of those that only CAs have none is processed in
/// the certificate of anybody else; and of a type that is there twice the rules read the first one alone.
/// @param processed  of sxProcessedExtensions
std::optional<sxAsnOid> sxFirstUnknown(const sxCert &cert, unsigned processed);

#endif
