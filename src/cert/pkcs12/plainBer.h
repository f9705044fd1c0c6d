/// @file
/// BER made plain: definite lengths, and OCTET STRINGs in one piece.
#ifndef KXCERT_SRC_CERT_PKCS12_PLAINBER_H_
#define KXCERT_SRC_CERT_PKCS12_PLAINBER_H_

#include "asn1/der.h"
#include "kxcert/foundation/kxBinBuf.h"

enum class sxPlainResult { kDone, kMalformed, kTooMuch };

/// Reads one element and what is in it, but not what is in its strings, in one pass and without recursion.
/// @param[out] out  the element with the shortest lengths, for an sxDerReader that takes four octets of them;
///                  sensitive, unchanged on failure. Identifiers stay as they are, but those of OCTET STRINGs
/// @return kTooMuch beyond kMaxPkcs12Nesting or kMaxPkcs12Elements
sxPlainResult sxMakePlain(sxOctetView ber, kxBinBuf *out);

#endif
