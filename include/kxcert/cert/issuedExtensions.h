/// @file
/// Extensions that CAs issue beyond those of sxExtensions.h, and the tables that convert them: policies and their
/// limits, name constraints, alternative names of issuers, access to subjects, TLS features, OCSP without check.
///
/// Values as their neighbours: copies are deep, and what was built is only read, from any thread. Certificates do not
/// keep them in their list; whoever wants one parses it with Get_IssuedExtParserTable. What is composed conforms to
/// RFC 5280 and is DER; what does not is refused, also where it can be read.
#ifndef KXCERT_CERT_ISSUEDEXTENSIONS_H_
#define KXCERT_CERT_ISSUEDEXTENSIONS_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "kxcert/asn1/sxAsnOid.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/cert/sxExtensions.h"
#include "kxcert/platform/export.h"

class sxASN_GeneralName;
class SxStream;
template <class Handle, class Value>
class sxValueExtension;

/// Elements of one list that are read; a longer one does not decode. Our choice, far above what is seen.
constexpr size_t kMaxIssuedItems = 4096;
constexpr size_t kMaxNoticeChars = 200;     ///< of a user notice that is composed (RFC 6818, 3)
constexpr int kMaxTlsFeature = UINT16_MAX;  ///< RFC 8446, 4.2: numbers of TLS extensions have two octets

extern KXCERT_EXPORT const sxAsnOid sxASN_id_ce_issuerAltName;
extern KXCERT_EXPORT const sxAsnOid sxASN_id_ce_nameConstraints;
extern KXCERT_EXPORT const sxAsnOid sxASN_id_ce_policyMappings;
extern KXCERT_EXPORT const sxAsnOid sxASN_id_ce_inhibitAnyPolicy;
extern KXCERT_EXPORT const sxAsnOid sxASN_id_pe_subjectInfoAccess;
extern KXCERT_EXPORT const sxAsnOid sxASN_id_pe_tlsFeature;      ///< RFC 7633, 4
extern KXCERT_EXPORT const sxAsnOid sxASN_id_pkix_ocsp_nocheck;  ///< RFC 6960, 4.2.2.2.1
extern KXCERT_EXPORT const sxAsnOid sxASN_anyPolicy;             ///< RFC 5280, 4.2.1.4
extern KXCERT_EXPORT const sxAsnOid sxASN_id_qt_cps;             ///< qualifier: where the practice statement is
extern KXCERT_EXPORT const sxAsnOid sxASN_id_qt_unotice;         ///< qualifier: a notice to users
extern KXCERT_EXPORT const sxAsnOid sxASN_id_ad_caRepository;    ///< RFC 5280, 4.2.2.2
extern KXCERT_EXPORT const sxAsnOid sxASN_id_ad_timeStamping;

/// Kinds of general names, by their tags (RFC 5280, 4.2.1.6).
enum class sxNameKind { kOther, kEmail, kDns, kX400, kDn, kEdi, kUri, kIp, kOid };
/// What a general name stands for: addresses of names have 4 or 16 octets, those of bases a mask as well.
enum class sxNameUse { kName, kBase };

/// A general name of any kind. Only the fields of its kind are set.
struct sxAnyName {
  sxNameKind kind = sxNameKind::kOther;
  std::string text;                   ///< kinds kEmail, kDns and kUri; holds no NUL
  std::optional<sxDN> dn;             ///< kind kDn; may have no RDNs
  std::vector<unsigned char> octets;  ///< kind kIp, the mask behind the address; else kOther, kX400, kEdi: the element
  sxAsnOid oid;                       ///< kind kOid; of kind kOther its type

  /// @return false for what is none of its kind: an address of another length, a text with a NUL; nothing has changed
  KXCERT_EXPORT bool Set(const sxASN_GeneralName &from, sxNameUse use);
  /// @return false for what must not be issued (RFC 5280, 4.2.1.6 and 4.2.1.10): no host of letters, digits and hyphens,
  ///         no mailbox, no absolute URI; a name without an RDN. A base may stand for every name, or for all below one
  KXCERT_EXPORT bool Fill(sxASN_GeneralName *out, sxNameUse use) const;
  KXCERT_EXPORT std::string Str() const;  ///< in one line, without its kind: "192.0.2.0/24"; octets in hexadecimal, cut
  KXCERT_EXPORT const char *Label() const;  ///< "DNS"
};

struct sxPolicyQualifier {
  sxAsnOid type;
  std::string cpsUri;  ///< of sxASN_id_qt_cps
  // Of sxASN_id_qt_unotice, in UTF-8 whatever they were; composed as UTF8String.
  std::string explicitText;                ///< empty: absent
  std::string organization;                ///< of the reference to a notice; empty: absent
  std::vector<int> noticeNumbers;          ///< likewise
  std::vector<unsigned char> octets = {};  ///< of another type, or not of its type's form: the element
};
struct sxPolicy {
  sxAsnOid id;
  std::vector<sxPolicyQualifier> qualifiers;
};

/// certificatePolicies (RFC 5280, 4.2.1.4).
class KXCERT_EXPORT sxCertPolicies : public sxExtension {
 public:
  explicit sxCertPolicies(std::vector<sxPolicy> policies);
  void Set(const sxCertPolicies &other) { *this = other; }
  const std::vector<sxPolicy> &Policies() const;

