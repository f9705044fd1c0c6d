/// @file
/// Implementation of certification requests.
#ifndef KXCERT_SRC_CERT_SXCERTREQUEST_IMP_H_
#define KXCERT_SRC_CERT_SXCERTREQUEST_IMP_H_

#include <optional>
#include <vector>

#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/cert/sxCertRequest.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/cert/sxExtensions.h"
#include "kxcert/keys/sxPubKey.h"
#include "plainRequest.h"
#include "platform/owned.h"
#include "sxSigned_imp.h"

class sxCertRequest_imp : public sxSigned_imp {
 public:
  sxCertRequest_imp(const unsigned char *buf, unsigned int len) : sxSigned_imp(buf, len) { Decode(); }
  /// One that was just made.
  /// @param key  what its octets say, where it is there already; the caller compares them. Null: it is imported
  sxCertRequest_imp(std::unique_ptr<unsigned char[]> area, size_t offset, size_t len, sxPubKey *key)
      : sxSigned_imp(std::move(area), offset, len), m_pubKey(key) {
    if (key != nullptr) sxSavePubKey(key);
    Decode();
  }

  struct Attribute {
    sxAsnOid type;
    std::vector<sxOctetView> values;  // whole elements
  };
  int Version() const { return m_version; }
  const sxDN *Subject() const { return m_subject ? &*m_subject : nullptr; }
  sxPubKey *PubKey() const { return m_pubKey.get(); }
  int signatureSignAlgorithm() const { return m_signAlgorithm; }
  int signatureHashAlgorithm() const { return m_hashAlgorithm; }
  const sxExtensionsList &Extensions() const { return m_extensions; }
  const sxASN_Extensions *AllExtensions() const { return m_allExtensions.get(); }
  const std::vector<Attribute> &Attributes() const { return m_attributes; }
  const Attribute *Find(sxOctetView type) const;      ///< the first one, lent; null when there is none
  const Attribute *FindOnly(sxOctetView type) const;  ///< likewise; null also when there are several
  std::optional<std::string> ChallengePassword() const;

  void Sprint(SxStream *out, int indent) const override;

 private:
  int ConvertBuf() override;
  void Decode();
  bool Read(sxPlainRequest *plain);  // the fields, from the stored octets
  void Extract(const sxPlainRequest &plain);
  bool ExtractKey(const sxPlainRequest &plain);
  const char *TakeExtensions();

  std::unique_ptr<unsigned char[]> m_plainOctets;  // when the stored ones are not plain
  int m_version = 0;
  std::optional<sxDN> m_subject;
  sxOwned<sxPubKey, sxFreePubKey> m_pubKey;
  int m_signAlgorithm = -1;
  int m_hashAlgorithm = 0;
  std::vector<Attribute> m_attributes;  // of the octets in either
  sxExtensionsList m_extensions;
  std::unique_ptr<sxASN_Extensions> m_allExtensions;
};

#endif
