/// @file
/// CRLs (RFC 5280, 5): decoded once, kept with their octets. Their entries are serial numbers in order,
/// each with its revocation time.
///
/// Shared and counted as all signed objects are. A CRL that no one changes is only read, from any thread.
/// A number stands once, with the time that came first; two integers are the same number however they
/// are stored.
///
///   CertificateList ::= SEQUENCE { tbsCertList, signatureAlgorithm, signature }
#ifndef KXCERT_CERT_SXCRL_H_
#define KXCERT_CERT_SXCRL_H_

#include <cstdint>

#include "kxcert/asn1/sxAsnInt.h"
#include "kxcert/cert/sxSigned.h"

class sxCert;
class sxCRL_Encoder_imp;
class sxCRL_imp;
class sxExtensionsList;
class sxExtKeyID;
class sxIssuingDP;

struct sxRevokedEntry {
  sxAsnInt serial;
  int64_t revokedSec;  ///< seconds since 1970-01-01 00:00 UTC
};

class KXCERT_EXPORT sxCRL : public sxSigned {
 public:
  sxCRL(const unsigned char *buf, unsigned int len);  ///< DER or strict PEM; see OK()
  explicit sxCRL(sxCRL_imp *imp);                     ///< adopts

  int GetSize() const;                                            ///< entries
  bool IsEntryExist(const sxCert &cert) const;                    ///< by the certificate's serial number
  const sxRevokedEntry *FindEntry(const sxAsnInt &serial) const;  ///< lent until a change; or null
  /// The entry after @p prev in the order of addition, the first one for null; null after the last.
  /// Lent until a change.
  const sxRevokedEntry *NextEntry(const sxRevokedEntry *prev) const;

  /// The extensions of the list that are understood, in order, also behind one that is not. All lent.
  /// A critical issuing distribution point is among them and is UnhandledCritExt() all the same: nothing
  /// here compares a CRL's scope with a certificate, so whoever judges by the CRL has to refuse it.
  const sxExtensionsList &Extensions() const;
  const sxIssuingDP *IssuingDP() const;      ///< null when absent or not decodable
  const sxExtKeyID *AuthorityKeyId() const;  ///< likewise
  const sxAsnInt *Number() const;            ///< cRLNumber (RFC 5280, 5.2.3); likewise

 private:
  sxCRL_imp *Imp() const;
};

/// A CRL under construction: it has entries, but no octets yet, so it is not OK().
class KXCERT_EXPORT sxCRL_Encoder : public sxCRL {
 public:
  explicit sxCRL_Encoder(int numExpected = 0);  ///< entries to make room for; a hint

  /// @return 1 when the entry was added; 0 when the number is there already, which keeps its time
  int AddEntry(const sxAsnInt &serial, int64_t revokedSec);
  int RemoveEntry(const sxAsnInt &serial);  ///< 0, or -1 when it is not there

 private:
  sxCRL_Encoder_imp *Imp() const;
};

/// @return a new CRL for sxCRL_Free, or null when it is not OK (the reason is logged)
KXCERT_EXPORT sxCRL *sxCRL_Decode(const unsigned char *buf, int len);
KXCERT_EXPORT void sxCRL_Free(sxCRL *crl);  ///< drops a reference; null is ignored
KXCERT_EXPORT void sxCRL_Save(sxCRL *crl);  ///< adds one; null is ignored

#endif
