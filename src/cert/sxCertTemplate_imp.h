/// @file
/// Implementation of certificate templates.
#ifndef KXCERT_SRC_CERT_SXCERTTEMPLATE_IMP_H_
#define KXCERT_SRC_CERT_SXCERTTEMPLATE_IMP_H_

#include <memory>
#include <optional>

#include "kxcert/asn1/modules/PKIXCRMF.h"
#include "kxcert/cert/sxCertTemplate.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/cert/sxExtensions.h"
#include "kxcert/keys/sxPubKey.h"
#include "platform/owned.h"
#include "templateParts.h"

/// The tree is what there is; all else is read from it whenever it changes.
class sxCertTemplate_imp {
 public:
  sxCertTemplate_imp() = default;
  explicit sxCertTemplate_imp(const sxASN_CertTemplate &tree);
  sxCertTemplate_imp(const sxCertTemplate_imp &other) : sxCertTemplate_imp(other.m_tree) {}
  sxCertTemplate_imp &operator=(const sxCertTemplate_imp &) = delete;

  const sxASN_CertTemplate &Tree() const { return m_tree; }
  const sxDN *Subject() const { return m_subject ? &*m_subject : nullptr; }
  const sxDN *Issuer() const { return m_issuer ? &*m_issuer : nullptr; }
  sxPubKey *PubKey() const { return m_key.get(); }
  const sxExtensionsList &Extensions() const { return m_extensions; }
  const sxAsnOid *UnhandledCritExt() const { return m_unhandled; }
  /// Encoded at the first call, and kept for whoever signs several of the kind.
  const sxTemplateParts &Parts() const {
    if (!m_parts) m_parts.emplace(m_tree, m_key.get());
    return *m_parts;
  }

  void Sprint(SxStream *out, int indent) const;

 private:
  void PrintKey(SxStream *out, int indent) const;
  void PrintExtensions(SxStream *out, int indent) const;

  sxASN_CertTemplate m_tree;  // never changes
  std::optional<sxDN> m_subject;
  std::optional<sxDN> m_issuer;
  sxOwned<sxPubKey, sxFreePubKey> m_key;
  sxExtensionsList m_extensions;
  const sxAsnOid *m_unhandled = nullptr;  // in the tree
  mutable std::optional<sxTemplateParts> m_parts;
};

#endif
