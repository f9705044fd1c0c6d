/// @file
/// Implementation of lists of distinguished names.
#ifndef KXCERT_SRC_CERT_SXDNLIST_IMP_H_
#define KXCERT_SRC_CERT_SXDNLIST_IMP_H_

#include <memory>
#include <vector>

#include "kxcert/cert/sxDN.h"
#include "kxcert/cert/sxGeneralName.h"

class sxDNList_imp {
 public:
  sxDNList_imp() = default;
  sxDNList_imp(const sxDNList_imp &other);
  sxDNList_imp &operator=(const sxDNList_imp &) = delete;

  int Count() const { return static_cast<int>(m_names.size()); }
  const sxDN *Get(int i) const;
  void Add(const sxDN *dn);
  void Set(const sxASN_DNList *list);
  int DerEncode(unsigned char *out, int outLen) const;
  int DerDecode(const unsigned char *der, int len);
  void Sprint(SxStream *out, const char *title, int indent) const;
  void Herror(const char *title) const;

 private:
  std::vector<std::unique_ptr<sxDN>> m_names;  // handles of their own: Get() lends them
};

#endif
