/// @file
/// Implementation of CRLs under construction.
#ifndef KXCERT_SRC_CERT_SXCRL_ENCODER_IMP_H_
#define KXCERT_SRC_CERT_SXCRL_ENCODER_IMP_H_

#include <vector>

#include "crlToSign.h"
#include "kxcert/cert/sxCRL_Encoder.h"
#include "revocationDraft.h"
#include "sxCRL_imp.h"

class sxCRL_Encoder_imp : public sxCRL_imp {
 public:
  explicit sxCRL_Encoder_imp(int numExpected) : sxCRL_imp(nullptr, 0) { m_draft.Reserve(numExpected); }

  void Sprint(SxStream *out, int indent) const override;  ///< the entries
  const sxRevokedEntries &Entries() const override { return m_draft; }

  void Copy(const sxCRL_imp &from);  ///< or the error is set, and Encode refuses
  int SetIssuer(const sxDN &issuer);
  int SetThisUpdate(int64_t seconds);
  int SetNextUpdate(int64_t seconds);
  void RemoveNextUpdate() { m_hasNextUpdate = false; }
  int SetNumber(sxOctetView oid, bool isCritical, const sxAsnInt *number);
  int SetAuthorityKeyId(const sxExtKeyID *keyId);
  int SetIssuingDP(const sxIssuingDP *scope);
  int Add(const sxRevokedEntry &entry);
  bool Remove(const sxDN *certIssuer, const sxAsnInt &number) { return m_draft.Remove(certIssuer, number); }

  /// All but the signature; null when it cannot be (one line logged).
  std::shared_ptr<sxCrlToSign> Encode(sxPubKey *key, sx_md_type md);

 private:
  struct RawExtension {
    sxAsnOid oid;
    sxDerOctets der;  // the whole element
  };
  void CopyFields(const sxCRL_imp &from);
  bool CopyEntries(const sxRevokedEntries &from);
  void Put(const sxAsnOid &oid, const sxDerOctets *der);  // null: takes it away
  int Put(const sxAsnOid &oid, const sxASN_Extension *ext);
  sxDerOctets ExtensionsContent() const;
  const char *WhyNot() const;
  bool HasRemovals() const;

  bool m_isWhole = true;  // a copy has all that it was made of
  std::optional<sxAsnInt> m_lastNumber;
  sxDerOctets m_issuerDer;
  std::vector<RawExtension> m_rawExtensions;
  sxRevocationDraft m_draft;
};

#endif
