/// @file
/// Extensions (RFC 5280, 4.2): the list, the tables that convert it, and one class per kind.
///
/// Values: copies are deep. A list that was built is only read, from any thread.
///
/// Every handle is one pointer, and the handle in a list that Parse filled is of its kind, so that
/// static_cast<const sxKeyUsage *>(list.Find(&sxASN_id_ce_keyUsage)) is what it says.
#ifndef KXCERT_CERT_SXEXTENSIONS_H_
#define KXCERT_CERT_SXEXTENSIONS_H_

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <new>
#include <utility>

#include "kxcert/platform/export.h"

class kxBinBuf;
class sxASN_ExtKeyUsageSyntax;
class sxASN_Extension;
class sxASN_Extensions;
class sxAsnInt;
class sxAsnOid;
class sxAsnType;
class sxAsnUTF8String;
class sxAuthorityInfoAccess_imp;
class sxBasicConstraint_imp;
class sxDN;
class sxExtDeviceData_imp;
class sxExtension_imp;
class sxExtGN_imp;
class sxExtKeyID_imp;
class sxExtKeyUsage_imp;
class sxGeneralNames;
class sxIssuingDP_imp;
class sxKeyUsage_imp;
class SxStream;

/// Bits of keyUsage (RFC 5280, 4.2.1.3).
enum sxKeyUsageType : int {
  sxKU_digitalSignature = 0,
  sxKU_nonRepudiation = 1,
  sxKU_keyEncipherment = 2,
  sxKU_dataEncipherment = 3,
  sxKU_keyAgreement = 4,
  sxKU_keyCertSign = 5,
  sxKU_cRLSign = 6,
  sxKU_encipherOnly = 7,
  sxKU_decipherOnly = 8,
};

/// Purposes of extKeyUsage, as indexes of ExtKeyusageStr.
enum sxExtKeyUsageType : int {
  sxEKU_bad = 0,
  sxEKU_serverAuth = 1,
  sxEKU_clientAuth = 2,
  sxEKU_codeSigning = 3,
  sxEKU_emailProtection = 4,
  sxEKU_ipsecEndSystem = 5,
  sxEKU_ipsecTunnel = 6,
  sxEKU_ipsecUser = 7,
  sxEKU_timeStamping = 8,
  sxEKU_smartCardLogon = 9,
  sxEKU_none = 10,
};

enum sxKeyIdType : int { sxKeyId_subject = 0, sxKeyId_authority = 1 };
enum e_DeviceDataType : int { e_DeviceId = 0, e_DeviceType = 1, e_DeviceName = 2 };

/// Handle of any extension; the kinds below add their own questions and no data. Set makes this object a
/// deep copy of the other one; each kind takes its own.
class KXCERT_EXPORT sxExtension {
 public:
  explicit sxExtension(sxExtension_imp *imp) : m_imp(imp) {}  ///< adopts; never null
  sxExtension(const sxExtension &other);
  /// A deep copy. An extension of another kind changes nothing (one line logged): whoever holds this one
  /// by its kind would read the wrong object.
  sxExtension &operator=(const sxExtension &other);
  ~sxExtension();
  void Set(const sxExtension &other) { *this = other; }

  const char *ExtName() const;
  void Herror() const;
  void Fprint(FILE *out, int indent) const;  ///< null: standard output
  void Sprint(SxStream *out, int indent) const;
  sxExtension_imp *GetP() const { return m_imp; }

  /// Blocks come from the lists that ASN.1 values use. Destroying makes deletion of any kind through
  /// this class well defined, although the handle has no table of virtual functions.
  static void *operator new(size_t size);
  static void operator delete(sxExtension *self, std::destroying_delete_t);
  static void operator delete(void *block, size_t size) noexcept;  ///< after a constructor that threw

 protected:
  sxExtension_imp *m_imp;  // owned, never null
};

class KXCERT_EXPORT sxBasicConstraint : public sxExtension {
 public:
  sxBasicConstraint(bool isCA, int pathLen);  ///< a negative pathLen: absent
  void Set(const sxBasicConstraint &other) { *this = other; }
  bool IsCA() const;
  int PathLen() const;  ///< -1 when absent

 private:
  friend class sxBasicConstraint_imp;
  explicit sxBasicConstraint(std::unique_ptr<sxBasicConstraint_imp> imp);
};

class KXCERT_EXPORT sxKeyUsage : public sxExtension {
 public:
  explicit sxKeyUsage(unsigned int bits);  ///< bit n of the number is keyUsage bit n
  void Set(const sxKeyUsage &other) { *this = other; }
  unsigned int KeyUsageBits() const;
  static const char *KeyusageStr(int bit);  ///< bits 0 to 8 only, not tested

 private:
  friend class sxKeyUsage_imp;
  explicit sxKeyUsage(std::unique_ptr<sxKeyUsage_imp> imp);
};

