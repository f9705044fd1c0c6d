/// @file
/// A certificate that is encoded but for its signature, apart from what it was made of.
#ifndef KXCERT_SRC_CERT_CERTTOSIGN_H_
#define KXCERT_SRC_CERT_CERTTOSIGN_H_

#include <memory>

#include "kxcert/cert/issueCert.h"
#include "kxcert/cert/sxCert.h"
#include "toSign.h"

struct sxPlainCert;

class sxCertToSign {
 public:
  /// @param issuer  null: it signs itself
  /// @return sxIssue_ok and *out set, or why not
  static sxIssueStatus New(const sxCertTemplate &wanted, const sxCert *issuer, sxPubKey *key,
                           const sxSignOptions &options, std::shared_ptr<sxCertToSign> *out);

  /// Signs, decodes and compares; once, on any thread. @return for sxCert_Free, or null (one line logged)
  sxCert *Sign();
  bool MayLeaveThread() const { return m_toSign->MayLeaveThread(); }
  sxIssueStatus Status() const { return m_status; }  ///< of Sign

 private:
  class Maker;

  sxCertToSign() = default;
  bool Write();
  bool IsAsAsked(const sxCert &cert, const sxPlainCert &plain) const;

  std::unique_ptr<sxToSign> m_toSign;
  bool m_verify = false;
  // One reference each of its own.
  sxOwned<sxPubKey, sxFreePubKey> m_issuerKey;  // null: it signs itself
  sxOwned<sxPubKey, sxFreePubKey> m_publicKey;  // what m_keyInfo says; null: nobody has imported that yet
  sxIssueStatus m_status = sxIssue_ok;
  // What was asked for: whole elements; of the serial number the content, of the extensions that of their SEQUENCE.
  sxDerOctets m_serial, m_issuer, m_validity, m_subject, m_keyInfo, m_extensions;
};

#endif
