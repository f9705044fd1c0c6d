// Making certificate request messages.
#include "kxcert/enroll/kxCRMF.h"

#include <memory>

#include "foundation/textOutput.h"
#include "kxCRMF_imp.h"
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/cert/sxCert.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/enroll/passwordMac.h"
#include "kxcert/foundation/textStream.h"
#include "kxcert/keys/algorithms.h"
#include "kxcert/keys/sxPubKey.h"
#include "kxcert/platform/log.h"
#include "kxcert/platform/random.h"

namespace {

constexpr int kSaltLen = 20;  // octets
constexpr int kIterations = 1000;
constexpr int kSignDigestLen = 20;  // octets of the longest digest that is signed

bool IsUsable(const sxPubKey *key) { return key != nullptr && key->OK() != 0; }

// RFC 5758, 3.2: an ECDSA signature's parameters are absent.
sxASN_AlgorithmIdentifier *NewSignatureAlgorithm(const sxAsnOid &oid, bool isEc) {
  sxASN_AlgorithmIdentifier *const algorithm = sx_New_AlgID(oid, nullptr);
  if (!isEc) return algorithm;
  delete algorithm->parameters;
  algorithm->parameters = nullptr;
  return algorithm;
}

// @return null without entropy
std::unique_ptr<sxASN_PBMParameter> NewMacParameters() {
  unsigned char salt[kSaltLen];
  if (sxrand_gen(salt, kSaltLen) != 0) return nullptr;
  auto params = std::make_unique<sxASN_PBMParameter>();
  params->salt = new sxAsnOcts(salt, kSaltLen);
  params->owf = sx_New_AlgID(sxASN_sha1, nullptr);
  params->iterationCount = new sxAsnInt(kIterations);
  params->mac = sx_New_AlgID(sxASN_hmac_sha1, nullptr);
  return params;
}

}  // namespace

bool sxEncodeDer(const sxAsnType &value, kxBinBuf &out) {
  return sxASN_EncodeBuf(const_cast<sxAsnType &>(value), out, 1) == 0;  // encoding changes no value
}

void kxCRMF_imp::FillRequest(sxASN_CertReqMsg &msg) const {
  auto request = std::make_unique<sxASN_CertRequest>();
  request->certReqId = new sxAsnInt(requestId);
  request->certTemplate = new sxASN_CertTemplate(certTemplate.Tree());
  request->controls = controls.NewTree();
  delete msg.certReq;
  msg.certReq = request.release();
}

kxCRMF::kxCRMF() : m_imp(new kxCRMF_imp) {}
kxCRMF::kxCRMF(int requestId, const sxCertTemplate &certTemplate) : kxCRMF() {
  m_imp->requestId.Set(requestId);
  m_imp->certTemplate = certTemplate;
  m_imp->status = kxCRMF_success;
}
kxCRMF::kxCRMF(const kxCRMF &other) : m_imp(new kxCRMF_imp(*other.m_imp)) {}
// NOLINTNEXTLINE(performance-noexcept-move-constructor): takes memory
kxCRMF::kxCRMF(kxCRMF &&other) : kxCRMF() { std::swap(m_imp, other.m_imp); }
kxCRMF &kxCRMF::operator=(const kxCRMF &other) {
  if (this != &other) *this = kxCRMF(other);
  return *this;
}
kxCRMF::~kxCRMF() { delete m_imp; }

int kxCRMF::Status() const { return m_imp->status; }
const sxAsnInt &kxCRMF::RequestId() const { return m_imp->requestId; }
const sxCertTemplate &kxCRMF::CertTemplate() const { return m_imp->certTemplate; }
const kxControlsList &kxCRMF::Controls() const { return m_imp->controls; }
const kxBinBuf &kxCRMF::Signature() const { return m_imp->signature; }

void kxCRMF::SetRequestId(int requestId) { m_imp->requestId.Set(requestId); }
void kxCRMF::AddControl(const sxAsnOid &type, kxControl *control) { m_imp->controls.Add(type, control); }

int kxCRMF::AddOldCertIdControl(const sxCert *oldCert) {
  constexpr const char *kFunc = "kxCRMF::AddOldCertIdControl";
  if (oldCert == nullptr || oldCert->OK() == 0 || oldCert->Issuer() == nullptr ||
      oldCert->Issuer()->GetName() == nullptr) {
    return herror_func(0, 0, "%s: Bad old certificate. Cannot add oldCertId control.", kFunc), -1;
  }
  AddControl(sxASN_id_regCtrl_oldCertID, new kxOldCertId(*oldCert));
  return 0;
}

