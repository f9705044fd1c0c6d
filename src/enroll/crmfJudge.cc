// Judging certificate request messages.
#include <utility>

#include "keys/subjectPublicKey.h"
#include "kxCRMF_imp.h"
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/enroll/passwordMac.h"
#include "kxcert/foundation/sxString.h"
#include "kxcert/keys/algorithms.h"
#include "kxcert/keys/sxPubKey.h"
#include "kxcert/platform/log.h"
#include "platform/owned.h"

/// Why a message is refused.
struct CrmfRefusal {
  int status;
  const char *text;                                   // for who asked, line breaks included
  void (*log)(const char *func, const char *status);  // null: nothing but the text
};

namespace {

using Key = sxOwned<sxPubKey, sxFreePubKey>;

// One text, one line: whoever searches for one finds it whole.
// clang-format off
constexpr CrmfRefusal kNoMessage = {kxCRMF_internalError,
    "Failed to decode the buffer into sxASN_CertReqMsg. Internal Error.", nullptr};
constexpr CrmfRefusal kNotEncodable = {kxCRMF_internalError,
    "Bad request. \nThe Internal CA failed to interpret the certificate application. (Error no. -112).", nullptr};
constexpr CrmfRefusal kNoRequest = {kxCRMF_badRequest,
    "Bad request. \nThe Internal CA failed to interpret the certificate application. (Error no. -108).", nullptr};
constexpr CrmfRefusal kNoProof = {kxCRMF_noPop,
    "Illegal certificate application. \nApplication's signature is missing. \nInternal CA cannot issue the certificate. (Error no. -110).",
    [](const char *func, const char *status) { herror_func(0, 0, "%s: No proof of possesion in CRMF. %s", func, status); }};
constexpr CrmfRefusal kNoSignature = {kxCRMF_noPop,
    "Illegal certificate application. \nApplication's signature is missing. \nInternal CA cannot issue the certificate. (Error no. -111).",
    [](const char *func, const char *status) { herror_func(0, 0, "%s: Proof of possession does not contain signature. %s", func, status); }};
constexpr CrmfRefusal kNoAlgorithm = {kxCRMF_badAlg,
    "Illegal certificate application. \nSignature algorithm identifier is missing.",
    [](const char *func, const char *status) { herror_func(0, 0, "%s: No Algorithm identifier for the signature, in CRMF. %s", func, status); }};
constexpr auto kLogUnsupported = [](const char *func, const char *status) {
  herror_func(0, 0, "%s: Unsupported algorithm for the signature verificataion. %s", func, status);
};
constexpr CrmfRefusal kNotRsa = {kxCRMF_badAlg,
    "Internal CA supports only RSA signature algorithm. \nFailed to create certificate. (Error no. -109).", kLogUnsupported};
constexpr CrmfRefusal kDsa = {kxCRMF_badAlg,
    "Internal CA does not support DSA signature algorithm. \nFailed to create certificate.", kLogUnsupported};
constexpr CrmfRefusal kNotRsaKey = {kxCRMF_badAlg,
    "Internal CA supports only RSA signature algorithm. \nFailed to create certificate. (Error no. -113).", kLogUnsupported};
constexpr CrmfRefusal kNoKey = {kxCRMF_noSerialSubjectOrKey,
    "Illegal certificate application.\nThe certificate application does not contain key.\nInternal CA cannot issue the certificate.", nullptr};
constexpr CrmfRefusal kNotVerified = {kxCRMF_popFailed,
    "Internal CA failed to create the certificate. \nThe authorization code was not verified. \nEnter your authorization code again. (Error no. -114).",
    [](const char *func, const char *status) { herror_func(0, 0, "%s: Failed to verify the signature over the CRMF. %s", func, status); }};
// clang-format on
constexpr CrmfRefusal kNothingRead = {kxCRMF_uninitialized, "", nullptr};

// RFC 4055, 5, has them be NULL; absent ones are read, too. No signature covers them.
bool HasNoParameters(const sxASN_AlgorithmIdentifier &algorithm) {
  static constexpr unsigned char kNull[] = {kDerNull, 0};
  kxBinBuf der;
  return algorithm.parameters == nullptr ||
         (sxEncodeDer(*algorithm.parameters, der) && sxEqual({der.Data(), der.Len()}, kNull));
}

// Null: it can be verified here.
const CrmfRefusal *WrongAlgorithm(const sxASN_AlgorithmIdentifier *algorithm) {
  if (algorithm == nullptr || algorithm->algorithm == nullptr) return &kNoAlgorithm;
  switch (AlgType_By_SignOID(*algorithm->algorithm)) {
    case sxPK_RSA: {
      const bool known = MdType_By_SignOID(*algorithm->algorithm) != sx_md_unknown && HasNoParameters(*algorithm);
      return known ? nullptr : &kNotRsa;
    }
    case sxPK_DSA: return &kDsa;
    default: return &kNotRsa;
  }
}

bool AreSame(const sxAsnType &a, const sxAsnType &b) {
  kxBinBuf first, second;
  return sxEncodeDer(a, first) && sxEncodeDer(b, second) && first.Equal(second);
}

// What stands in for a template without a subject. Beside one the signature has to cover the template: else whoever
// carries the message could write another subject into it.
bool IsSound(const sxASN_POPOSigningKeyInput &input, const sxASN_CertTemplate &wanted) {
  if (wanted.subject != nullptr) return false;
  if (input.publicKey == nullptr || input.authInfo == nullptr || input.authInfo->publicKeyMAC() == nullptr) {
    return false;
  }
  if (wanted.publicKey != nullptr && !AreSame(*wanted.publicKey, *input.publicKey)) return false;
  return sxSoundPasswordMac(*input.authInfo->publicKeyMAC()) != nullptr;
}

// The key that the proof is about, lent; null when there is none.
const sxASN_SubjectPublicKeyInfo *KeyOf(const sxASN_CertTemplate &wanted, const sxASN_POPOSigningKeyInput *input) {
  if (wanted.publicKey != nullptr) return wanted.publicKey;
  return input == nullptr ? nullptr : input->publicKey;
}

}  // namespace

