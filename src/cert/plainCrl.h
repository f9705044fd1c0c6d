/// @file
/// sxPlainCrl: the fields of a CRL as positions in its encoding, without a tree.
#ifndef KXCERT_SRC_CERT_PLAINCRL_H_
#define KXCERT_SRC_CERT_PLAINCRL_H_

#include "plainCert.h"

/// One has a million small entries, and is longer than a certificate ever is.
constexpr size_t kCrlLenOctets = 4;

struct sxPlainCrl {
  int version = 1;     ///< the number encoded, plus 1
  sxOctetView issuer;  ///< whole element
  sxFlatName issuerName;
  sxPlainTime thisUpdate;
  sxPlainTime nextUpdate;  ///< tag 0: absent
  sxOctetView entries;     ///< content of revokedCertificates, not looked into; empty when absent
  sxOctetView extensions;  ///< content of the SEQUENCE, for sxTakePlainExtension; empty when absent
  sxPlainAlgorithm signatureAlgorithm;
};

/// Reads a CRL that takes up all octets, which stay borrowed.
///
/// Accepts, with entries that sxTakePlainEntry and sxArePlainExtensions take, only what the codec decodes as
/// sxASN_CertificateList; the values of extensions are not looked into. fuzz_crl holds both against each other. Beyond
/// the codec's rules, the algorithm is the same inside and outside (RFC 5280, 5.1.1.2).
///
/// @param decoded  the octets are the codec's own encoding of a CRL that decoded
/// @return false when the encoding is not plain or no CRL
bool sxReadPlainCrl(sxOctetView der, bool decoded, sxPlainCrl *crl);

///   SEQUENCE { userCertificate INTEGER, revocationDate Time, crlEntryExtensions Extensions OPTIONAL }
struct sxPlainEntry {
  sxOctetView whole;
  sxOctetView serial;  ///< content octets
  sxPlainTime date;
  sxOctetView extensions;  ///< content of the SEQUENCE, not looked into; empty when absent
};

/// An entry from an element, whatever its type. @return false when it is not plain or none
inline bool sxReadPlainEntry(const sxDerElement &element, sxPlainEntry *entry) {
  sxDerElement date;
  sxDerReader inside(element.content, kCrlLenOctets);
  entry->whole = element.whole;
  if (!inside.Take(kDerInteger, &entry->serial) || entry->serial.empty() || !inside.Take(&date) ||
      (date.tag != kDerUtcTime && date.tag != kDerGeneralizedTime)) {
    return false;
  }
  entry->date = {date.tag, date.content};
  entry->extensions = {};
  return inside.AtEnd() || (inside.Take(kDerSequence, &entry->extensions) && inside.AtEnd());
}

/// Takes the next entry. @return false when it is not plain or none
inline bool sxTakePlainEntry(sxDerReader &entries, sxPlainEntry *entry) {
  sxDerElement element;
  return entries.Take(kDerSequence, &element) && sxReadPlainEntry(element, entry);
}

/// @param[in,out] hasCritical  set when one is, known or not
bool sxArePlainExtensions(sxOctetView extensions, bool *hasCritical);

/// What the extensions of an entry say (RFC 5280, 5.3).
struct sxEntryExtensions {
  int reason = -1;         ///< of sxCrlReason; none when it is there twice
  sxPlainTime invalidity;  ///< tag 0: absent
  bool hasIssuer = false;
  sxOctetView issuer;           ///< the DER of the one directory name in it; empty when there is not exactly one
  sxOctetView unknownCritical;  ///< content octets of the OID; empty for none
};

/// @param isIndirect  of the CRL: elsewhere nothing understands a certificateIssuer
void sxReadEntryExtensions(sxOctetView extensions, bool isIndirect, sxEntryExtensions *out);

#endif
