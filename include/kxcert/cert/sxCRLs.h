/// @file
/// Sets of CRLs: slots in order, some of which may be empty. What sxCerts.h says of certificates holds here.
#ifndef KXCERT_CERT_SXCRLS_H_
#define KXCERT_CERT_SXCRLS_H_

#include "kxcert/cert/sxCRL.h"
#include "kxcert/cert/sxCerts.h"

class KXCERT_EXPORT sxCRLs {
 public:
  explicit sxCRLs(int capacity = 0);
  sxCRLs(const sxCRLs &other);  ///< the same CRLs, one more reference each
  sxCRLs &operator=(const sxCRLs &other);
  ~sxCRLs();

  int Slots() const { return m_imp->Slots(); }
  int Count() const { return m_imp->Count(); }                             ///< slots that are not empty
  int Top() const { return m_imp->Top(); }                                 ///< highest slot that is not empty, or -1
  sxCRL *Get(int i) const { return static_cast<sxCRL *>(m_imp->Get(i)); }  ///< lent; null for an empty or no slot
  void Add(sxCRL *crl) { m_imp->Add(crl); }                                ///< at Top() + 1; adopts
  int Set(int i, sxCRL *crl) { return m_imp->Set(i, crl); }  ///< adopts, 0; or -1 out of range, nothing adopted
  int Del(int i) { return m_imp->Del(i); }                   ///< 0 or -1
  void ClearAll() { m_imp->ClearAll(); }

 private:
  sxSignedObjects_imp *m_imp;  // owned, never null
};

#endif
