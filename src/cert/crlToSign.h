/// @file
/// A CRL that is encoded but for its signature, apart from what it was made of.
#ifndef KXCERT_SRC_CERT_CRLTOSIGN_H_
#define KXCERT_SRC_CERT_CRLTOSIGN_H_

#include <memory>

#include "kxcert/cert/sxCRL.h"
#include "timeDer.h"
#include "toSign.h"

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

class sxCrlToSign {
 public:
  /// @return null when it would be too long, or the key has no such signature (one line logged)
  static std::shared_ptr<sxCrlToSign> New(const sxCrlFields &fields, sxPubKey *key, sx_md_type md);

  /// Signs, decodes and compares; once, on any thread. @return for sxCRL_Free, or null (one line logged)
  sxCRL *Sign();
  bool MayLeaveThread() const { return m_toSign->MayLeaveThread(); }

 private:
  explicit sxCrlToSign(std::unique_ptr<sxToSign> toSign) : m_toSign(std::move(toSign)) {}
  bool Write(const sxCrlFields &fields);
  bool IsAsAsked(const sxCRL_imp &crl) const;

  const std::unique_ptr<sxToSign> m_toSign;
  // What was asked for.
  sxDerOctets m_issuer, m_extensions;
  sxCrlFields m_fields;  // without octets
};

#endif
