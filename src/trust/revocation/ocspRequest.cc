// OCSP requests (RFC 6960, 4.1 and A.1).
#include <algorithm>

#include "asn1/der.h"
#include "kxcert/foundation/base64.h"
#include "kxcert/keys/algorithms.h"
#include "kxcert/platform/log.h"
#include "kxcert/platform/random.h"
#include "kxcert/trust/ocsp.h"
#include "platform/owned.h"
#include "trust/revocation/ocspCertId.h"
#include "trust/revocation/ocspOids.h"

namespace {

constexpr char kFunc[] = "sxOcsp_MakeRequest";
constexpr size_t kMaxGetUrlLen = 255;  // RFC 5019, 5

int Fail(const char *why) { return tderrorFunc("OCSP", 1, 0, "%s: %s", kFunc, why), -1; }

// Octets around serial number and hashes are fewer than this.
constexpr size_t kMaxFrameLen = 64 + 2 * size_t{kMaxDigestLen};

//   Request ::= SEQUENCE { reqCert CertID }
bool WriteSubject(sxDerWriter &out, const sxOcspSubject &subject, int mdType) {
  sxOcspCertId id;
  const sxAsnOid *const digest = HashOID_By_MD(mdType);
  if (digest == nullptr || subject.cert == nullptr || subject.issuer == nullptr ||
      !id.Set(*subject.cert, *subject.issuer)) {
    return false;
  }
  const sxOcspCertId::Hashes &hashes = id.Of(mdType);
  if (hashes.name.len == 0 || hashes.key.len == 0) return false;
  const int mark = out.Mark();
  out.Element(kDerInteger, id.Serial());
  out.Element(kDerOctetString, hashes.key.View());
  out.Element(kDerOctetString, hashes.name.View());
  const int behindAlgorithm = out.Mark();
  out.Header(kDerNull, 0);
  out.Element(kDerOid, sxView(digest->Data(), digest->Len()));
  out.Wrap(kDerSequence, behindAlgorithm);
  out.Wrap(kDerSequence, mark);
  out.Wrap(kDerSequence, mark);
  return true;
}

//   requestExtensions [2] { SEQUENCE OF { id-pkix-ocsp-nonce, OCTET STRING { Nonce } } }; RFC 9654, 2.1
void WriteNonce(sxDerWriter &out, sxOctetView nonce) {
  if (nonce.empty()) return;
  const int mark = out.Mark();
  out.Element(kDerOctetString, nonce);
  out.Wrap(kDerOctetString, mark);
  out.Element(kDerOid, kOidOcspNonce);
  out.Wrap(kDerSequence, mark);
  out.Wrap(kDerSequence, mark);
  out.Wrap(DerContextConstructed(2), mark);
}

size_t RoomFor(std::span<const sxOcspSubject> subjects) {
  size_t room = kMaxFrameLen;
  for (const sxOcspSubject &each : subjects) room += kMaxFrameLen + (each.cert != nullptr ? each.cert->BufLen() : 0);
  return room;
}

}  // namespace

int sxOcsp_MakeRequest(std::span<const sxOcspSubject> subjects, const sxOcspPolicy &policy, sxOcspRequest *request) {
  if (request == nullptr || subjects.empty() || subjects.size() > kMaxOcspSubjects)
    return Fail("number of certificates");
  sxOcspRequest made;
  if (policy.nonce != sxOcspNonce::kOff) {
    made.nonce.resize(kOcspNonceLen);
    if (sxrand_gen(made.nonce.data(), kOcspNonceLen) != 0) return Fail("no random octets");
  }
  std::vector<unsigned char> area(RoomFor(subjects));
  sxDerWriter out(area);
  WriteNonce(out, made.nonce);
  const int mark = out.Mark();
  for (size_t i = subjects.size(); i-- > 0;) {
    if (!WriteSubject(out, subjects[i], policy.certIdDigest)) return Fail("a certificate, its issuer or the digest");
  }
  out.Wrap(kDerSequence, mark);
  out.Wrap(kDerSequence);
  out.Wrap(kDerSequence);
  const sxOctetView der = out.Written();
  if (der.empty()) return Fail("it is too long");
  made.der.assign(der.begin(), der.end());
  *request = std::move(made);
  return 0;
}

std::string sxOcsp_GetUrl(const std::string &responderUrl, std::span<const unsigned char> request) {
  if (request.size() >= kMaxGetUrlLen || responderUrl.find_first_of("?#") != std::string::npos) return {};
  const sxOwned<char, Base64FreeBuffer> text(Base64Encode(request.data(), sxLen(request)));
  if (text == nullptr) return {};
  std::string url = responderUrl;
  if (!url.ends_with('/')) url += '/';
  for (const char *at = text.get(); *at != '\0'; ++at) {
    switch (*at) {
      case '\n': break;
      case '+': url += "%2B"; break;
      case '/': url += "%2F"; break;
      case '=': url += "%3D"; break;
      default: url += *at;
    }
  }
  return url.size() <= kMaxGetUrlLen ? url : std::string();
}
