#include "trust/revocation/ocspSigner.h"

#include <memory>

#include "cert/sxSigned_imp.h"
#include "kxcert/asn1/modules/PKIX1Implicit88.h"
#include "kxcert/cert/sxDN.h"
#include "trust/certPool.h"
#include "trust/revocation/ocspCertId.h"
#include "trust/revocation/ocspOids.h"
#include "trust/sharedRef.h"

namespace {

constexpr size_t kMaxHeaderLen = 6;  // of an element

// What is signed, as a signed object: the same three elements without the certificates, so that there is one way to
// verify.
std::vector<unsigned char> SignedPart(const sxOcspResponse &response) {
  std::vector<unsigned char> area(response.tbsResponseData.size() + response.signatureAlgorithm.size() +
                                  response.signature.size() + kMaxHeaderLen);
  sxDerWriter out(area);
  out.Octets(response.signature);
  out.Octets(response.signatureAlgorithm);
  out.Octets(response.tbsResponseData);
  out.Wrap(kDerSequence);
  const sxOctetView written = out.Written();
  return {written.begin(), written.end()};
}

bool IsForSigningOcsp(const sxCert &cert) {
  const sxExtKeyUsage *const usage = cert.ExtKeyUsage();
  if (usage == nullptr) return false;
  const std::unique_ptr<sxASN_ExtKeyUsageSyntax> purposes(usage->ExtKeyUsage_2_ASN());
  for (const sxAsnOid &purpose : *purposes) {
    if (sxEqual(sxView(purpose.Data(), purpose.Len()), kOidOcspSigning)) return true;
  }
  return false;
}

// RFC 6960, 4.2.2.2.1: the extension is a NULL.
bool NeedsNoCheck(const sxCert &cert) {
  constexpr unsigned char kNull[] = {kDerNull, 0};
  sxOcspFields fields;
  if (!fields.Read(cert)) return false;
  sxPlainExtension each;
  for (sxDerReader all(fields.Extensions()); !all.AtEnd() && sxTakePlainExtension(all, &each);) {
    if (sxEqual(each.oid, kOidOcspNoCheck) && sxEqual(each.value, kNull)) return true;
  }
  return false;
}

// Null, or what keeps a certificate from being the issuer's delegate, its signature apart. That the extended key
// usage must say so itself, any purpose not being enough, is RFC 6960, 4.2.2.2.
const char *FaultOfDelegate(const sxCert &cert, const sxOcspQuestion &question) {
  if (!cert.Issuer()->Equal(*question.issuer->Subject())) return "its signer's certificate is another issuer's";
  if (!IsForSigningOcsp(cert)) return "its signer's certificate is not for OCSP signing";
  if (cert.KeyUsage() != nullptr && cert.HasKeyUsage(sxKU_digitalSignature) == 0) {
    return "its signer's key usage is not digitalSignature";
  }
  if (cert.UnhandledCritExt() != nullptr) return "its signer's certificate has an unknown critical extension";
  if (sxIsOutOfDate(cert, question.timeSec)) return "its signer's certificate is out of date";
  return nullptr;
}

// Looks for the signer, and keeps the best reason there is for not finding one.
class Search {
 public:
  Search(const sxOcspResponse &response, const sxOcspQuestion &question, sxOcspAnswer *answer)
      : m_response(response),
        m_question(question),
        m_answer(answer),
        m_octets(SignedPart(response)),
        m_signed(m_octets.data(), static_cast<unsigned int>(m_octets.size())),
        m_name(response.responderName.empty() ? sxDN()
                                              : sxDN(response.responderName.data(), sxLen(response.responderName))) {
    answer->why = "none of the certificates is its responder's";
  }

  sxOcspResult Run() {
    if (m_question.responder != nullptr && TryConfigured(*m_question.responder)) {
      return Found(sxOcspSigner::kConfigured, *m_question.responder);
    }
    if (IsResponder(*m_question.issuer) && Verifies(*m_question.issuer)) {
      return Found(sxOcspSigner::kIssuer, *m_question.issuer);
    }
    for (const sxOcspOctets &octets : m_response.certs) {
      const auto cert = SharedRef<sxCert>::Adopt(new sxCert(octets.data(), static_cast<unsigned int>(octets.size())));
      if (cert->OK() != 0 && IsResponder(*cert) && TryDelegate(*cert)) return Found(sxOcspSigner::kDelegate, *cert);
    }
    if (m_sawSigner) m_answer->why = "";
    return m_sawSigner ? sxOcsp_badSignature : sxOcsp_notAuthorized;
  }

 private:
  bool IsResponder(const sxCert &cert) const {
    if (!m_response.responderName.empty()) return cert.Subject()->Equal(m_name);
    sxOcspFields fields;
    return fields.Read(cert) &&
           sxEqual(sxOcspDigestOf(sx_md_sha1, fields.KeyBits()).View(), m_response.responderKeyHash);
  }

  bool HasVerificationLeft() {
    if (m_numVerified == kMaxOcspVerifications) m_answer->why = "too many certificates might be its signer's";
    return m_numVerified++ < kMaxOcspVerifications;
  }

  // By one who may sign.
  bool Verifies(const sxCert &signer) {
    if (!HasVerificationLeft()) return false;
    m_sawSigner = true;
    return m_signed.VerifySig(signer.PubKey()) == 0;
  }

  bool TryConfigured(const sxCert &cert) {
    if (cert.OK() == 0 || !IsResponder(cert)) return false;
    if (!sxIsOutOfDate(cert, m_question.timeSec)) return Verifies(cert);
    m_answer->why = "the configured certificate is out of date";
    return false;
  }

  bool TryDelegate(const sxCert &cert) {
    if (const char *const fault = FaultOfDelegate(cert, m_question); fault != nullptr) {
      m_answer->why = fault;
      return false;
    }
    if (!HasVerificationLeft()) return false;
    if (cert.VerifySig(m_question.issuer->PubKey()) == 0) return Verifies(cert);
    m_answer->why = "its signer's certificate is not signed by the issuer";
    return false;
  }

  sxOcspResult Found(sxOcspSigner signer, sxCert &cert) {
    m_answer->why = "";
    m_answer->signer = signer;
    if (signer != sxOcspSigner::kIssuer) AddReference(m_answer->signerCert, &cert);
    m_answer->signerMustBeChecked = signer == sxOcspSigner::kDelegate && !NeedsNoCheck(cert);
    return sxOcsp_good;
  }

  const sxOcspResponse &m_response;
  const sxOcspQuestion &m_question;
  sxOcspAnswer *const m_answer;
  const std::vector<unsigned char> m_octets;
  const sxSigned_imp m_signed;
  const sxDN m_name;
  int m_numVerified = 0;
  bool m_sawSigner = false;
};

}  // namespace

sxOcspResult sxOcsp_FindSigner(const sxOcspResponse &response, const sxOcspQuestion &question, sxOcspAnswer *answer) {
  return Search(response, question, answer).Run();
}