int kxCRMF::Sign(sx_md_type md, sxPubKey *key, sxAsnBits &out, sxAsnType &value) {
  constexpr const char *kFunc = "kxCRMF::SignTempl";
  const int kind = IsUsable(key) ? key->algorithm() : -1;
  if (kind != sxPK_RSA && kind != sxPK_ECDSA) {
    return herror_func(0, 0, "%s: curretnly work only for RSA and ECDSA (%d)", kFunc, kind), -1;
  }
  if ((key->Flags() & kKeyFlagCanSign) == 0) {
    return herror_func(0, 0, "%s: Key cannot sign (flags = %x)", kFunc, static_cast<unsigned>(key->Flags())), -1;
  }
  kxBinBuf der;
  if (!sxEncodeDer(value, der)) {
    return herror_func(0, 0, "%s: Error while encoding certificate request.", kFunc), -1;
  }
  unsigned char digest[kSignDigestLen];
  const int digestLen = kx_md_len(md);
  if (digestLen > kSignDigestLen || kx_md_hashbuf(md, der.Data(), der.Len(), digest, digestLen) != 0) {
    return herror_func(0, 0, "%s: error digesting", kFunc), -1;
  }
  const int maxLen = key->Sign(sxPKop_digest_alt, md, digest, digestLen, nullptr, 0);
  kxBinBuf signature(maxLen < 1 ? 0 : static_cast<unsigned int>(maxLen));
  const int len = maxLen < 1 ? maxLen : key->Sign(sxPKop_digest_alt, md, digest, digestLen, signature.Data(), maxLen);
  if (len < 1 || len > maxLen) return herror_func(0, 0, "%s: the key did not sign (%d)", kFunc, len), -1;
  out.Set(signature.Data(), len * 8);
  return 0;
}

int kxCRMF::Compute_poposkInput(const kxBinBuf *password, sxASN_POPOSigningKeyInput &out) const {
  constexpr const char *kFunc = "kxCRMF::Compute_poposkInput";
  if (password == nullptr || password->IsEmpty()) return herror_func(0, 0, "%s: No password given.", kFunc), -1;
  const sxASN_SubjectPublicKeyInfo *const key = m_imp->certTemplate.Tree().publicKey;
  kxBinBuf der;
  if (key == nullptr || !sxEncodeDer(*key, der)) {
    return herror_func(0, 0, "%s: Error while encoding sxASN_SubjectPublicKeyInfo. Internal Error", kFunc), -1;
  }
  const std::unique_ptr<sxASN_PBMParameter> params = NewMacParameters();
  kxBinBuf mac;
  if (ComputePasswordBaseMac(params.get(), *password, der.Data(), static_cast<int>(der.Len()), mac) != 0) {
    return herror_func(0, 0, "%s: Failed to ComputePasswordBaseMac.", kFunc), -1;
  }
  sxASN_PKMACValue macValue;
  macValue.algId = sx_New_AlgID(sxASN_id_PasswordBasedMac, params.get());
  macValue.value = new sxAsnBits;
  macValue.value->Set(mac.Data(), static_cast<int>(mac.Len()) * 8);
  sxASN_POPOSigningKeyInput input;
  input.authInfo = new sxASN_POPOSigningKeyInputChoice;
  input.authInfo->Set_publicKeyMAC(macValue);
  input.publicKey = new sxASN_SubjectPublicKeyInfo(*key);
  out = input;
  return 0;
}

