/// @file
/// Implementation of CRLs.
#ifndef KXCERT_SRC_CERT_SXCRL_IMP_H_
#define KXCERT_SRC_CERT_SXCRL_IMP_H_

#include <memory>
#include <optional>

#include "kxcert/asn1/sxAsnInt.h"
#include "kxcert/asn1/sxAsnOid.h"
#include "kxcert/cert/sxCRL.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/cert/sxExtensions.h"
#include "kxcert/cert/sxGeneralName.h"
#include "plainCrl.h"
#include "platform/fileMap.h"
#include "revokedEntries.h"
#include "sxSigned_imp.h"

class sxCRL_imp : public sxSigned_imp {
 public:
  sxCRL_imp(const unsigned char *buf, unsigned int len) : sxSigned_imp(buf, len) {}
  sxCRL_imp(std::unique_ptr<unsigned char[]> area, size_t offset, size_t len)
      : sxSigned_imp(std::move(area), offset, len) {}
  sxCRL_imp(kxFileMap map, size_t offset);

  void Sprint(SxStream *out, int indent) const override;
  /// @param withExtensions  those of the list and the reasons of entries
  void Print(SxStream *out, int indent, bool withExtensions) const;

  void Decode();  ///< everything, from the octets; or the error is set
  virtual const sxRevokedEntries &Entries() const { return m_entries; }
  /// Parts of what was read, as sxPlainCrl has them; lent.
  struct Parts {
    sxOctetView issuer, entries, extensions;
  };
  const Parts &PlainParts() const { return m_parts; }

  int Version() const { return m_version; }
  const sxDN *Issuer() const { return m_issuer ? &*m_issuer : nullptr; }
  const sxAsnOid &SignatureOid() const { return m_signatureOid; }
  int64_t ThisUpdate() const { return m_thisUpdate; }
  bool HasNextUpdate() const { return m_hasNextUpdate; }
  int64_t NextUpdate() const { return m_nextUpdate; }
  bool IsDelta() const { return m_isDelta; }
  const sxAsnInt *Number() const { return m_number ? &*m_number : nullptr; }
  const sxAsnInt *DeltaBase() const { return m_deltaBase ? &*m_deltaBase : nullptr; }
  const sxGeneralNames &ScopeNames() const { return m_scopeNames; }
  const sxExtensionsList &Extensions() const { return m_extensions; }
  const sxIssuingDP *IssuingDP() const;
  const sxAsnOid *UnknownListExt() const { return m_unknownListExt.get(); }
  const sxAsnOid *UnknownEntryExt() const { return m_unknownEntryExt.get(); }

 private:
  bool Read();
  bool ReadDecoded();
  bool Take(sxOctetView plain, bool decoded);
  void TakeExtension(const sxASN_Extension &ext, bool isCritical, sxExtensionsList::Appender &appender);
  bool TakeNumber(const sxASN_Extension &ext);
  void TakeScopeNames();
  void LookForUnknown();

 protected:
  /// From what is content of a SEQUENCE and was read before; what they said before is forgotten.
  void SetExtensions(sxOctetView extensions);

  int m_version = 0;
  std::optional<sxDN> m_issuer;
  int64_t m_thisUpdate = kCrlTimeUnreadable;
  int64_t m_nextUpdate = kCrlTimeUnreadable;
  bool m_hasNextUpdate = false;

 private:
  kxFileMap m_map;                                 // what the octets may lie in
  std::unique_ptr<unsigned char[]> m_plainOctets;  // when they are not plain: those that were read
  Parts m_parts;
  sxAsnOid m_signatureOid;
  bool m_isDelta = false;
  sxExtensionsList m_extensions;
  std::optional<sxAsnInt> m_number, m_deltaBase;
  sxGeneralNames m_scopeNames;
  std::unique_ptr<sxAsnOid> m_unknownListExt, m_unknownEntryExt;
  sxRevokedEntries m_entries;
};

#endif