class KXCERT_EXPORT sxExtKeyUsage : public sxExtension {
 public:
  sxExtKeyUsage();
  void Set(const sxExtKeyUsage &other) { *this = other; }
  int Count() const;
  sxExtKeyUsageType Purpose(int i) const;  ///< sxEKU_bad for unknown ones
  bool Has(sxExtKeyUsageType purpose) const;
  void Add(const sxAsnOid &purpose);                   ///< a copy
  sxASN_ExtKeyUsageSyntax *ExtKeyUsage_2_ASN() const;  ///< new, for delete
  static const char *ExtKeyusageStr(int index);        ///< 0 to 10 only, not tested

 private:
  friend class sxExtKeyUsage_imp;
  explicit sxExtKeyUsage(std::unique_ptr<sxExtKeyUsage_imp> imp);
};

/// subjectAltName, cRLDistributionPoints, and freshestCRL. Of distribution points it keeps the full names
/// alone, of all points in order; composing writes one point for each name.
class KXCERT_EXPORT sxExtGN : public sxExtension {
 public:
  sxExtGN(const char *extName, const sxGeneralNames &names);  ///< extName: one of those below, lent
  void Set(const sxExtGN &other) { *this = other; }
  const sxGeneralNames &Names() const;

 private:
  friend class sxExtGN_imp;
  explicit sxExtGN(std::unique_ptr<sxExtGN_imp> imp);
};
extern KXCERT_EXPORT const char *const kExtNameSubjectAltName;
extern KXCERT_EXPORT const char *const kExtNameDistPoints;
extern KXCERT_EXPORT const char *const kExtNameFreshestCRL;  ///< composed with the table of issuedExtensions.h

/// subjectKeyIdentifier and authorityKeyIdentifier.
class KXCERT_EXPORT sxExtKeyID : public sxExtension {
 public:
  sxExtKeyID(sxKeyIdType type, const kxBinBuf &keyId);
  sxExtKeyID(const kxBinBuf &keyId, const sxGeneralNames &issuer, const sxAsnInt *serial);
  void Set(const sxExtKeyID &other) { *this = other; }
  sxKeyIdType KIdType() const;
  const kxBinBuf &KIdBuf() const;        ///< empty when absent
  const sxGeneralNames &KIdGNs() const;  ///< empty when absent
  const sxAsnInt *KIdSN() const;         ///< null when absent

 private:
  friend class sxExtKeyID_imp;
  explicit sxExtKeyID(std::unique_ptr<sxExtKeyID_imp> imp);
};

class KXCERT_EXPORT sxAuthorityInfoAccess : public sxExtension {
 public:
  sxAuthorityInfoAccess();
  void Set(const sxAuthorityInfoAccess &other) { *this = other; }
  int Count() const;
  const sxAsnOid *Method(int i) const;  ///< lent until Add; null out of range
  /// The locations, one for each method, in order.
  const sxGeneralNames &AuthorityInfoAccess() const;
  void Add(const sxAsnOid &method, const class sxGeneralName &location);

 private:
  friend class sxAuthorityInfoAccess_imp;
  explicit sxAuthorityInfoAccess(std::unique_ptr<sxAuthorityInfoAccess_imp> imp);
};

/// One of the device extensions: a UTF8String. Its octets are the peer's: any, NUL among them.
class KXCERT_EXPORT sxExtDeviceData : public sxExtension {
 public:
  sxExtDeviceData(e_DeviceDataType type, const char *text);
  void Set(const sxExtDeviceData &other) { *this = other; }
  e_DeviceDataType Type() const;
  const sxAsnUTF8String *getAsAsn1Utf8String() const;  ///< lent

 private:
  friend class sxExtDeviceData_imp;
  explicit sxExtDeviceData(std::unique_ptr<sxExtDeviceData_imp> imp);
};

/// issuingDistributionPoint of CRLs (RFC 5280, 5.2.5). As there, at most one of the three kinds of certificates is
/// meant to be set.
class KXCERT_EXPORT sxIssuingDP : public sxExtension {
 public:
  explicit sxIssuingDP(const sxGeneralNames &fullName);
  void Set(const sxIssuingDP &other) { *this = other; }
  const sxGeneralNames &FullName() const;  ///< empty for a relative name, and when there is none
  const sxDN *RelativeName() const;        ///< a name of the one RDN that goes below the issuer's; lent, or null
  bool OnlyUserCerts() const;
  bool OnlyCACerts() const;
  bool OnlyAttributeCerts() const;
  bool IndirectCRL() const;
  bool HasOnlySomeReasons() const;   ///< the CRL covers some reasons only
  unsigned int SomeReasons() const;  ///< these: bit n is ReasonFlags bit n; else 0

