/// @file
/// Implementation of distinguished names.
#ifndef KXCERT_SRC_CERT_SXDN_IMP_H_
#define KXCERT_SRC_CERT_SXDN_IMP_H_

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "asn1/der.h"
#include "flatName.h"
#include "foundation/publishOnce.h"
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "pooled.h"

constexpr int kMaxDnDer = 4096;  ///< octets that DerEncode hands out

class sxDN_imp : public sxPooled {
 public:
  sxDN_imp() = default;  // no name
  explicit sxDN_imp(const char *text);
  sxDN_imp(const unsigned char *der, int len);
  explicit sxDN_imp(const sxASN_RDNSequence *name);
  sxDN_imp(const sxDN_imp &other);
  sxDN_imp &operator=(const sxDN_imp &) = delete;

  /// A name over plain octets that outlive it and were read already.
  sxDN_imp(sxOctetView octets, sxFlatName &&flat);

  int Set(const sxDN_imp &other);
  int RemoveCN();
  int RemoveOid(const sxAsnOid *type);

  bool HasName() const { return m_hasName; }
  sxOctetView Octets() const {
    return m_octets;
  }  ///< the whole element, lent until the name changes; empty without one
  const char *GetStr() const { return Text(m_str, false, "sxDN_imp::GetStr"); }
  const char *GetStr_ascii() const { return Text(m_str_ascii, true, "sxDN_imp::GetStr_ascii"); }
  int DerEncode(unsigned char **out, int *len) const;
  const sxASN_RDNSequence *GetName() const;
  int Count() const { return static_cast<int>(m_flat.NumRdns()); }
  /// The most specific AVA of a type, lent until the name changes, or null.
  const sxAva *FindAva(const sxAsnOid &type) const;
  int GetRDN(const char *func, const sxAsnOid &type, char *buf, int len) const;  ///< logs what does not fit as func
  int IsContain(const sxAsnOid *type) const;
  bool Equal(const sxDN_imp &other) const;
  bool IsSub(const sxDN_imp &suffix) const;
  int RemoveSubDN(const sxDN_imp &sub, sxDN_imp &out, int &whole) const;
  uint64_t Hash() const;
  const sxFlatName &Flat() const { return m_flat; }  ///< lent until the name changes
  /// Appends octets that are the same for equal names, and for no others. @return false: equals none
  bool AppendKey(std::string *key) const;

 private:
  void Forget();  // no name, no caches
  bool LoadTree(const sxASN_RDNSequence &name);
  bool LoadOctets(sxOctetView der, bool decoded);  // copies
  const char *Text(PublishOnce<std::string> &cache, bool ascii, const char *func) const;
  bool Print(bool ascii, std::string *text) const;
  std::unique_ptr<kxBinBuf> Encode() const;
  int RemoveRdns(const std::vector<bool> &gone);  // by number; 1 or 0
  int RemoveRdnNumber(uint32_t rdn);

  bool m_hasName = false;
  std::unique_ptr<unsigned char[]> m_owned;  // null when the octets are borrowed
  sxOctetView m_octets;
  sxFlatName m_flat;  // positions in m_octets
  mutable PublishOnce<std::string> m_str;
  mutable PublishOnce<std::string> m_str_ascii;
  mutable PublishOnce<kxBinBuf> m_der;
  mutable PublishOnce<sxASN_RDNSequence> m_name;
  mutable std::atomic<uint64_t> m_hash{0};  // 0: not computed
};

/// Parses text. Null when it is no name.
std::unique_ptr<sxASN_RDNSequence> sxParseDN(const char *text);

/// RDN equality: as many AVAs, each with a partner of its own of the same type and an equal value.
bool sxAsn_RdnEqual(const sxFlatName::Range &a, const sxFlatName::Range &b);

/// Appends octets that are the same for equal RDNs, and for no others. @return false: equals none
bool sxAppendRdnKey(const sxFlatName::Range &rdn, std::string *key);

/// The suffix test over two names, RDN by RDN from the root-most.
bool sxASN_NameSub(const sxFlatName &name, const sxFlatName &suffix);

/// As many RDNs, and the suffix test.
bool sxASN_NameEqual(const sxFlatName &a, const sxFlatName &b);

#endif