int kxCRMF::preparePOP(sx_md_type md, sxPubKey *key, sxASN_CertReqMsg &msg, const kxBinBuf *password) {
  constexpr const char *kFunc = "kxCRMF::preparePOP";
  const sxASN_CertTemplate &wanted = m_imp->certTemplate.Tree();
  sxASN_POPOSigningKey pop;
  if (wanted.subject == nullptr || wanted.publicKey == nullptr) {
    herror_func(0, 0, "%s: No subject or public key in template. Will need to sign over POPOSigningKeyInput.", kFunc);
    pop.poposkInput = new sxASN_POPOSigningKeyInput;
    if (Compute_poposkInput(password, *pop.poposkInput) != 0) {
      herror_func(0, 0, "%s: Failed to compute poposkInput. Will not be able to generate pop over crmf.", kFunc);
      return kxCRMF_internalError;
    }
  }
  const bool isEc = key != nullptr && key->algorithm() == sxPK_ECDSA;
  const sxAsnOid *const algorithm = SignOID_By_MD(md, isEc ? 1 : 0);
  if (algorithm == nullptr) {
    herror_func(0, 0, "%s: couldn't find the oid of md type: %i", kFunc, static_cast<int>(md));
    return kxCRMF_badAlg;
  }
  pop.algorithmIdentifier = NewSignatureAlgorithm(*algorithm, isEc);
  pop.signature = new sxAsnBits;
  sxAsnType *const toBeSigned = pop.poposkInput != nullptr ? static_cast<sxAsnType *>(pop.poposkInput) : msg.certReq;
  if (toBeSigned == nullptr || Sign(md, key, *pop.signature, *toBeSigned) != 0) {
    herror_func(0, 0, "%s: Error while signing CRMF.", kFunc);
    return kxCRMF_internalError;
  }
  auto proof = std::make_unique<sxASN_ProofOfPossession>();
  proof->Set_signature(pop);
  delete msg.popo;
  msg.popo = proof.release();
  return 0;
}

int kxCRMF::Prepare_sxASN_CertReqMsg(sx_md_type md, sxPubKey *key, sxASN_CertReqMsg &msg, const kxBinBuf *password) {
  constexpr const char *kFunc = "kxCRMF::Prepare_sxASN_CertReqMsg";
  if (m_imp->status != kxCRMF_success) {
    herror_func(0, 0, "%s: kxCRMF - is not ok, crmf status - %s. Operation failed.", kFunc,
                CrmfStat2string(m_imp->status));
    return -1;
  }
  if (!m_imp->certTemplate.HasPubKey()) {
    return herror_func(0, 0, "%s: No public key in sxCertTemplate. Operation failed.", kFunc), -1;
  }
  if (!IsUsable(key)) return herror_func(0, 0, "%s: bad key for signature.", kFunc), -1;
  sxASN_CertReqMsg made;
  m_imp->FillRequest(made);
  const int rc = preparePOP(md, key, made, password);
  if (rc != 0) return herror_func(0, 0, "%s: Failed to prepare POP.", kFunc), rc;
  const sxAsnBits &signature = *made.popo->signature()->signature;
  m_imp->signature.Set(signature.Data(), static_cast<unsigned int>(signature.Len()));
  msg = made;
  return 0;
}

int kxCRMF::DerEncode(sx_md_type md, sxPubKey *key, kxBinBuf &out, const kxBinBuf *password) {
  constexpr const char *kFunc = "kxCRMF::DerEncode";
  sxASN_CertReqMsg msg;
  const int rc = Prepare_sxASN_CertReqMsg(md, key, msg, password);
  if (rc != 0) {
    herror_func(0, 0, "%s: kxCRMF status - %s", kFunc, CrmfStat2string(m_imp->status));
    herror_func(0, 0, "%s: Failed to build sxASN_CertReqMsg out of kxCRMF.", kFunc);
    return rc;
  }
  kxBinBuf der;
  if (!sxEncodeDer(msg, der)) {
    herror_func(0, 0, "%s: Error while encoding sxASN_CertReqMsg. Internal Error", kFunc);
    return kxCRMF_internalError;
  }
  out = std::move(der);
  return 0;
}

void kxCRMF::Sprint(SxStream *out, int indent) const {
  if (out == nullptr) return;
  out->Indent(indent);
  out->Puts("Certificate Request Message:\n");
  out->Indent(indent);
  if (m_imp->requestId.IsBig()) {
    out->Printf("request ID - %d octets\n", m_imp->requestId.BigOctets().Len());
  } else {
    out->Printf("request ID - %d\n", m_imp->requestId.GetShortVal());
  }
  if (!m_imp->signature.IsEmpty()) m_imp->signature.Sprint(out, "signature", indent);
  out->Indent(indent);
  out->Printf("CRMF status - %s\n", CrmfStat2string(m_imp->status));
}

void kxCRMF::Fprint(FILE *out, int indent) const { sxFprintOf(*this, out, indent); }
void kxCRMF::Herror() const { sxHerrorOf(*this, 0); }
