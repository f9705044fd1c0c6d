/// @file
/// CertID: how OCSP names a certificate (RFC 6960, 4.1.1).
#ifndef KXCERT_SRC_TRUST_REVOCATION_OCSPCERTID_H_
#define KXCERT_SRC_TRUST_REVOCATION_OCSPCERTID_H_

#include <array>
#include <utility>
#include <vector>

#include "cert/plainCert.h"
#include "kxcert/cert/sxCert.h"
#include "kxcert/platform/digest.h"

struct sxOcspDigest {
  std::array<unsigned char, kMaxDigestLen> octets;
  size_t len = 0;  ///< 0: it cannot be computed
  sxOctetView View() const { return {octets.data(), len}; }
};
sxOcspDigest sxOcspDigestOf(int mdType, sxOctetView octets);

/// The fields of a certificate as it has them, also of one that is not DER. Lent by it and by this.
class sxOcspFields {
 public:
  sxOcspFields() = default;
  sxOcspFields(const sxOcspFields &) = delete;
  sxOcspFields &operator=(const sxOcspFields &) = delete;
  bool Read(const sxCert &cert);
  sxOctetView IssuerName() const { return m_fields.issuer; }  ///< whole
  sxOctetView Serial() const { return m_fields.serial; }      ///< content octets
  sxOctetView KeyBits() const { return m_fields.keyBits; }    ///< without the octet that counts unused ones
  sxOctetView Extensions() const { return m_fields.extensions; }

 private:
  sxPlainCert m_fields;
  std::vector<unsigned char> m_octets;  // of one that is not plain
};

/// What stands for a certificate and its issuer in CertIDs of any digest, each of which is computed once.
class sxOcspCertId {
 public:
  /// @return whether the issuer has the name that the certificate names, and both can be read
  bool Set(const sxCert &cert, const sxCert &issuer);

  struct Hashes {
    sxOcspDigest name;
    sxOcspDigest key;
  };
  /// Lent. Lengths of 0 for a digest that is not known.
  const Hashes &Of(int mdType);
  sxOctetView Serial() const { return m_cert.Serial(); }
  sxOctetView IssuerKey() const { return m_issuer.KeyBits(); }

 private:
  sxOcspFields m_cert;
  sxOcspFields m_issuer;
  std::vector<std::pair<int, Hashes>> m_hashes;
};

#endif
