/// @file
/// A certificate as its octets have it, for rules that are about the encoding or about extensions that objects do not keep.
#ifndef KXCERT_SRC_TRUST_STRICT_STRICTCERT_H_
#define KXCERT_SRC_TRUST_STRICT_STRICTCERT_H_

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "cert/extensionRules.h"
#include "cert/plainFields.h"

class sxCert;
class sxExtension;

/// One of its extensions, and what is known of it as such.
struct StrictExtension : sxPlainExtension {
  const sxExtensionRule *rule = nullptr;  ///< null: of a type that is not known
};

/// Of the value of one.
struct StrictForm {
  bool isRead = false;
  bool isDer = false;
  sxFormFault fault = {};  ///< of a value in DER of a known type
};

/// An AlgorithmIdentifier's object identifier, in dots.
std::string AlgorithmText(sxOctetView algorithm);

class StrictCert {
 public:
  /// @param cert  OK, and lives longer
  explicit StrictCert(const sxCert &cert);
  ~StrictCert();
  StrictCert(const StrictCert &) = delete;
  StrictCert &operator=(const StrictCert &) = delete;
  StrictCert(StrictCert &&) noexcept;

  const sxCert &Cert() const { return *m_cert; }
  /// Everything but the octets themselves is of no use when not.
  bool IsReadable() const { return m_isReadable; }
  /// The fields, each as a view of the encoding.
  struct Fields {
    int version = 1;                                              ///< the number encoded, plus 1
    bool saysVersion = false;                                     ///< else it is 1
    sxOctetView serial;                                           ///< content
    sxOctetView innerAlgorithm, outerAlgorithm, issuer, subject;  ///< whole elements
    sxPlainTime notBefore, notAfter;
    sxPlainAlgorithm keyAlgorithm;
    sxOctetView keyBits;  ///< octets of the bit string; empty when some of its bits are unused
    bool hasUniqueIds = false;
    bool areUniqueIdsDer = true;  ///< their tags hide that they are BIT STRINGs
    bool hasExtensions = false;   ///< the field is there, empty or not
  };
  const Fields &Get() const { return m_fields; }
  bool IsSelfIssued() const { return m_isSelfIssued; }

  const std::vector<StrictExtension> &Extensions() const { return m_extensions; }
  sxOctetView ExtensionList() const { return m_list; }  ///< for sxForEachExtension
  const sxPlainExtension *Find(sxOctetView oid) const;  ///< the first one, or null
  bool HasTwo(sxOctetView oid) const;                   ///< which of them counts nobody knows
  const StrictForm &Form(size_t i) const;               ///< of the extension of that number; read at the first call

  /// One of those that Get_IssuedExtParserTable knows, decoded once. Null: it does not decode, or is another one.
  const sxExtension *Issued(const sxPlainExtension &extension) const;
  static bool IsIssuedType(sxOctetView oid);

  const sxPlainConstraints *Constraints() const { return m_hasConstraints ? &m_constraints : nullptr; }
  bool IsCA() const { return m_hasConstraints && m_constraints.isCA; }
  bool HasUsage() const { return m_hasUsage; }
  bool MayUse(int bit) const { return (m_usage >> bit & 1U) != 0; }  ///< of sxKeyUsageType

 private:
  bool Read(sxOctetView octets);
  bool ReadFields(sxOctetView octets);
  bool ReadExtensions(sxDerReader &fields);

  const sxCert *m_cert;
  std::vector<unsigned char> m_decoded;  // its encoding in DER, when it came in BER
  Fields m_fields;
  sxOctetView m_list;
  std::vector<StrictExtension> m_extensions;
  mutable std::vector<StrictForm> m_forms;
  mutable std::map<const sxPlainExtension *, std::unique_ptr<sxExtension>> m_issued;
  sxPlainConstraints m_constraints;
  unsigned m_usage = 0;
  bool m_isReadable = false, m_isSelfIssued = false, m_hasConstraints = false, m_hasUsage = false;
};

#endif
