/// @file
/// Implementation of lists of general names.
#ifndef KXCERT_SRC_CERT_SXGENERALNAMES_IMP_H_
#define KXCERT_SRC_CERT_SXGENERALNAMES_IMP_H_

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "asn1/der.h"
#include "kxcert/cert/sxGeneralName.h"
#include "pooled.h"

class sxGeneralNames_imp : public sxPooled {
 public:
  sxGeneralNames_imp() = default;
  sxGeneralNames_imp(const sxGeneralNames_imp &other);
  sxGeneralNames_imp &operator=(const sxGeneralNames_imp &) = delete;

  int Count() const { return static_cast<int>(m_entries.size()); }
  const sxGeneralName *Get(int i) const;
  void Add(const sxGeneralName *name);
  void Add_IfNotExist(const sxGeneralName *name);
  void Add_IfNotExist(const sxGeneralNames_imp &names);
  int Match(const sxGeneralName *name) const;
  int Match(const sxGeneralNames_imp &names) const;
  const sxGeneralName *GetFirstOfType(sxGNtype type, const sxAsnOid *otherOid) const;
  void Set(const sxASN_GeneralNames *names);
  void Append(const sxASN_GeneralNames &names);
  void Append(const sxASN_GeneralName &name);
  void Clear() {
    m_entries.clear();
    m_known.reset();
  }

  // Straight from plain octets; false (with some names appended) sends the caller to the codec.
  [[nodiscard]] bool AppendPlain(sxDerReader names);         ///< the names of a GeneralNames
  [[nodiscard]] bool AppendPlain(const sxDerElement &name);  ///< kinds 1, 2 and 6
  int DerEncode(unsigned char *out, int outLen) const;
  void Sprint(SxStream *out, const char *title, int indent) const;

  /// Appends every name. @return false when one of them has no encoding
  [[nodiscard]] bool ToAsn(sxASN_GeneralNames &out) const;

 private:
  // A block for each handle, which stays where it is: Get() lends it.
  struct Entry : public sxPooled {
    template <class... From>
    explicit Entry(const From &...from) : name(from...) {}
    sxGeneralName name;
  };
  std::vector<std::unique_ptr<Entry>> m_entries;

  // Keys of the first entries. Made by the first Add_IfNotExist, so that many take no square of time.
  struct Known {
    std::set<std::string> keys;
    size_t numEntries = 0;
  };
  std::unique_ptr<Known> m_known;
};

#endif