  void SetFullName(const sxGeneralNames &fullName);  ///< also instead of a relative name
  void SetOnlyUserCerts(bool on);
  void SetOnlyCACerts(bool on);
  void SetOnlyAttributeCerts(bool on);
  void SetIndirectCRL(bool on);
  void SetSomeReasons(unsigned int bits);  ///< 0: all

 private:
  friend class sxIssuingDP_imp;
  explicit sxIssuingDP(std::unique_ptr<sxIssuingDP_imp> imp);
};

/// Makes the object of an extension, for delete; sets @p understood on success. Null when it cannot be
/// parsed.
using sxExtParseFunc = sxExtension *(*)(const sxASN_Extension &ext, int &understood);
/// Makes the extension of an object, for delete; null when the object is of another kind.
using sxExtComposeFunc = sxASN_Extension *(*)(const sxExtension &ext, int critical);

struct sxExtParser {
  const sxAsnOid *oid;
  sxExtParseFunc parse;
};  ///< ends with a null oid
struct sxExtComposer {
  const sxAsnOid *oid;
  sxExtComposeFunc compose;
};  ///< ends with a null oid

/// Marks a row whose extensions are skipped without any effect, critical or not.
KXCERT_EXPORT sxExtension *sxParseNoParse(const sxASN_Extension &ext, int &understood);

KXCERT_EXPORT const sxExtParser *Get_ExtParserTable();  ///< certificates
KXCERT_EXPORT const sxExtParser *Get_CRLExtParserTable();
KXCERT_EXPORT const sxExtComposer *Get_ExtComposerTable();
KXCERT_EXPORT const sxExtComposer *Get_CRLExtComposerTable();

class KXCERT_EXPORT sxExtensionsList {
 public:
  struct ExtItem {
    int32_t critical;
    sxAsnOid *oid;     ///< owned
    sxExtension *ext;  ///< owned; null for a critical one without object
    ExtItem *next;
  };

  sxExtensionsList() = default;
  sxExtensionsList(const sxExtensionsList &other);
  sxExtensionsList(sxExtensionsList &&other) noexcept : m_first(std::exchange(other.m_first, nullptr)) {}
  sxExtensionsList &operator=(const sxExtensionsList &other);
  sxExtensionsList &operator=(sxExtensionsList &&other) noexcept {  ///< the other one gets what was here
    std::swap(m_first, other.m_first);
    return *this;
  }
  ~sxExtensionsList();

  void Clear();
  void Set(const sxExtensionsList &other);
  /// Copies the OID, adopts @p ext (null OID: destroys it, adds nothing). Walks to the end of the list.
  void Add(const sxAsnOid *oid, int critical, sxExtension *ext);
  void Add(const sxExtensionsList &other);             ///< copies
  const sxExtension *Find(const sxAsnOid *oid) const;  ///< lent; null when absent
  int IsCritical(const sxAsnOid *oid) const;           ///< 1 when present and critical
  const ExtItem *First() const { return m_first; }     ///< lent; null when empty

  /// Appends what @p table understands, in order. Stops at a critical extension that it does not; the
  /// items before it stay. What is not critical and does not decode is left out.
  /// @return null, or the OID of the critical extension that stopped it (lent by @p extensions)
  const sxAsnOid *Parse(const sxASN_Extensions *extensions, const sxExtParser *table);
  /// @param[out] out  new, for delete; null for an empty list and on failure
  int Compose(const sxExtComposer *table, sxASN_Extensions **out) const;

  /// What Parse does, one extension at a time; the list must not change otherwise meanwhile.
  class KXCERT_EXPORT Appender {
   public:
    Appender(sxExtensionsList &list, const sxExtParser *table);
    bool Parse(const sxASN_Extension &ext);  ///< false: critical and not understood, nothing added

   private:
    const sxExtParser *m_table;
    ExtItem **m_end;
    int m_understood = 0;
  };

  void Sprint(SxStream *out, int indent) const;
  void Fprint(FILE *out, int indent) const;
  void Herror() const;

 private:
  ExtItem *m_first = nullptr;  // owned, in order
};

KXCERT_EXPORT sxExtensionsList *sxExtensionsList_New();
KXCERT_EXPORT int sxExtensionsList_Add(sxExtensionsList *list, const sxAsnOid *oid, int critical,
                                       sxExtension *ext);  ///< 0, or -1 for null (ext not taken)
KXCERT_EXPORT void sxExtensionsList_Delete(sxExtensionsList *list);

/// Decodes extnValue. @return 0 or -1
KXCERT_EXPORT int sxParseExtension(sxAsnType &value, const sxASN_Extension *ext);
/// Encodes into extnValue; the critical BOOLEAN is present only when critical. @return 0 or -1
KXCERT_EXPORT int sxComposeExtension(sxAsnType &value, const sxAsnOid &oid, int critical, sxASN_Extension *out);

#endif
