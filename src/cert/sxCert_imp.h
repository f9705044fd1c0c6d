/// @file
/// Implementation of certificates.
#ifndef KXCERT_SRC_CERT_SXCERT_IMP_H_
#define KXCERT_SRC_CERT_SXCERT_IMP_H_

#include <memory>

#include "kxcert/asn1/sxAsnInt.h"
#include "kxcert/cert/sxCert.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/keys/sxPubKey.h"
#include "plainCert.h"
#include "platform/owned.h"
#include "sxSigned_imp.h"

class sxCert_imp : public sxSigned_imp {
 public:
  sxCert_imp(const unsigned char *buf, unsigned int len);
  /// One that was just made.
  /// @param key     what its octets say, where it is there already; the caller compares them. Null: it is imported
  /// @param fields  gets them as they were read, lent by the certificate
  sxCert_imp(std::unique_ptr<unsigned char[]> area, size_t offset, size_t len, sxPubKey *key, sxPlainCert *fields);

  int Version() const { return m_version; }
  const sxAsnInt &SerialNum() const { return m_serial; }
  const unsigned char *SerialNum(int &len) const;
  const sxDN *Issuer() const { return m_issuer.get(); }
  const sxDN *Subject() const { return m_subject.get(); }
  int notBefore() const { return m_notBefore; }
  int notAfter() const { return m_notAfter; }
  int signatureSignAlgorithm() const { return m_signAlgorithm; }
  int signatureHashAlgorithm() const { return m_hashAlgorithm; }
  sxPubKey *PubKey() const { return m_pubKey.get(); }
  const sxExtensionsList &Extensions() const { return m_extensions; }
  sxOctetView ExtensionOctets() const { return m_extensionOctets; }  ///< for sxTakePlainExtension

  void Sprint(SxStream *out, int indent) const override { Sprint(out, sxCert_full, indent); }
  void Sprint(SxStream *out, sxCertHerrorDetails details, int indent) const;

 private:
  void Decode();
  bool Read();  // the fields, from the stored octets
  void Extract(sxPlainCert &cert);
  void SetSerial(const sxAsnInt &serial);
  std::unique_ptr<sxDN> NewName(sxOctetView octets, sxFlatName &&flat) const;
  bool ExtractKey(const sxPlainCert &cert);
  void ExtractExtensions(sxOctetView extensions);
  void PrintFull(SxStream *out, int indent) const;

  int m_version = 0;
  sxAsnInt m_serial;
  unsigned char m_shortSerial[4] = {};  // octets of a serial that sxAsnInt keeps as a number
  int m_shortSerialLen = 0;
  std::unique_ptr<sxDN> m_issuer;
  std::unique_ptr<sxDN> m_subject;
  int m_notBefore = 0;
  int m_notAfter = 0;
  int m_signAlgorithm = 0;
  int m_hashAlgorithm = 0;
  sxOwned<sxPubKey, sxFreePubKey> m_pubKey;
  sxExtensionsList m_extensions;

  sxPlainCert m_plain;                             // read by Read, used by Extract
  std::unique_ptr<unsigned char[]> m_plainOctets;  // when the stored ones are not plain
  sxOctetView m_extensionOctets;                   // in either
};

#endif
