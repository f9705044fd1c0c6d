/// @file
/// Implementation of CRLs and of CRLs under construction.
#ifndef KXCERT_SRC_CERT_SXCRL_IMP_H_
#define KXCERT_SRC_CERT_SXCRL_IMP_H_

#include <optional>

#include "kxcert/cert/sxCRL.h"
#include "kxcert/cert/sxExtensions.h"
#include "revokedEntries.h"
#include "sxSigned_imp.h"

class sxASN_TBSCertList;

class sxCRL_imp : public sxSigned_imp {
 public:
  sxCRL_imp(const unsigned char *buf, unsigned int len) : sxSigned_imp(buf, len) {}

  void Sprint(SxStream *out, int indent) const override;

  void Decode();  ///< entries and extensions, from the octets; or the error is set
  const sxRevokedEntries &Entries() const { return m_entries; }
  const sxExtensionsList &Extensions() const { return m_extensions; }
  const sxAsnInt *Number() const { return m_number ? &*m_number : nullptr; }

 protected:
  sxRevokedEntries m_entries;

 private:
  void TakeExtensions(const sxASN_TBSCertList &body);

  sxExtensionsList m_extensions;
  std::optional<sxAsnInt> m_number;
};

class sxCRL_Encoder_imp : public sxCRL_imp {
 public:
  explicit sxCRL_Encoder_imp(int numExpected) : sxCRL_imp(nullptr, 0) { m_entries.Reserve(numExpected); }

  void Sprint(SxStream *out, int indent) const override;  ///< the entries: there is nothing else yet

  sxRevokedEntries &Entries() { return m_entries; }
};

#endif
