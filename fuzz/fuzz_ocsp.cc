// An issuer's certificate, one of its certificates, and a response about that. What is read the codec reads as well,
// and as the same; no judgement depends on what was verified before; what is believed has a signer and an end.
#include <cstdint>
#include <cstring>
#include <memory>

#include "blobs.h"
#include "check.h"
#include "kxcert/asn1/modules/OCSP.h"
#include "kxcert/asn1/sxAsnBuf.h"
#include "kxcert/cert/signatureCache.h"
#include "kxcert/trust/ocsp.h"

namespace {

constexpr uint32_t kMemory = 256;

struct FreeCert {
  void operator()(sxCert *cert) const { sxCert_Free(cert); }
};
using CertRef = std::unique_ptr<sxCert, FreeCert>;

bool Decodes(sxAsnType &as, const uint8_t *octets, size_t len) {
  return sxASN_DecodeBuf(as, reinterpret_cast<const char *>(octets), static_cast<int>(len)) == 0;
}

// The certificates in it are decoded when they are needed, by the codec at once: without them it must agree.
void CheckRead(const uint8_t *octets, size_t len, const sxOcspResponse &response) {
  sxASN_OCSPResponse outer;
  KX_ASSERT(Decodes(outer, octets, len));
  KX_ASSERT((outer.responseBytes == nullptr) == (response.status != 0));
  if (!response.basic || !response.certs.empty()) return;
  const sxAsnOcts &inside = *outer.responseBytes->response;
  sxASN_BasicOCSPResponse basic;
  KX_ASSERT(Decodes(basic, inside.Data(), static_cast<size_t>(inside.Len())));
  const auto &singles = *basic.tbsResponseData->responses;
  KX_ASSERT(static_cast<size_t>(singles.Count()) == response.singles.size());
}

void CheckAnswer(const sxOcspAnswer &answer) {
  KX_ASSERT(std::strcmp(sxOcspResult_GetString(answer.result), sxOcspResult_GetString(-1000)) != 0);
  if (answer.result < sxOcsp_good) return;
  KX_ASSERT(answer.signer != sxOcspSigner::kNone && answer.holdsUntilSec != kOcspNoTime);
  KX_ASSERT((answer.signer == sxOcspSigner::kDelegate) == (answer.signerCert.Count() == 1));
  KX_ASSERT(!answer.signerMustBeChecked || answer.signer == sxOcspSigner::kDelegate);
  KX_ASSERT((answer.result == sxOcsp_revoked) == (answer.revokedSec != kOcspNoTime));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const uint8_t *pos = data;
  const auto [issuer, issuerLen] = NextBlob(&pos, data + size);
  const auto [leaf, leafLen] = NextBlob(&pos, data + size);
  const auto len = static_cast<size_t>(data + size - pos);
  sxOcspResponse response;
  const bool isRead = sxOcspResponse_Read(pos, len, &response) == nullptr;
  if (isRead) CheckRead(pos, len, response);
  const CertRef issuerCert(sxCert_Decode(issuer, static_cast<int>(issuerLen)));
  const CertRef leafCert(sxCert_Decode(leaf, static_cast<int>(leafLen)));
  sxOcspQuestion question;
  question.cert = leafCert.get();
  question.issuer = issuerCert.get();
  question.timeSec = isRead ? response.producedAtSec : 0;
  sxSignatureCache_SetSize(0);
  const sxOcspAnswer first = sxOcsp_Judge(pos, len, question);
  sxSignatureCache_SetSize(kMemory);
  for (int i = 0; i < 2; ++i) KX_ASSERT(sxOcsp_Judge(pos, len, question).result == first.result);
  CheckAnswer(first);
  KX_ASSERT(isRead || first.result < sxOcsp_good);
  const sxOcspSubject subject = {leafCert.get(), issuerCert.get()};
  sxOcspRequest request;
  if (sxOcsp_MakeRequest({&subject, 1}, {}, &request) != 0) return 0;
  sxASN_OCSPRequest made;
  KX_ASSERT(Decodes(made, request.der.data(), request.der.size()));
  return 0;
}
