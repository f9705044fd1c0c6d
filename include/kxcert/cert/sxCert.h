/// @file
/// X.509 certificates (RFC 5280, 4): decoded once, kept with their octets.
///
/// Shared and counted; see sxSigned.h. Everything is extracted when the certificate is built, its key
/// included, so that a certificate that is OK answers every question from any thread.
///
/// OK means that it decoded, has a validity and a key that can be used; it is no judgement. Whether the
/// version fits the fields, the times can be read, the algorithm is known, and the one that is signed
/// equals the one outside (RFC 5280, 4.1.1.2) is not asked.
///
///   Certificate ::= SEQUENCE { tbsCertificate, signatureAlgorithm, signature }
#ifndef KXCERT_CERT_SXCERT_H_
#define KXCERT_CERT_SXCERT_H_

#include <cstdio>

#include "kxcert/cert/sxExtensions.h"
#include "kxcert/cert/sxSigned.h"

class kxBinBuf;
class sxASN_Time;
class sxAsnInt;
class sxCert_imp;
class sxDN;
class sxExtensionsList;
class sxGeneralNames;
class SxStream;

/// How much Sprint and its kin say.
enum sxCertHerrorDetails : int { sxCert_brief = 1, sxCert_full = 2, sxCert_full_key = 3 };

class KXCERT_EXPORT sxCert : public sxSigned {
 public:
  sxCert(const unsigned char *buf, unsigned int len);  ///< DER or strict PEM; see OK()
  explicit sxCert(sxCert_imp *imp);                    ///< adopts; the library's own use

  int Version() const;                             ///< the INTEGER plus 1 in 32 bits, whatever it is; 1 without
  const sxAsnInt *SerialNum() const;               ///< lent
  const unsigned char *SerialNum(int &len) const;  ///< lent: the serial's octets as AsnInt2Buf gives them
  const sxDN *Issuer() const;                      ///< lent; null only when not OK
  const sxDN *Subject() const;
  /// Seconds since 1970-01-01 00:00 UTC, made as certTime.h says: -1 for a text of another form and for
  /// what 32 bits do not hold, also for the one second before 1970; 2038-01-01 for every later day; fields
  /// beyond their range carry over (30 February is 1 or 2 March).
  int notBefore() const;
  int notAfter() const;                ///< likewise
  int signatureSignAlgorithm() const;  ///< of the outer field: 0 RSA, 2 DSA, 3 ECDSA; -1 unknown
  int signatureHashAlgorithm() const;  ///< likewise: sx_md_type; 3 unknown, or none named
  sxPubKey *PubKey() const;            ///< lent; null only when not OK

  const sxExtensionsList &Extensions() const;
  const sxExtension *GetExt(const sxAsnOid *oid) const;  ///< lent; null when absent
  int IsCritical(const sxAsnOid *oid) const;             ///< 1 when present and critical, else 0
  const sxKeyUsage *KeyUsage() const;                    ///< each lent; null when absent
  const sxExtKeyUsage *ExtKeyUsage() const;
  const sxBasicConstraint *GetBasicConstraint() const;
  const sxGeneralNames *AltNames() const;
  const sxExtKeyID *SubjectKeyId() const;
  const sxExtKeyID *AuthorityKeyId() const;
  const sxAuthorityInfoAccess *AuthInfoAccess() const;
  const sxGeneralNames *DistPoints() const;
  int HasKeyUsage(sxKeyUsageType bit) const;  ///< 1 when the extension is there and has the bit

  int operator==(const sxCert &other) const;  ///< 1 when the octets are the same, else 0

  void Sprint(SxStream *out, sxCertHerrorDetails details, int indent) const;
  void Fprint(FILE *out, sxCertHerrorDetails details, int indent) const;  ///< null: standard output
  void Herror(sxCertHerrorDetails details, int indent = 0) const;

 private:
  sxCert_imp *Imp() const;
};

/// @return a new certificate for sxCert_Free, or null when it is not OK (the reason is logged)
KXCERT_EXPORT sxCert *sxCert_Decode(const unsigned char *buf, int len);
KXCERT_EXPORT void sxCert_Free(sxCert *cert);
KXCERT_EXPORT void sxCert_Save(sxCert *cert);
KXCERT_EXPORT int sxCert_GetSubject(sxCert *cert, char *buf, int len);  ///< 0, or -1 (does not fit)
KXCERT_EXPORT void sxCert_Herror_buf(const unsigned char *buf, int len);
KXCERT_EXPORT void sxCert_Sprint_certbuf(SxStream *out, const unsigned char *buf, int len, int indent);
KXCERT_EXPORT void sxCert_Fprint_certbuf(FILE *out, const unsigned char *buf, int len, int indent);
/// A CRL, DER or strict PEM, as its octets say: issuer, times, signature algorithm, and the number of
/// entries with the first hundred of them. What does not decode prints "Error: " and why.
KXCERT_EXPORT void sxCert_Sprint_CRLbuf(SxStream *out, const unsigned char *buf, int len, int indent);
KXCERT_EXPORT void sxCert_Fprint_CRLbuf(FILE *out, const unsigned char *buf, int len, int indent);
KXCERT_EXPORT int sxCert_IsSameSerialNumber(const sxAsnInt *a, const sxAsnInt *b);  ///< 1 or 0

/// 1 when a certificate's key may be of that algorithm: RSA, under its own identifier or one of its
/// signatures', or EC; else 0.
KXCERT_EXPORT int isSupportedSignatureAlgorithm(const sxAsnOid &oid);

#endif
