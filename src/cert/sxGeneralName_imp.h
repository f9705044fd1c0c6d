/// @file
/// Implementation of general names.
#ifndef KXCERT_SRC_CERT_SXGENERALNAME_IMP_H_
#define KXCERT_SRC_CERT_SXGENERALNAME_IMP_H_

#include <memory>
#include <string>
#include <string_view>

#include "kxcert/cert/sxDN.h"
#include "kxcert/cert/sxGeneralName.h"
#include "pooled.h"

constexpr int kMaxOtherNameText = 1255;  ///< characters of a kind 0 text

class sxGeneralName_imp : public sxPooled {
 public:
  sxGeneralName_imp() = default;
  sxGeneralName_imp(sxGNtype type, const char *text, int len);
  sxGeneralName_imp(const sxAsnOid *oid, const char *text, int len);
  explicit sxGeneralName_imp(const sxDN *dn);
  explicit sxGeneralName_imp(unsigned long ip);
  explicit sxGeneralName_imp(const inx_addr_kxt &ip);
  explicit sxGeneralName_imp(const in6_addr_kxt &ip);
  explicit sxGeneralName_imp(const sxASN_GeneralName *name);
  sxGeneralName_imp(const sxGeneralName_imp &other);
  sxGeneralName_imp &operator=(const sxGeneralName_imp &) = delete;

  sxGNtype GetType() const { return m_type; }
  const sxDN *GetDN() const { return m_dn.get(); }
  unsigned long GetIP() const;
  const in6_addr_kxt *GetIP6() const { return m_type == sxGN_ip6 ? &m_ip6 : nullptr; }
  const inx_addr_kxt *GetIPAddr() const { return m_type == sxGN_ip ? &m_ip : nullptr; }
  const sxAsnOid *GetOtherOid() const { return m_otherOid; }
  std::string GetStr() const;
  bool Equal(const sxGeneralName_imp &other) const;
  /// Appends octets that are the same for equal names, and for no others. @return false: equals none
  bool AppendKey(std::string *key) const;
  void Sprint(SxStream *out, int indent) const;

  /// @return false for a name that has no encoding
  [[nodiscard]] bool ToAsn(sxASN_GeneralName &out) const;

 private:
  bool SetText(sxGNtype type, const void *text, int len);
  void SetAddress(const unsigned char *octets, int len);
  void SetOtherName(const sxASN_GeneralName &name);
  std::string OtherNameText() const;

  sxGNtype m_type = sxGN_error;
  inx_addr_kxt m_ip{};
  in6_addr_kxt m_ip6{};
  const sxAsnOid *m_otherOid = nullptr;  // borrowed; kind 0 only
  std::unique_ptr<sxDN> m_dn;            // kind 4 only
  std::string m_text;                    // kinds 0, 1, 2, 6; holds no NUL
};

#endif