 private:
  template <class, class>
  friend class sxValueExtension;
  explicit sxCertPolicies(sxExtension_imp *imp) : sxExtension(imp) {}
};

struct sxPolicyMapping {
  sxAsnOid issuerDomain, subjectDomain;
};
/// policyMappings (RFC 5280, 4.2.1.5).
class KXCERT_EXPORT sxPolicyMappings : public sxExtension {
 public:
  explicit sxPolicyMappings(std::vector<sxPolicyMapping> mappings);
  void Set(const sxPolicyMappings &other) { *this = other; }
  const std::vector<sxPolicyMapping> &Mappings() const;

 private:
  template <class, class>
  friend class sxValueExtension;
  explicit sxPolicyMappings(sxExtension_imp *imp) : sxExtension(imp) {}
};

/// Certificates that may follow before something holds; -1: it never does. More than an int has is INT32_MAX.
struct sxPolicyLimits {
  int requireExplicit = -1, inhibitMapping = -1;
};
/// policyConstraints (RFC 5280, 4.2.1.11).
class KXCERT_EXPORT sxPolicyConstraints : public sxExtension {
 public:
  explicit sxPolicyConstraints(sxPolicyLimits limits);
  void Set(const sxPolicyConstraints &other) { *this = other; }
  const sxPolicyLimits &Limits() const;

 private:
  template <class, class>
  friend class sxValueExtension;
  explicit sxPolicyConstraints(sxExtension_imp *imp) : sxExtension(imp) {}
};

/// inhibitAnyPolicy (RFC 5280, 4.2.1.14).
class KXCERT_EXPORT sxInhibitAnyPolicy : public sxExtension {
 public:
  explicit sxInhibitAnyPolicy(int skipCerts);  ///< as of sxPolicyLimits; a negative one cannot be composed
  void Set(const sxInhibitAnyPolicy &other) { *this = other; }
  int SkipCerts() const;

 private:
  template <class, class>
  friend class sxValueExtension;
  explicit sxInhibitAnyPolicy(sxExtension_imp *imp) : sxExtension(imp) {}
};

struct sxNameSubtree {
  sxAnyName base;
  int minimum = 0;   ///< anything but 0 and -1 can only be read (RFC 5280, 4.2.1.10): who meets it
  int maximum = -1;  ///< either obeys it, or refuses the certificate; -1: absent
};
struct sxNameSpace {
  std::vector<sxNameSubtree> permitted, excluded;
};
/// nameConstraints (RFC 5280, 4.2.1.10).
class KXCERT_EXPORT sxNameConstraints : public sxExtension {
 public:
  explicit sxNameConstraints(sxNameSpace space);
  void Set(const sxNameConstraints &other) { *this = other; }
  const sxNameSpace &Space() const;

 private:
  template <class, class>
  friend class sxValueExtension;
  explicit sxNameConstraints(sxExtension_imp *imp) : sxExtension(imp) {}
};

/// issuerAltName (RFC 5280, 4.2.1.7).
class KXCERT_EXPORT sxIssuerAltName : public sxExtension {
 public:
  explicit sxIssuerAltName(std::vector<sxAnyName> names);
  void Set(const sxIssuerAltName &other) { *this = other; }
  const std::vector<sxAnyName> &Names() const;

 private:
  template <class, class>
  friend class sxValueExtension;
  explicit sxIssuerAltName(sxExtension_imp *imp) : sxExtension(imp) {}
};

struct sxAccess {
  sxAsnOid method;
  sxAnyName location;
};
/// subjectInfoAccess (RFC 5280, 4.2.2.2).
class KXCERT_EXPORT sxSubjectInfoAccess : public sxExtension {
 public:
  explicit sxSubjectInfoAccess(std::vector<sxAccess> accesses);
  void Set(const sxSubjectInfoAccess &other) { *this = other; }
  const std::vector<sxAccess> &Accesses() const;

 private:
  template <class, class>
  friend class sxValueExtension;
  explicit sxSubjectInfoAccess(sxExtension_imp *imp) : sxExtension(imp) {}
};

/// TLS features (RFC 7633): numbers of the TLS extensions that a server must offer. 5 is status_request.
class KXCERT_EXPORT sxTlsFeature : public sxExtension {
 public:
  explicit sxTlsFeature(std::vector<int> features);
  void Set(const sxTlsFeature &other) { *this = other; }
  const std::vector<int> &Features() const;
  static const char *FeatureStr(int feature);  ///< null for one without a name here

 private:
  template <class, class>
  friend class sxValueExtension;
  explicit sxTlsFeature(sxExtension_imp *imp) : sxExtension(imp) {}
};

/// OCSP no check (RFC 6960, 4.2.2.2.1): clients trust this responder as long as its certificate is valid.
class KXCERT_EXPORT sxOcspNoCheck : public sxExtension {
 public:
  sxOcspNoCheck();
  void Set(const sxOcspNoCheck &other) { *this = other; }

 private:
  template <class, class>
  friend class sxValueExtension;
  explicit sxOcspNoCheck(sxExtension_imp *imp) : sxExtension(imp) {}
};

/// The extensions above, and freshestCRL of certificates (an sxExtGN). Beside Get_ExtParserTable and
/// Get_ExtComposerTable, whose rows they have none of.
KXCERT_EXPORT const sxExtParser *Get_IssuedExtParserTable();
KXCERT_EXPORT const sxExtComposer *Get_IssuedExtComposerTable();

#endif
