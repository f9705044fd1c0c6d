/// @file
/// sxPlainCert: the fields of a certificate as positions in its encoding, without a tree.
#ifndef KXCERT_SRC_CERT_PLAINCERT_H_
#define KXCERT_SRC_CERT_PLAINCERT_H_

#include "flatName.h"
#include "plainDer.h"

struct sxPlainTime {
  int tag = 0;  ///< 23 UTCTime, 24 GeneralizedTime
  sxSpan text;
};

struct sxPlainAlgorithm {
  sxSpan oid;         ///< content octets
  sxSpan parameters;  ///< the whole element; empty when absent
};

struct sxPlainExtension {
  sxSpan oid;  ///< content octets
  bool critical = false;
  sxSpan value;  ///< octets of extnValue
};

struct sxPlainCert {
  int version = 1;  ///< the number encoded, plus 1
  sxSpan serial;    ///< content octets
  sxSpan issuer;    ///< whole elements
  sxSpan subject;
  sxFlatName issuerName;
  sxFlatName subjectName;
  sxPlainTime notBefore;
  sxPlainTime notAfter;
  sxPlainAlgorithm keyAlgorithm;
  sxSpan keyBits;     ///< octets of the bit string
  sxSpan extensions;  ///< content of the SEQUENCE, for sxReadPlainExtension; empty when absent
  sxPlainAlgorithm signatureAlgorithm;
};

/// Reads a certificate that takes up all octets, which stay borrowed.
///
/// Accepts only what the codec decodes as sxASN_Certificate, so that the caller may skip decoding;
/// the values of extensions are not looked into. fuzz_cert holds both against each other.
///
/// @param decoded  the octets are the codec's own encoding of a certificate that decoded: open types
///                 then pass whatever they hold
/// @return false when the encoding is not plain or no certificate
bool sxReadPlainCert(const unsigned char *der, uint32_t len, bool decoded, sxPlainCert *cert);

/// Reads the extension at @p pos, which moves behind it. @return false when it is not plain or none
bool sxReadPlainExtension(const unsigned char *&pos, const unsigned char *end, sxPlainExtension *ext);

#endif
