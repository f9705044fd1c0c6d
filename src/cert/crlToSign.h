/// @file
/// A CRL that is encoded but for its signature, apart from what it was made of.
#ifndef KXCERT_SRC_CERT_CRLTOSIGN_H_
#define KXCERT_SRC_CERT_CRLTOSIGN_H_

#include <memory>

#include "derForward.h"
#include "keys/keyRef.h"
#include "kxcert/cert/sxCRL.h"
#include "kxcert/platform/digest.h"

class sxCRL_imp;

/// What a TBSCertList is made of. Octets are lent.
struct sxCrlFields {
  sxOctetView issuer;  ///< whole element
  int64_t thisUpdate = kCrlTimeUnreadable;
  bool hasNextUpdate = false;
  int64_t nextUpdate = kCrlTimeUnreadable;
  sxOctetView entries;  ///< behind one another
  size_t numEntries = 0;
  bool hasEntryExtensions = false;
  sxOctetView extensions;  ///< content of the SEQUENCE
};

/// The DER of a time (RFC 5280, 5.1.2.4): UTCTime from 1950 to 2049. Empty beyond the years 0 to 9999, and for
/// kCrlTimeUnreadable.
sxDerOctets sxTimeDer(int64_t seconds);
sxDerOctets sxGeneralizedTimeDer(int64_t seconds);  ///< the same whatever the year

class sxCrlToSign {
 public:
  /// @return null when it would be too long, or the key has no such signature (one line logged)
  static std::shared_ptr<sxCrlToSign> New(const sxCrlFields &fields, sxPubKey *key, sx_md_type md);

  /// Signs, decodes and compares; once, on any thread. @return for sxCRL_Free, or null (one line logged)
  sxCRL *Sign();
  /// Whether keys of its kind sign on workers.
  bool MayLeaveThread() const;

 private:
  sxCrlToSign(sxPubKey *key, sx_md_type md);
  bool Write(const sxCrlFields &fields);
  bool IsAsAsked(const sxCRL_imp &crl) const;

  const PubKeyRef m_key;  // one reference of its own
  const sx_md_type m_md;
  sxDerOctets m_algorithm;  // whole element
  std::unique_ptr<unsigned char[]> m_area;
  size_t m_areaLen = 0, m_tbsLen = 0;  // the TBSCertList lies behind the room for the outer header
  // What was asked for.
  sxDerOctets m_issuer, m_extensions;
  sxCrlFields m_fields;  // without octets
};

#endif
