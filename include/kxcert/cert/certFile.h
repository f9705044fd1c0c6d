/// @file
/// Certificate files.
#ifndef KXCERT_CERT_CERTFILE_H_
#define KXCERT_CERT_CERTFILE_H_

#include "kxcert/platform/export.h"

class kxBinBuf;

constexpr int kCertFileErrLen = 512;  ///< room that the error text of sxCert_AsnBufFromFile takes

/// Reads a certificate file: DER or PEM as it stands, or "{ASN}" and hexadecimal text, whose octets
/// are then reversed by intent.
/// @param[out] err  kCertFileErrLen bytes, or null
/// @return 0 or -1
KXCERT_EXPORT int sxCert_AsnBufFromFile(const char *file, kxBinBuf &out, char *err);

#endif
