/// @file
/// Lines that certificates and requests share.
#ifndef KXCERT_SRC_CERT_CERTPRINT_H_
#define KXCERT_SRC_CERT_CERTPRINT_H_

class SxStream;
class sxPubKey;

/// "RSA with SHA-256  Public key: RSA (2048 bits)" and a line feed.
void sxPrintAlgorithms(SxStream *out, int signAlgorithm, int hashAlgorithm, sxPubKey &key);

#endif
