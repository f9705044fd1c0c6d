#include "trust/revocation/ocspCertId.h"

#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/foundation/kxBinBuf.h"

sxOcspDigest sxOcspDigestOf(int mdType, sxOctetView octets) {
  sxOcspDigest digest;
  const int len = kx_md_len(mdType);
  if (len > 0 && kx_md_hashbuf(mdType, octets.data(), octets.size(), digest.octets.data(), len) == 0) {
    digest.len = static_cast<size_t>(len);
  }
  return digest;
}

// What is not plain is read from the codec's encoding of it, as the certificate itself was.
bool sxOcspFields::Read(const sxCert &cert) {
  m_fields = sxPlainCert();
  const auto *const chars = reinterpret_cast<const char *>(cert.GetBuf());
  if (sxReadPlainCert({cert.GetBuf(), cert.BufLen()}, false, &m_fields)) return true;
  sxASN_Certificate decoded;
  kxBinBuf encoded;
  if (sxASN_DecodeBuf(decoded, chars, static_cast<int>(cert.BufLen())) != 0 ||
      sxASN_EncodeBuf(decoded, encoded, 0) != 0) {
    return false;
  }
  m_octets.assign(encoded.Data(), encoded.Data() + encoded.Len());
  m_fields = sxPlainCert();
  return sxReadPlainCert(m_octets, true, &m_fields);
}

bool sxOcspCertId::Set(const sxCert &cert, const sxCert &issuer) {
  m_hashes.clear();
  return cert.OK() != 0 && issuer.OK() != 0 && cert.Issuer()->Equal(*issuer.Subject()) && m_cert.Read(cert) &&
         m_issuer.Read(issuer);
}

const sxOcspCertId::Hashes &sxOcspCertId::Of(int mdType) {
  for (const auto &[known, hashes] : m_hashes) {
    if (known == mdType) return hashes;
  }
  // RFC 6960, 4.1.1: of the name as the certificate has it, of the key without identifier and length.
  m_hashes.push_back(
      {mdType, {sxOcspDigestOf(mdType, m_cert.IssuerName()), sxOcspDigestOf(mdType, m_issuer.KeyBits())}});
  return m_hashes.back().second;
}
