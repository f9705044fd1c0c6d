// The kinds of controls: what each holds, its ASN.1 value, its text.
#include "cert/serialText.h"
#include "cert/sxGeneralName_imp.h"
#include "kxcert/asn1/modules/EnrollmentMessageSyntax.h"
#include "kxcert/asn1/modules/PKIXCRMF.h"
#include "kxcert/cert/sxCert.h"
#include "kxcert/enroll/kxControls.h"
#include "kxcert/foundation/textStream.h"

namespace {

// A peer's text: what is not printable ASCII becomes a full stop, so that it ends neither text nor line.
void PutText(SxStream *out, const std::string &text) {
  std::string visible(text);
  for (char &c : visible) {
    if (c < 0x20 || c > 0x7E) c = '.';
  }
  out->Put(visible);
  out->Put("\n");
}

std::string TextOf(const sxAsnOcts &octets) {
  return {reinterpret_cast<const char *>(octets.Data()), static_cast<size_t>(octets.Len())};
}

template <class Text>
Text NewText(const std::string &from) {
  Text text;
  text.Set(reinterpret_cast<const unsigned char *>(from.data()), static_cast<int>(from.size()));
  return text;
}

}  // namespace

kxCMCStatusInfo::kxCMCStatusInfo(int status, int failInfo, const char *text)
    : m_tree(std::make_unique<sxASN_CMCStatusInfo>()) {
  m_tree->cMCStatus = new sxASN_CMCStatus(status);
  m_tree->bodyList = new sxASN_CMCStatusInfoSeqOf;
  if (text != nullptr) m_tree->statusString = new sxAsnUTF8String(NewText<sxAsnUTF8String>(text));
  if (failInfo < 0) return;
  m_tree->otherInfo = new sxASN_CMCStatusInfoChoice;
  m_tree->otherInfo->Set_failInfo(sxASN_CMCFailInfo(failInfo));
}

kxCMCStatusInfo::kxCMCStatusInfo(const sxASN_CMCStatusInfo &tree)
    : m_tree(std::make_unique<sxASN_CMCStatusInfo>(tree)) {}
kxCMCStatusInfo::kxCMCStatusInfo(const kxCMCStatusInfo &other) : kxCMCStatusInfo(*other.m_tree) {}
kxCMCStatusInfo &kxCMCStatusInfo::operator=(const kxCMCStatusInfo &other) {
  *m_tree = *other.m_tree;
  return *this;
}
kxCMCStatusInfo::~kxCMCStatusInfo() = default;

void kxCMCStatusInfo::AddBodyPart(int bodyPartId) {
  if (m_tree->bodyList == nullptr) m_tree->bodyList = new sxASN_CMCStatusInfoSeqOf;
  m_tree->bodyList->AppendCopy(sxAsnInt(bodyPartId));
}

int kxCMCStatusInfo::CMCStatus() const { return m_tree->cMCStatus == nullptr ? -1 : m_tree->cMCStatus->GetShortVal(); }

int kxCMCStatusInfo::FailInfo() const {
  const sxASN_CMCFailInfo *const info = m_tree->otherInfo == nullptr ? nullptr : m_tree->otherInfo->failInfo();
  return info == nullptr ? -1 : info->GetShortVal();
}

std::string kxCMCStatusInfo::StatusString() const {
  return m_tree->statusString == nullptr ? std::string() : TextOf(*m_tree->statusString);
}

sxAsnType *kxCMCStatusInfo::NewValue() const {
  auto *const values = new sxASN_CMCStatusInfoSetOf;
  values->AppendCopy(*m_tree);
  return values;
}

void kxCMCStatusInfo::Sprint(SxStream *out, int indent) const {
  if (out == nullptr) return;
  out->Indent(indent);
  out->Printf("CMC Status: %d", CMCStatus());
  if (FailInfo() >= 0) out->Printf(", fail info %d", FailInfo());
  out->Put(m_tree->statusString == nullptr ? "" : ", ");
  PutText(out, StatusString());
}

sxAsnType *kxCMCIdentification::NewValue() const {
  auto *const values = new sxASN_IdentificationSetOf;
  values->AppendCopy(NewText<sxAsnUTF8String>(m_name));
  return values;
}

void kxCMCIdentification::Sprint(SxStream *out, int indent) const {
  if (out == nullptr) return;
  out->Indent(indent);
  out->Put("Identification: ");
  PutText(out, m_name);
}

sxAsnType *kxCMCIdentProof::NewValue() const {
  auto *const values = new sxASN_IdentityProofSetOf;
  values->AppendCopy(sxAsnOcts(m_proof.Data(), static_cast<int>(m_proof.Len())));
  return values;
}

void kxCMCIdentProof::Sprint(SxStream *out, int indent) const { m_proof.Sprint(out, "Identity Proof", indent); }

kxOldCertId::kxOldCertId(const sxCert &cert) : m_tree(std::make_unique<sxASN_CertId>()) {
  m_tree->issuer = new sxASN_GeneralName;
  m_tree->issuer->Set_directoryName(*cert.Issuer()->GetName());
  m_tree->serialNumber = new sxAsnInt(*cert.SerialNum());
  m_issuer = sxGeneralName(m_tree->issuer);
}

kxOldCertId::kxOldCertId(const sxASN_CertId &tree)
    : m_tree(std::make_unique<sxASN_CertId>(tree)), m_issuer(m_tree->issuer) {}
kxOldCertId::kxOldCertId(const kxOldCertId &other) : kxOldCertId(*other.m_tree) {}
kxOldCertId &kxOldCertId::operator=(const kxOldCertId &other) {
  *m_tree = *other.m_tree;
  m_issuer = other.m_issuer;
  return *this;
}
kxOldCertId::~kxOldCertId() = default;

const sxAsnInt *kxOldCertId::SerialNum() const { return m_tree->serialNumber; }

sxAsnType *kxOldCertId::NewValue() const { return m_tree->Dup(); }

void kxOldCertId::Sprint(SxStream *out, int indent) const {
  if (out == nullptr) return;
  out->Indent(indent);
  out->Printf("Old Certificate: serial number %s\n", SerialNum() == nullptr ? "" : sxSerialText(*SerialNum()).c_str());
  m_issuer.Sprint(out, indent + 1);
}

kxOtherControl::kxOtherControl(const sxAsnType &value) : m_value(value.Dup()) {}
kxOtherControl::kxOtherControl(const kxOtherControl &other) : kxControl(other), m_value(other.m_value->Dup()) {}
kxOtherControl &kxOtherControl::operator=(const kxOtherControl &other) {
  if (this != &other) m_value.reset(other.m_value->Dup());
  return *this;
}
kxOtherControl::~kxOtherControl() = default;

sxAsnType *kxOtherControl::NewValue() const { return m_value->Dup(); }

void kxOtherControl::Sprint(SxStream *out, int indent) const {
  kxBinBuf octets;
  if (sxASN_EncodeBuf(*m_value, octets, 1) == 0) octets.Sprint(out, "Value", indent);
}
