/// @file
/// Certification requests (PKCS #10, RFC 2986): decoded once, kept with their octets; and made from templates.
///
/// Shared and counted; see sxSigned.h. Everything is extracted when the request is built, so that one that is OK
/// answers every question from any thread. OK means that it decoded and has a key that can be used; who asks must
/// still prove to have that key: VerifySig().
///
///   CertificationRequest ::= SEQUENCE { certificationRequestInfo, signatureAlgorithm, signature }
///   CertificationRequestInfo ::= SEQUENCE { version, subject, subjectPKInfo, attributes [0] SET OF Attribute }
///   Attribute ::= SEQUENCE { type OBJECT IDENTIFIER, values SET OF ANY }
#ifndef KXCERT_CERT_SXCERTREQUEST_H_
#define KXCERT_CERT_SXCERTREQUEST_H_

#include <cstdio>

#include "kxcert/cert/issueCert.h"
#include "kxcert/cert/sxSigned.h"

class sxASN_Extensions;
class sxAsnOid;
class sxCertRequest_imp;
class sxDN;
class sxExtensionsList;
class sxRequestAttributes_imp;
class SxStream;

class KXCERT_EXPORT sxCertRequest : public sxSigned {
 public:
  /// DER, or PEM of either label, with any text around it and whatever ends its lines; but one request. See OK().
  sxCertRequest(const unsigned char *buf, unsigned int len);
  explicit sxCertRequest(sxCertRequest_imp *imp);  ///< adopts; the library's own use

  int Version() const;                 ///< the INTEGER plus 1 in 32 bits, whatever it is
  const sxDN *Subject() const;         ///< lent; null only when not OK
  sxPubKey *PubKey() const;            ///< likewise
  int signatureSignAlgorithm() const;  ///< as of sxCert
  int signatureHashAlgorithm() const;  ///< likewise

  using sxSigned::VerifySig;
  /// Proof of possession: the signature with the request's own key. @return the key's result code: 0 is valid
  int VerifySig() const;

  // What extensionRequest (RFC 2985, 5.4.2) asks for. A request that has it twice, or whose value is none, is not OK.
  /// Those that certificates understand, up to the first critical one that they do not: UnhandledCritExt().
  const sxExtensionsList &Extensions() const;
  const sxASN_Extensions *AllExtensions() const;  ///< lent; null when none are asked for

  /// The text of challengePassword (RFC 2985, 5.4.1): its octets, of BMPString as UTF-8.
  /// @return 0; -1: absent, there twice, of no string type, with a NUL, or it does not fit (untouched then)
  int ChallengePassword(char *buf, int len) const;

  // All attributes, those above included, in the order in which they stand.
  int CountAttributes() const;
  const sxAsnOid *AttributeType(int i) const;     ///< lent; null out of range
  int FindAttribute(const sxAsnOid &type) const;  ///< the first one; -1 when there is none
  int CountAttributeValues(int i) const;          ///< 0 out of range
  /// A value's whole element, lent; null out of range.
  const unsigned char *AttributeValue(int i, int number, int *len) const;

  /// Version, subject, key, signature algorithm, attributes by type, extensions; or "Error: " and why.
  void Sprint(SxStream *out, int indent) const;
  void Fprint(FILE *out, int indent) const;  ///< null: standard output
  void Herror() const;                       ///< the same text to the debug log

 private:
  sxCertRequest_imp *Imp() const;
};

/// @return a new request for sxCertRequest_Free, or null when it is not OK (the reason is logged)
KXCERT_EXPORT sxCertRequest *sxCertRequest_Decode(const unsigned char *buf, int len);
KXCERT_EXPORT void sxCertRequest_Free(sxCertRequest *request);
KXCERT_EXPORT void sxCertRequest_Save(sxCertRequest *request);

/// Attributes of a request that is to be made: a value, copied deeply.
class KXCERT_EXPORT sxRequestAttributes {
 public:
  sxRequestAttributes();
  sxRequestAttributes(const sxRequestAttributes &other);
  sxRequestAttributes &operator=(const sxRequestAttributes &other);
  ~sxRequestAttributes();

  /// One more value for that type, which may have several; challengePassword only one, as SetChallengePassword makes it.
  /// @param value  the whole element, DER. @return 0, or -1 (not one element of DER; extensionRequest, which comes
  ///               from the template; a password that could not be set)
  int Add(const sxAsnOid &type, const unsigned char *value, int len);
  /// PrintableString where it fits, else UTF8String. @return 0, or -1 (null, empty, no UTF-8, more than 255
  /// characters, or there is one)
  int SetChallengePassword(const char *password);
  int Count() const;                                             ///< values
  const sxRequestAttributes_imp *GetP() const { return m_imp; }  ///< the library's own use

 private:
  sxRequestAttributes_imp *m_imp;  // owned, never null
};

/// Makes a request of a template's subject, key and extensions; what else it has no request can say. Without a key of
/// its own it is that of @p key. Unlike a certificate it may have no subject, and extensions stay as critical as they
/// are. DER throughout.
/// @param attributes  null: none but the extensions
/// @param[out] made   for sxCertRequest_Free, decoded and compared with what was asked; null on failure
/// @return sxIssue_ok, or why not (one line logged)
KXCERT_EXPORT sxIssueStatus sxMakeRequest(const sxCertTemplate &wanted, const sxRequestAttributes *attributes,
                                          sxPubKey *key, const sxSignOptions &options, sxCertRequest **made);

/// Told once how an asynchronous signature ended; see sxCertCallback.
using sxCertRequestCallback = void (*)(void *opaque, int rc, sxCertRequest *request);
/// As sxIssueCertA.
KXCERT_EXPORT sxIssueStatus sxMakeRequestA(const sxCertTemplate &wanted, const sxRequestAttributes *attributes,
                                           sxPubKey *key, const sxSignOptions &options, sxCertRequestCallback callback,
                                           void *opaque);

#endif
