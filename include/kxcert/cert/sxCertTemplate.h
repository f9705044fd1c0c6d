/// @file
/// Certificate templates: what a certificate that is asked for shall have (RFC 4211, 5).
///
/// A value: copies are deep, but for the key, which is shared and counted. Every field may be absent. It
/// keeps the tree that it was set from, so that fields and extensions which nothing here understands come
/// out again as they went in. No locking: one thread uses a template at a time.
///
///   CertTemplate ::= SEQUENCE { version, serialNumber, signingAlg, issuer, validity, subject, publicKey,
///                               issuerUID, subjectUID, extensions }   all of them OPTIONAL
#ifndef KXCERT_CERT_SXCERTTEMPLATE_H_
#define KXCERT_CERT_SXCERTTEMPLATE_H_

#include <cstdint>
#include <cstdio>
#include <utility>

#include "kxcert/platform/export.h"

class sxASN_CertTemplate;
class sxAsnInt;
class sxAsnOid;
class sxCert;
class sxCertRequest;
class sxCertTemplate_imp;
class sxDN;
class sxExtension;
class sxExtensionsList;
class sxPubKey;
class SxStream;

class KXCERT_EXPORT sxCertTemplate {
 public:
  sxCertTemplate();  ///< no fields
  sxCertTemplate(const sxCertTemplate &other);
  /// Leaves a new, empty one behind.
  // NOLINTNEXTLINE(performance-noexcept-move-constructor): takes memory
  sxCertTemplate(sxCertTemplate &&other);
  sxCertTemplate &operator=(const sxCertTemplate &other);
  sxCertTemplate &operator=(sxCertTemplate &&other) noexcept {  ///< the other one gets what was here
    std::swap(m_imp, other.m_imp);
    return *this;
  }
  ~sxCertTemplate();
  void Set(const sxCertTemplate &other) { *this = other; }

  // Each replaces everything. @return 0, or -1 (one line logged, and nothing has changed)
  int Set(const sxASN_CertTemplate *tree);  ///< -1: null. Whether its parts can be used, the questions tell
  /// Serial number, issuer, validity, subject, key and extensions of a certificate that is OK; its version when that is
  /// 3, which is what templates may say (RFC 4211, 5).
  int Set(const sxCert *cert);
  /// Subject, key and requested extensions (RFC 2985, 5.4.2) of a certification request (RFC 2986, 4).
  /// Its signature must verify with its own key: an altered one asks for what nobody asked for.
  int Set(const sxCertRequest *request);
  /// The same of its octets, DER or PEM.
  int SetFromRequest(const unsigned char *der, int len);

  // Each replaces one field by a copy of what may be a part of this template; null makes it absent. What the
  // getters lent is gone then.
  void SetSubject(const sxDN *subject);  ///< a DN without a name: absent
  void SetIssuer(const sxDN *issuer);    ///< likewise
  void SetSerialNum(const sxAsnInt *serial);
  /// Seconds since 1970-01-01 00:00 UTC; a negative one is absent.
  /// @return 0; -1: one is beyond the year 9999 (one line logged). It is absent, too, so that nothing is issued by mistake
  int SetValidity(int64_t notBefore, int64_t notAfter);
  /// The public part of a key. @return 0, or -1 (no public form: see sxExportKeyInfo; nothing has changed)
  int SetPubKey(sxPubKey *key);
  /// All of them, as Get_ExtComposerTable and Get_IssuedExtComposerTable (issuedExtensions.h) have them.
  /// @return 0, or -1 (an extension that cannot be encoded; nothing has changed)
  int SetExtensions(const sxExtensionsList *extensions);
  /// One, given as it is encoded: takes the place of the one of its type, or comes last.
  /// @param value  octets of extnValue, copied; may be a part of this template
  /// @return 0, or -1 (no octets; nothing has changed)
  int SetExtension(const sxAsnOid &type, bool critical, const unsigned char *value, int len);
  /// The same, composed as in SetExtensions.
  /// @return 0, or -1 (it is not of that type, or must not be issued as it is; nothing has changed)
  int SetExtension(const sxAsnOid &type, bool critical, const sxExtension &ext);
  void RemoveExtension(const sxAsnOid &type);  ///< every one of that type
  void SetVersion(int version);                ///< 1 to 3; others: absent

  /// Makes @p out this template's tree. @return 0, or -1 for null
  int Fill(sxASN_CertTemplate *out) const;
  const sxASN_CertTemplate &Tree() const;  ///< lent until the template changes

  int Version() const;  ///< 1 to 3 when it says so; 0 when absent, or another number
  // Each lent until the template changes; null when absent.
  const sxDN *Subject() const;
  const sxDN *Issuer() const;
  const sxAsnInt *SerialNum() const;
  sxPubKey *PubKey() const;  ///< the public part; also null when there is one that cannot be imported
  bool HasPubKey() const;    ///< whether the field is there
  int notBefore() const;     ///< as of sxCert; also -1 when absent
  int notAfter() const;      ///< likewise
  /// Those that certificates understand, up to the first critical one that they do not.
  const sxExtensionsList &Extensions() const;
  const sxAsnOid *UnhandledCritExt() const;  ///< that one; null when there is none

  /// "Certificate Template:", then a line for each field that is there, and the extensions.
  void Sprint(SxStream *out, int indent) const;
  void Fprint(FILE *out, int indent) const;                 ///< null: standard output
  void Herror() const;                                      ///< the same text to the debug log
  const sxCertTemplate_imp *GetP() const { return m_imp; }  ///< the library's own use

 private:
  sxCertTemplate_imp *m_imp;  // owned, never null
};

#endif