void kxCRMF_imp::Read(const sxASN_CertRequest &request) {
  if (request.certReqId != nullptr) requestId = *request.certReqId;
  certTemplate.Set(request.certTemplate);
  controls.Set(request.controls);
}

const CrmfRefusal *kxCRMF_imp::Judge(const sxASN_CertReqMsg &msg, sxOctetView received) {
  const bool hasRequest = msg.certReq != nullptr && msg.certReq->certTemplate != nullptr;
  if (hasRequest) Read(*msg.certReq);
  // What is verified are the octets that encoding gives. Were others received, some of them could change without
  // breaking the signature.
  kxBinBuf der;
  if (!sxEncodeDer(msg, der)) return &kNotEncodable;
  if (!received.empty() && !sxEqual(received, {der.Data(), der.Len()})) return &kNotEncodable;
  if (!hasRequest) return &kNoRequest;
  if (msg.popo == nullptr || msg.popo->Value() == nullptr) return &kNoProof;
  const sxASN_POPOSigningKey *const pop = msg.popo->signature();
  if (pop == nullptr) return &kNoSignature;
  if (const CrmfRefusal *const wrong = WrongAlgorithm(pop->algorithmIdentifier)) return wrong;
  CrmfProof made;
  made.mdType = MdType_By_SignOID(*pop->algorithmIdentifier->algorithm);
  if (pop->poposkInput != nullptr) made.input = *pop->poposkInput;
  const sxAsnType &isSigned =
      pop->poposkInput != nullptr ? static_cast<const sxAsnType &>(*pop->poposkInput) : *msg.certReq;
  if (!sxEncodeDer(isSigned, made.octets)) return &kNotEncodable;
  proof = std::move(made);
  const sxAsnBits *const bits = pop->signature;
  const bool whole = bits != nullptr && bits->BitLen() % 8 == 0;
  if (whole) signature.Set(bits->Data(), static_cast<unsigned int>(bits->Len()));
  return VerifySig(signature.Data(), static_cast<int>(signature.Len()));
}

