// SubjectKeyIdentifier and AuthorityKeyIdentifier (RFC 5280, 4.2.1.2 and 4.2.1.1).
#include <optional>

#include "kxcert/asn1/modules/PKIX1Implicit88.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/cert/sxGeneralName.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/foundation/textStream.h"
#include "platform/textForms.h"
#include "serialText.h"
#include "sxExtension_imp.h"
#include "sxGeneralNames_imp.h"

class sxExtKeyID_imp : public sxExtension_imp {
 public:
  static constexpr const char *kSubjectName = "Subject Key Identifier";
  static constexpr const char *kAuthorityName = "Authority Key Identifier";

  explicit sxExtKeyID_imp(sxKeyIdType type) : m_type(type) {}
  sxExtKeyID_imp(sxKeyIdType type, const kxBinBuf &keyId) : m_type(type), m_keyId(keyId) {}

  const char *ExtName() const override { return m_type == sxKeyId_subject ? kSubjectName : kAuthorityName; }
  void Herror() const override { sxExtension_imp::Herror(); }
  void Fprint(FILE *out, int indent) const override { sxExtension_imp::Fprint(out, indent); }
  void Sprint(SxStream *out, int indent) const override;
  sxExtension_imp *Clone() const override { return new sxExtKeyID_imp(*this); }
  sxExtension *NewHandle() override { return new sxExtKeyID(std::unique_ptr<sxExtKeyID_imp>(this)); }

  sxKeyIdType Type() const { return m_type; }
  const kxBinBuf &KeyId() const { return m_keyId; }
  const sxGeneralNames &Issuer() const { return m_issuer; }
  const sxAsnInt *Serial() const { return m_serial ? &*m_serial : nullptr; }

  void SetKeyId(const sxAsnOcts &keyId) { m_keyId.Set(keyId.Data(), static_cast<unsigned>(keyId.Len())); }
  void SetIssuer(const sxGeneralNames &issuer) { m_issuer = issuer; }
  void SetIssuer(const sxASN_GeneralNames &issuer) { m_issuer.Set(&issuer); }
  void SetSerial(const sxAsnInt &serial) { m_serial = serial; }

 private:
  sxKeyIdType m_type;
  kxBinBuf m_keyId;
  sxGeneralNames m_issuer;
  std::optional<sxAsnInt> m_serial;
};

namespace {

const sxExtKeyID_imp &Imp(const sxExtension &ext) { return static_cast<const sxExtKeyID_imp &>(*ext.GetP()); }

void PutHex(SxStream *out, const unsigned char *octets, int len) {
  std::string text;
  for (const unsigned char octet : sxView(octets, len)) kxAppendHex(&(text += ' '), octet);
  out->Puts(text.c_str());
}

void PutSerial(SxStream *out, const sxAsnInt &serial) {
  const std::string digits = sxSerialText(serial);
  for (size_t i = 0; i < digits.size(); i += 2) out->Printf(" %.2s", digits.c_str() + i);
}

}  // namespace

void sxExtKeyID_imp::Sprint(SxStream *out, int indent) const {
  out->Indent(indent);
  out->Printf("%s:\n", ExtName());
  if (!m_keyId.IsEmpty()) {
    out->Indent(indent);
    out->Put("\tKey Id:");
    PutHex(out, m_keyId.Data(), static_cast<int>(m_keyId.Len()));
    out->Put("\n");
  }
  if (m_issuer.Count() > 0) {
    out->Indent(indent);
    out->Put("\tAuthority issuer name:\n");
    m_issuer.Sprint(out, nullptr, indent + 2);
  }
  if (m_serial) {
    out->Indent(indent);
    out->Put("\tAuthority Serial Number:");
    PutSerial(out, *m_serial);
    out->Put("\n");
  }
}

sxExtension *sxParseKeyIdentifier(const sxASN_Extension &ext, int &understood) {
  if (ext.extnID->OidEquiv(sxASN_id_ce_subjectKeyIdentifier)) {
    sxAsnOcts value;
    if (sxParseExtension(value, &ext) != 0) return nullptr;
    auto imp = std::make_unique<sxExtKeyID_imp>(sxKeyId_subject);
    imp->SetKeyId(value);
    understood = 1;
    return imp.release()->NewHandle();
  }
  sxASN_AuthorityKeyIdentifier value;
  if (sxParseExtension(value, &ext) != 0) return nullptr;
  auto imp = std::make_unique<sxExtKeyID_imp>(sxKeyId_authority);
  if (value.keyIdentifier != nullptr) imp->SetKeyId(*value.keyIdentifier);
  if (value.authorityCertIssuer != nullptr) imp->SetIssuer(*value.authorityCertIssuer);
  if (value.authorityCertSerialNumber != nullptr) imp->SetSerial(*value.authorityCertSerialNumber);
  understood = 1;
  return imp.release()->NewHandle();
}

sxASN_Extension *sxComposeSubjectKeyId(const sxExtension &ext, int critical) {
  if (!sxExtensionIs(ext, sxExtKeyID_imp::kSubjectName)) return nullptr;
  const kxBinBuf &keyId = Imp(ext).KeyId();
  sxAsnOcts value(keyId.Data(), static_cast<int>(keyId.Len()));
  return sxNewExtension(value, sxASN_id_ce_subjectKeyIdentifier, critical);
}

sxASN_Extension *sxComposeAuthorityKeyId(const sxExtension &ext, int critical) {
  if (!sxExtensionIs(ext, sxExtKeyID_imp::kAuthorityName)) return nullptr;
  const sxExtKeyID_imp &imp = Imp(ext);
  sxASN_AuthorityKeyIdentifier value;
  if (!imp.KeyId().IsEmpty()) {
    value.keyIdentifier = new sxAsnOcts(imp.KeyId().Data(), static_cast<int>(imp.KeyId().Len()));
  }
  if (imp.Issuer().Count() > 0) {
    value.authorityCertIssuer = new sxASN_GeneralNames;
    if (!imp.Issuer().GetP()->ToAsn(*value.authorityCertIssuer)) return nullptr;
  }
  if (imp.Serial() != nullptr) value.authorityCertSerialNumber = new sxAsnInt(*imp.Serial());
  return sxNewExtension(value, sxASN_id_ce_authorityKeyIdentifier, critical);
}

sxExtKeyID::sxExtKeyID(sxKeyIdType type, const kxBinBuf &keyId) : sxExtension(new sxExtKeyID_imp(type, keyId)) {}
sxExtKeyID::sxExtKeyID(const kxBinBuf &keyId, const sxGeneralNames &issuer, const sxAsnInt *serial)
    : sxExtKeyID(sxKeyId_authority, keyId) {
  auto *imp = static_cast<sxExtKeyID_imp *>(m_imp);
  imp->SetIssuer(issuer);
  if (serial != nullptr) imp->SetSerial(*serial);
}
sxExtKeyID::sxExtKeyID(std::unique_ptr<sxExtKeyID_imp> imp) : sxExtension(imp.release()) {}
sxKeyIdType sxExtKeyID::KIdType() const { return Imp(*this).Type(); }
const kxBinBuf &sxExtKeyID::KIdBuf() const { return Imp(*this).KeyId(); }
const sxGeneralNames &sxExtKeyID::KIdGNs() const { return Imp(*this).Issuer(); }
const sxAsnInt *sxExtKeyID::KIdSN() const { return Imp(*this).Serial(); }
