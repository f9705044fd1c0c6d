/// @file
/// Every name that a certificate gives its subject, as name constraints compare them.
#ifndef KXCERT_SRC_TRUST_STRICT_CERTNAMES_H_
#define KXCERT_SRC_TRUST_STRICT_CERTNAMES_H_

#include <deque>
#include <vector>

#include "trust/strict/nameTree.h"
#include "trust/strict/strictCert.h"

class CertNames {
 public:
  explicit CertNames(const StrictCert &cert);
  CertNames(const CertNames &) = delete;
  CertNames &operator=(const CertNames &) = delete;

  const std::vector<ComparedName> &All() const { return m_names; }

 private:
  void AddDn(sxOctetView name);
  void AddMailOfSubject();
  void AddOther(sxOctetView content);
  void Add(const sxDerElement &name);

  std::deque<sxFlatName> m_flats;  // lent to the names
  std::vector<ComparedName> m_names;
};

#endif
