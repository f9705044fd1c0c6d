/// @file
/// sxPlainCert: the fields of a certificate as positions in its encoding, without a tree.
#ifndef KXCERT_SRC_CERT_PLAINCERT_H_
#define KXCERT_SRC_CERT_PLAINCERT_H_

#include <optional>

#include "asn1/der.h"
#include "flatName.h"

struct sxPlainTime {
  int tag = 0;  ///< 23 UTCTime, 24 GeneralizedTime
  sxOctetView text;
};

/// Seconds of the forms that certTime.h reads, but exactly: years after 2037 and the first day of 1970 as they are, and
/// no field beyond its range; or none.
std::optional<int64_t> sxReadTime(const sxPlainTime &time);
/// The same, or -1, which is a second too: the last one of 1969.
int64_t sxTimeSeconds(const sxPlainTime &time);

struct sxPlainAlgorithm {
  sxOctetView oid;         ///< content octets
  sxOctetView parameters;  ///< the whole element; empty when absent
};

struct sxPlainExtension {
  sxOctetView oid;  ///< content octets
  bool critical = false;
  sxOctetView value;    ///< octets of extnValue
  bool saysIt = false;  ///< whether it is critical, or not: the default, which DER leaves out
};

struct sxPlainCert {
  int version = 1;     ///< the number encoded, plus 1
  sxOctetView serial;  ///< content octets
  sxOctetView issuer;  ///< whole elements
  sxOctetView subject;
  sxFlatName issuerName;
  sxFlatName subjectName;
  sxPlainTime notBefore;
  sxPlainTime notAfter;
  sxPlainAlgorithm keyAlgorithm;
  sxOctetView keyBits;     ///< octets of the bit string
  sxOctetView extensions;  ///< content of the SEQUENCE, for sxTakePlainExtension; empty when absent
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
bool sxReadPlainCert(sxOctetView der, bool decoded, sxPlainCert *cert);

/// Takes the next extension. @return false when it is not plain or none
bool sxTakePlainExtension(sxDerReader &extensions, sxPlainExtension *ext);

#endif
