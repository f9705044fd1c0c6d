// Trust objects as text.
#include "cert/sxSigned_imp.h"
#include "foundation/textOutput.h"
#include "kxcert/keys/sxPubKey.h"
#include "kxcert/keys/sxPubKey_imp.h"
#include "kxcert/trust/ValidateParams.h"
#include "kxcert/trust/sxCertifiedKey.h"
#include "kxcert/trust/sxKeyHolder.h"
#include "kxcert/trust/sxcert_black_list.h"
#include "trust/sxCertifiedKey_imp.h"
#include "trust/sxKeyHolder_imp.h"
#include "trust/sxOcspServer_imp.h"
#include "trust/sxRootCA_imp.h"

namespace {

void PrintNumber(SxStream *out, int indent, const char *label, int value) {
  out->Indent(indent);
  out->Printf("%s: %d\n", label, value);
}

void PrintFlag(SxStream *out, int indent, const char *text, bool isSet) {
  if (!isSet) return;
  out->Indent(indent);
  out->Printf("%s\n", text);
}

// What a set holds is known by its implementation alone.
void PrintObject(SxStream *out, const sxPKobj &obj, int indent) {
  if (const auto *named = dynamic_cast<const sxPKNamedObj_imp *>(obj.GetP())) return named->Sprint(out, indent);
  if (const auto *server = dynamic_cast<const sxOcspServer_imp *>(obj.GetP())) return server->Sprint(out, indent);
  if (const auto *isSigned = dynamic_cast<const sxSigned_imp *>(obj.GetP())) return isSigned->Sprint(out, indent);
  if (dynamic_cast<const sxPubKey_imp_vc *>(obj.GetP()) != nullptr) {
    return static_cast<const sxPubKey &>(obj).Sprint(out, indent);
  }
  out->Indent(indent);
  out->Puts("Object\n");
}

// The objects of a new iterator, behind a title; nothing when there are none.
template <class Iterator>
void PrintAll(SxStream *out, Iterator *objects, const char *title, int indent) {
  const std::unique_ptr<Iterator> it(objects);
  if (it->Curr() == nullptr) return;
  out->Indent(indent);
  out->Printf("%s:\n", title);
  for (; it->Curr() != nullptr; it->Next()) it->Curr()->Sprint(out, indent + 1);
}

}  // namespace

void sxRootCA_imp::Sprint(SxStream *out, int indent) const {
  sxPKNamedObj_imp::Sprint(out, indent++);
  if (m_cert.get() != nullptr) m_cert.get()->Sprint(out, sxCert_brief, indent);
  out->Indent(indent);
  out->Printf("Validation type: 0x%x\n", m_valType);
  PrintNumber(out, indent, "CA type", m_caType);
  PrintNumber(out, indent, "Purpose", Purpose());
  PrintNumber(out, indent, "CRL-to", m_crlTo);
  PrintNumber(out, indent, "Revocation method", m_revocationMethod);
  PrintFlag(out, indent, "Enterprise CA", m_isMsEnterprise);
  PrintFlag(out, indent, "Fetches users by CN", m_useCN2FetchUser);
  if (m_additionalCerts) m_additionalCerts->Sprint(out, "Additional certificates", sxCert_brief, indent);
  if (m_nameConstraints) m_nameConstraints->Sprint(out, "Name constraints", indent);
  if (m_ocspServers) m_ocspServers->Sprint(out, "OCSP servers", indent);
  if (m_forcedCrlDp) m_forcedCrlDp->Sprint(out, "Forced CRL distribution points", indent);
}

void sxCertifiedKey_imp::Sprint(SxStream *out, int indent) const {
  sxPKNamedObj_imp::Sprint(out, indent++);
  PrintNumber(out, indent, "Purpose", Purpose());
  if (m_root.get() != nullptr) {
    const char *rootName = m_root.get()->Name();
    out->Indent(indent);
    out->Printf("Root CA: %s\n", rootName != nullptr ? rootName : "<no name>");
  }
  m_chain.Sprint(out, "Chain", sxCert_brief, indent);
  if (m_key != nullptr) m_key->Sprint(out, indent);
}

void sxOcspServer_imp::Sprint(SxStream *out, int indent) const {
  const auto shown = [](const sxString &text) { return text.getstr() != nullptr ? text.getstr() : ""; };
  out->Indent(indent);
  out->Printf("OCSP server: %s\n", shown(m_name));
  out->Indent(indent++);
  out->Printf("URL: %s\n", shown(m_url));
  if (m_cert.get() != nullptr) m_cert.get()->Sprint(out, sxCert_brief, indent);
}

void sxOcspServer::Sprint(SxStream *out, int indent) const {
  if (out != nullptr) Imp()->Sprint(out, indent);
}
void sxOcspServer::Fprint(FILE *out, int indent) const { sxFprintOf(*this, out, indent); }
void sxOcspServer::Herror() const { sxHerrorOf(*this, 0); }

void sxPKObjects::Sprint(SxStream *out, const char *title, int indent) const {
  if (out == nullptr || Count() == 0) return;
  if (title != nullptr) {
    out->Indent(indent);
    out->Printf("%s:\n", title);
  }
  for (int i = 0; i < Count(); ++i) PrintObject(out, *Get(i), title != nullptr ? indent + 1 : indent);
}
void sxPKObjects::Fprint(FILE *out, const char *title, int indent) const { sxFprintOf(*this, out, title, indent); }
void sxPKObjects::Herror(const char *title) const { sxHerrorOf(*this, title, 0); }

void sxKeyHolder::Sprint(SxStream *out, int indent) const {
  if (out == nullptr) return;
  PrintAll(out, GetP()->RootCAs(), "Root CAs", indent);
  PrintAll(out, GetP()->CertKeys(), "Certified keys", indent);
}
void sxKeyHolder::Fprint(FILE *out, int indent) const { sxFprintOf(*this, out, indent); }
void sxKeyHolder::Herror() const { sxHerrorOf(*this, 0); }

void ValidateParams::Sprint(SxStream *out, int indent) const {
  if (out == nullptr) return;
  PrintNumber(out, indent, "CRL validation", CRL_validation() ? 1 : 0);
  PrintNumber(out, indent, "OCSP validation", OCSP_validation());
  PrintNumber(out, indent, "Certificate start grace", Cert_start_grace());
  PrintNumber(out, indent, "Certificate end grace", Cert_end_grace());
  PrintNumber(out, indent, "CRL start grace", Crl_start_grace());
  PrintNumber(out, indent, "CRL end grace", Crl_end_grace());
  PrintNumber(out, indent, "Check this update", Check_this_upd() ? 1 : 0);
  PrintNumber(out, indent, "Check next update", Check_next_upd() ? 1 : 0);
  PrintNumber(out, indent, "CRL size validation", CRL_size_validation());
  PrintNumber(out, indent, "Write CRL to web", Write_crl_to_web());
  if (Get_BlackList() != nullptr) PrintNumber(out, indent, "Black list entries", Get_BlackList()->Size());
}
void ValidateParams::Fprint(FILE *out, int indent) const { sxFprintOf(*this, out, indent); }
void ValidateParams::Herror() const { sxHerrorOf(*this, 0); }