const CrmfRefusal *kxCRMF_imp::VerifySig(const unsigned char *sig, int len) const {
  if (!proof) return &kNothingRead;
  const sxASN_CertTemplate &wanted = certTemplate.Tree();
  const sxASN_POPOSigningKeyInput *const input = proof->input ? &*proof->input : nullptr;
  const sxASN_SubjectPublicKeyInfo *const spki = KeyOf(wanted, input);
  const Key key(spki == nullptr ? nullptr : sxPubKey_FromSPKI(*spki, nullptr));
  if (key == nullptr) return &kNoKey;
  if (key->algorithm() != sxPK_RSA) return &kNotRsaKey;
  if (sig == nullptr || len < 1 || (input != nullptr && !IsSound(*input, wanted))) return &kNotVerified;
  unsigned char digest[kMaxDigestLen];
  const int digestLen = kx_md_len(proof->mdType);
  if (kx_md_hashbuf(proof->mdType, proof->octets.Data(), proof->octets.Len(), digest, digestLen) != 0) {
    return &kNotVerified;
  }
  const auto md = static_cast<sx_md_type>(proof->mdType);
  return key->Verify(sxPKop_digest_alt, md, digest, digestLen, sig, len) == 0 ? nullptr : &kNotVerified;
}

int kxCRMF_imp::Take(const char *func, const sxASN_CertReqMsg &msg, sxOctetView received, sxString &errText) {
  return Answer(func, Judge(msg, received), errText);
}

int kxCRMF_imp::Answer(const char *func, const CrmfRefusal *why, sxString &errText) {
  status = why == nullptr ? static_cast<int>(kxCRMF_success) : why->status;
  errText = why == nullptr ? "" : why->text;
  if (why == nullptr) return 0;
  if (why->log != nullptr) why->log(func, CrmfStat2string(status));
  herror_func(0, 0, "%s: %s", func, why->text);
  return -1;
}

int kxCRMF::Set(const sxASN_CertReqMsg &msg, sxString &errText) {
  kxCRMF read;
  const int rc = read.m_imp->Take("kxCRMF::Set", msg, {}, errText);
  *this = std::move(read);
  return rc;
}

int kxCRMF::DerDecode(const unsigned char *der, int len, sxString &errText) {
  constexpr const char *kFunc = "kxCRMF::DerDecode";
  kxCRMF read;
  sxASN_CertReqMsg msg;
  int rc = -1;
  if (der == nullptr || len <= 0 || sxASN_DecodeBuf(msg, reinterpret_cast<const char *>(der), len) != 0) {
    rc = read.m_imp->Answer(kFunc, &kNoMessage, errText);
  } else if (rc = read.m_imp->Take(kFunc, msg, sxView(der, len), errText); rc != 0) {
    herror_func(0, 0, "%s: Failed to set sxASN_CertReqMsg.", kFunc);
  }
  *this = std::move(read);
  return rc;
}

int kxCRMF::VerifySig(const unsigned char *sig, int len) const {
  const CrmfRefusal *const why = m_imp->VerifySig(sig, len);
  return why == nullptr ? kxCRMF_success : why->status;
}

bool kxCRMF::HasPasswordMac() const { return m_imp->status == kxCRMF_success && m_imp->proof && m_imp->proof->input; }

int kxCRMF::VerifyPasswordMac(const kxBinBuf &password) const {
  if (!HasPasswordMac()) return -1;
  const sxASN_POPOSigningKeyInput &input = *m_imp->proof->input;
  const sxASN_PKMACValue &mac = *input.authInfo->publicKeyMAC();
  kxBinBuf key, expected;
  expected.SetSensitive(true);  // compared in constant time
  if (!sxEncodeDer(*input.publicKey, key) || ComputePasswordBaseMac(sxSoundPasswordMac(mac), password, key.Data(),
                                                                    static_cast<int>(key.Len()), expected) != 0) {
    return -1;
  }
  return expected.Equal(kxBinBuf(mac.value->Data(), static_cast<unsigned int>(mac.value->Len()))) ? 0 : -1;
}
