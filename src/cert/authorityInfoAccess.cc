// AuthorityInfoAccessSyntax (RFC 5280, 4.2.2.1).
#include <vector>

#include "kxcert/asn1/modules/PKIX1Implicit88.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/cert/sxGeneralName.h"
#include "kxcert/foundation/textStream.h"
#include "sxExtension_imp.h"
#include "sxGeneralName_imp.h"
#include "sxGeneralNames_imp.h"

class sxAuthorityInfoAccess_imp : public sxExtension_imp {
 public:
  static constexpr const char *kName = "Authority Info Access";

  const char *ExtName() const override { return kName; }
  void Herror() const override { sxExtension_imp::Herror(); }
  void Fprint(FILE *out, int indent) const override { sxExtension_imp::Fprint(out, indent); }
  void Sprint(SxStream *out, int indent) const override;
  sxExtension_imp *Clone() const override { return new sxAuthorityInfoAccess_imp(*this); }
  sxExtension *NewHandle() override {
    return new sxAuthorityInfoAccess(std::unique_ptr<sxAuthorityInfoAccess_imp>(this));
  }

  int Count() const { return static_cast<int>(m_methods.size()); }
  const sxAsnOid *Method(int i) const { return i >= 0 && i < Count() ? &m_methods[static_cast<size_t>(i)] : nullptr; }
  const sxGeneralNames &Locations() const { return m_locations; }
  void Add(const sxAsnOid &method, const sxGeneralName &location);
  void Set(const sxASN_AuthorityInfoAccessSyntax &value);
  [[nodiscard]] bool SetPlain(sxDerReader accesses);  ///< false sends the caller to the codec

 private:
  std::vector<sxAsnOid> m_methods;
  sxGeneralNames m_locations;  // one for each method
};

namespace {

const sxAuthorityInfoAccess_imp &Imp(const sxExtension &ext) {
  return static_cast<const sxAuthorityInfoAccess_imp &>(*ext.GetP());
}

std::string MethodText(const sxAsnOid &method) {
  if (method.OidEquiv(sxASN_id_ad_ocsp)) return "OCSP";
  if (method.OidEquiv(sxASN_id_ad_caIssuers)) return "CA Issuers";
  return sxOidText(method);
}

}  // namespace

void sxAuthorityInfoAccess_imp::Add(const sxAsnOid &method, const sxGeneralName &location) {
  m_methods.push_back(method);
  m_locations.Add(&location);
}

bool sxAuthorityInfoAccess_imp::SetPlain(sxDerReader accesses) {
  sxDerReader access;
  sxOctetView method;
  sxDerElement location;
  while (!accesses.AtEnd()) {
    if (!accesses.Enter(kDerSequence, &access) || !access.Take(kDerOid, &method) || method.empty() ||
        !access.Take(&location) || !access.AtEnd() || !m_locations.GetP()->AppendPlain(location)) {
      return false;
    }
    m_methods.emplace_back().Set(method.data(), sxLen(method));
  }
  return true;
}

void sxAuthorityInfoAccess_imp::Set(const sxASN_AuthorityInfoAccessSyntax &value) {
  m_methods.clear();
  m_locations.GetP()->Clear();
  m_methods.reserve(static_cast<size_t>(value.Count()));
  for (const sxASN_AccessDescription &access : value) {
    m_methods.push_back(*access.accessMethod);
    m_locations.GetP()->Append(*access.accessLocation);
  }
}

void sxAuthorityInfoAccess_imp::Sprint(SxStream *out, int indent) const {
  if (m_methods.empty()) return;
  out->Indent(indent);
  out->Printf("%s:\n", kName);
  for (int i = 0; i < Count(); ++i) {
    out->Indent(indent + 1);
    out->Put(MethodText(*Method(i)));
    out->Put("\n");
    m_locations.Get(i)->Sprint(out, indent + 2);
  }
}

sxExtension *sxParseAuthorityInfoAccess(const sxASN_Extension &ext, int &understood) {
  auto imp = std::make_unique<sxAuthorityInfoAccess_imp>();
  sxDerReader content;
  if (!sxPlainSequence(ext, &content) || !imp->SetPlain(content)) {
    sxASN_AuthorityInfoAccessSyntax value;
    if (sxParseExtension(value, &ext) != 0) return nullptr;
    imp->Set(value);
  }
  understood = 1;
  return imp.release()->NewHandle();
}

sxASN_Extension *sxComposeAuthorityInfoAccess(const sxExtension &ext, int critical) {
  if (!sxExtensionIs(ext, sxAuthorityInfoAccess_imp::kName)) return nullptr;
  const sxAuthorityInfoAccess_imp &imp = Imp(ext);
  sxASN_AuthorityInfoAccessSyntax value;
  for (int i = 0; i < imp.Count(); ++i) {
    sxASN_AccessDescription *access = value.Append();
    access->accessMethod = new sxAsnOid(*imp.Method(i));
    access->accessLocation = new sxASN_GeneralName;
    if (!imp.Locations().Get(i)->GetP()->ToAsn(*access->accessLocation)) return nullptr;
  }
  return sxNewExtension(value, sxASN_id_pe_authorityInfoAccess, critical);
}

sxAuthorityInfoAccess::sxAuthorityInfoAccess() : sxExtension(new sxAuthorityInfoAccess_imp) {}
sxAuthorityInfoAccess::sxAuthorityInfoAccess(std::unique_ptr<sxAuthorityInfoAccess_imp> imp)
    : sxExtension(imp.release()) {}
int sxAuthorityInfoAccess::Count() const { return Imp(*this).Count(); }
const sxAsnOid *sxAuthorityInfoAccess::Method(int i) const { return Imp(*this).Method(i); }
const sxGeneralNames &sxAuthorityInfoAccess::AuthorityInfoAccess() const { return Imp(*this).Locations(); }
void sxAuthorityInfoAccess::Add(const sxAsnOid &method, const sxGeneralName &location) {
  static_cast<sxAuthorityInfoAccess_imp *>(m_imp)->Add(method, location);
}
