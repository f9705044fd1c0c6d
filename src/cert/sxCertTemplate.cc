#include "kxcert/cert/sxCertTemplate.h"

#include <algorithm>
#include <cctype>
#include <memory>
#include <string>

#include "foundation/textOutput.h"
#include "keys/subjectPublicKey.h"
#include "kxcert/cert/certTime.h"
#include "kxcert/cert/sxCert.h"
#include "kxcert/cert/sxCertRequest.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/foundation/sxString.h"
#include "kxcert/foundation/textStream.h"
#include "kxcert/keys/keyForms.h"
#include "kxcert/platform/log.h"
#include "serialText.h"
#include "sxCertTemplate_imp.h"
#include "sxExtension_imp.h"

namespace {

constexpr int kVersion3 = 2;                        // as it is encoded
constexpr int64_t kFirstGeneralized = 2524608000;   // 2050-01-01 00:00 UTC: RFC 5280, 4.1.2.5
constexpr int64_t kLastGeneralized = 253402300799;  // 9999-12-31 23:59:59 UTC: four digits are no more

template <class T>
T *CopyOrNull(const T *value) {
  return value == nullptr ? nullptr : static_cast<T *>(value->Dup());
}

template <class T>
void Replace(T *&slot, T *value) {
  delete slot;
  slot = value;
}

sxASN_Time *NewTime(int64_t seconds) {
  if (seconds < 0 || seconds > kLastGeneralized) return nullptr;
  std::string text = sxTimeText(seconds).getstr();  // "2030-01-31 23:59:59 UTC"
  std::erase_if(text, [](unsigned char c) { return std::isdigit(c) == 0; });
  text += 'Z';
  auto *time = new sxASN_Time;
  if (seconds < kFirstGeneralized) {
    sxAsnUTCTime utc;
    utc.Set(text.c_str() + 2);
    time->Set_utcTime(utc);
  } else {
    sxAsnGeneralizedTime general;
    general.Set(text.c_str());
    time->Set_generalTime(general);
  }
  return time;
}

sxASN_OptionalValidity *NewValidity(const sxASN_Time *notBefore, const sxASN_Time *notAfter) {
  if (notBefore == nullptr && notAfter == nullptr) return nullptr;
  auto *validity = new sxASN_OptionalValidity;
  validity->notBefore = CopyOrNull(notBefore);
  validity->notAfter = CopyOrNull(notAfter);
  return validity;
}

int VersionOf(const sxASN_CertTemplate &tree) {
  if (tree.version == nullptr || tree.version->IsBig()) return 0;
  const int encoded = tree.version->GetShortVal();
  return encoded < 0 || encoded > kVersion3 ? 0 : encoded + 1;
}

int Seconds(const sxASN_Time *time) { return time == nullptr ? -1 : sxASN_Time2time(time); }

template <class Tree>
bool Decode(Tree &tree, const unsigned char *octets, int len) {
  return sxASN_DecodeBuf(tree, reinterpret_cast<const char *>(octets), len) == 0;
}

// A list with one extension in the place of all of its type, or of none; null when nothing is left.
sxASN_Extensions *WithExtension(const sxASN_Extensions *from, const sxAsnOid &type, const sxASN_Extension *ext) {
  auto made = std::make_unique<sxASN_Extensions>();
  const auto add = [&made, &ext] {
    if (ext != nullptr) made->AppendCopy(*std::exchange(ext, nullptr));
  };
  if (from != nullptr) {
    for (const sxASN_Extension &known : *from) {
      if (known.extnID == nullptr || !known.extnID->OidEquiv(type)) {
        made->AppendCopy(known);
      } else {
        add();
      }
    }
  }
  add();
  return made->Count() == 0 ? nullptr : made.release();
}

void PrintTime(SxStream *out, int indent, const char *label, const sxASN_Time *time) {
  if (time == nullptr) return;
  const int seconds = sxASN_Time2time(time);
  out->Indent(indent);
  out->Printf("%s%s\n", label, seconds < 0 ? "?" : sxTimeText(seconds).getstr());
}

void PrintName(SxStream *out, int indent, const char *label, const sxDN *name) {
  if (name == nullptr) return;
  const char *const text = name->GetStr_ascii();
  out->Indent(indent);
  out->Printf("%s: %s\n", label, text == nullptr ? "" : text);
}

}  // namespace

sxCertTemplate_imp::sxCertTemplate_imp(const sxASN_CertTemplate &tree) : m_tree(tree) {
  if (m_tree.subject != nullptr) m_subject.emplace(m_tree.subject);
  if (m_tree.issuer != nullptr) m_issuer.emplace(m_tree.issuer);
  if (m_tree.publicKey != nullptr) m_key.reset(sxPubKey_FromSPKI(*m_tree.publicKey, nullptr));
  m_unhandled = m_extensions.Parse(m_tree.extensions, Get_ExtParserTable());
}

void sxCertTemplate_imp::Sprint(SxStream *out, int indent) const {
  if (out == nullptr) return;
  out->Indent(indent);
  out->Puts("Certificate Template:\n");
  if (m_tree.version != nullptr) {
    out->Indent(indent);
    out->Printf("Version: %d\n", VersionOf(m_tree));
  }
  if (m_tree.serialNumber != nullptr) {
    out->Indent(indent);
    out->Printf("Serial Number: %s\n", sxSerialText(*m_tree.serialNumber).c_str());
  }
  PrintName(out, indent, "Issuer", Issuer());
  PrintName(out, indent, "Subject", Subject());
  if (m_tree.validity != nullptr) {
    PrintTime(out, indent, "Not valid before: ", m_tree.validity->notBefore);
    PrintTime(out, indent, "Not valid after:  ", m_tree.validity->notAfter);
  }
  PrintKey(out, indent);
  PrintExtensions(out, indent);
}

void sxCertTemplate_imp::PrintKey(SxStream *out, int indent) const {
  if (m_tree.publicKey == nullptr) return;
  out->Indent(indent);
  if (m_key == nullptr) return out->Puts("Public key: not usable\n");
  out->Printf("Public key: %s (%d bits)\n", m_key->algorithm() == sxPK_RSA ? "RSA" : "ECDSA",
              sxPubKey_NumBits(m_key.get()));
}

// The list holds some of the tree's extensions, in the same order.
void sxCertTemplate_imp::PrintExtensions(SxStream *out, int indent) const {
  m_extensions.Sprint(out, indent);
  if (m_tree.extensions == nullptr) return;
  const sxExtensionsList::ExtItem *known = m_extensions.First();
  for (const sxASN_Extension &ext : *m_tree.extensions) {
    if (ext.extnID == nullptr) continue;
    if (known != nullptr && known->oid->OidEquiv(*ext.extnID)) {
      known = known->next;
      continue;
    }
    out->Indent(indent);
    out->Printf("%sExtension %s\n", ext.critical != nullptr && ext.critical->Value() == 1 ? "Critical " : "",
                sxOidText(*ext.extnID).c_str());
  }
}

sxCertTemplate::sxCertTemplate() : m_imp(new sxCertTemplate_imp) {}
sxCertTemplate::sxCertTemplate(const sxCertTemplate &other) : m_imp(new sxCertTemplate_imp(*other.m_imp)) {}
// NOLINTNEXTLINE(performance-noexcept-move-constructor): takes memory
sxCertTemplate::sxCertTemplate(sxCertTemplate &&other) : sxCertTemplate() { std::swap(m_imp, other.m_imp); }
sxCertTemplate::~sxCertTemplate() { delete m_imp; }

sxCertTemplate &sxCertTemplate::operator=(const sxCertTemplate &other) {
  if (this != &other) Set(&other.Tree());
  return *this;
}

// The new one is made before the old one goes: the tree may be a part of it.
int sxCertTemplate::Set(const sxASN_CertTemplate *tree) {
  if (tree == nullptr) return herror_func(0, 0, "sxCertTemplate::Set: no template"), -1;
  auto *const imp = new sxCertTemplate_imp(*tree);
  delete m_imp;
  m_imp = imp;
  return 0;
}

int sxCertTemplate::Set(const sxCert *cert) {
  sxASN_Certificate decoded;
  if (cert == nullptr || cert->OK() == 0 || !Decode(decoded, cert->GetBuf(), static_cast<int>(cert->BufLen()))) {
    return herror_func(0, 0, "sxCertTemplate::Set: no usable certificate"), -1;
  }
  const sxASN_TBSCertificate &body = *decoded.tbsCertificate;
  sxASN_CertTemplate tree;
  if (cert->Version() == kVersion3 + 1) (tree.version = new sxASN_Version)->Set(kVersion3);
  tree.serialNumber = new sxAsnInt(*body.serialNumber);
  tree.issuer = CopyOrNull(body.issuer);
  tree.validity = NewValidity(body.validity->notBefore, body.validity->notAfter);
  tree.subject = CopyOrNull(body.subject);
  tree.publicKey = CopyOrNull(body.subjectPublicKeyInfo);
  tree.extensions = CopyOrNull(body.extensions);
  return Set(&tree);
}

int sxCertTemplate::Set(const sxCertRequest *request) {
  constexpr const char *kFunc = "sxCertTemplate::Set";
  if (request == nullptr || request->OK() == 0) return herror_func(0, 0, "%s: no usable request", kFunc), -1;
  if (request->VerifySig() != 0) return herror_func(0, 0, "%s: not signed with its own key", kFunc), -1;
  sxASN_CertTemplate tree;
  tree.subject = CopyOrNull(request->Subject()->GetName());
  tree.extensions = CopyOrNull(request->AllExtensions());
  kxBinBuf der;
  tree.publicKey = new sxASN_SubjectPublicKeyInfo;
  if (sxExportKeyInfo(request->PubKey(), false, der) != 0 ||
      !Decode(*tree.publicKey, der.Data(), static_cast<int>(der.Len()))) {
    return herror_func(0, 0, "%s: the key has no public form", kFunc), -1;
  }
  return Set(&tree);
}

int sxCertTemplate::SetFromRequest(const unsigned char *der, int len) {
  const sxOwned<sxCertRequest, sxCertRequest_Free> request(sxCertRequest_Decode(der, len));
  return request == nullptr ? -1 : Set(request.get());
}

void sxCertTemplate::SetSubject(const sxDN *subject) {
  sxASN_CertTemplate tree(Tree());
  Replace(tree.subject, subject == nullptr ? nullptr : CopyOrNull(subject->GetName()));
  Set(&tree);
}

void sxCertTemplate::SetIssuer(const sxDN *issuer) {
  sxASN_CertTemplate tree(Tree());
  Replace(tree.issuer, issuer == nullptr ? nullptr : CopyOrNull(issuer->GetName()));
  Set(&tree);
}

void sxCertTemplate::SetSerialNum(const sxAsnInt *serial) {
  sxASN_CertTemplate tree(Tree());
  Replace(tree.serialNumber, CopyOrNull(serial));
  Set(&tree);
}

int sxCertTemplate::SetValidity(int64_t notBefore, int64_t notAfter) {
  const std::unique_ptr<sxASN_Time> first(NewTime(notBefore)), last(NewTime(notAfter));
  sxASN_CertTemplate tree(Tree());
  Replace(tree.validity, NewValidity(first.get(), last.get()));
  Set(&tree);
  if (std::max(notBefore, notAfter) <= kLastGeneralized) return 0;
  return herror_func(0, 0, "sxCertTemplate::SetValidity: beyond the year 9999"), -1;
}

int sxCertTemplate::SetPubKey(sxPubKey *key) {
  sxASN_SubjectPublicKeyInfo spki;
  kxBinBuf der;
  if (key != nullptr &&
      (sxExportKeyInfo(key, false, der) != 0 || !Decode(spki, der.Data(), static_cast<int>(der.Len())))) {
    return herror_func(0, 0, "sxCertTemplate::SetPubKey: the key has no public form"), -1;
  }
  sxASN_CertTemplate tree(Tree());
  Replace(tree.publicKey, key == nullptr ? nullptr : CopyOrNull(&spki));
  return Set(&tree);
}

int sxCertTemplate::SetExtensions(const sxExtensionsList *extensions) {
  sxASN_Extensions *composed = nullptr;
  if (extensions != nullptr && extensions->Compose(sxTemplateExtComposerTable(), &composed) != 0) return -1;
  sxASN_CertTemplate tree(Tree());
  Replace(tree.extensions, composed);
  return Set(&tree);
}

int sxCertTemplate::SetExtension(const sxAsnOid &type, bool critical, const unsigned char *value, int len) {
  if (value == nullptr || len < 1 || type.Len() < 1) {
    return herror_func(0, 0, "sxCertTemplate::SetExtension: no octets"), -1;
  }
  sxASN_Extension ext;
  ext.extnID = new sxAsnOid(type);
  if (critical) ext.critical = new sxAsnBool(1);
  ext.extnValue = new sxAsnOcts(value, len);
  sxASN_CertTemplate tree(Tree());
  Replace(tree.extensions, WithExtension(tree.extensions, type, &ext));
  return Set(&tree);
}

int sxCertTemplate::SetExtension(const sxAsnOid &type, bool critical, const sxExtension &ext) {
  const sxExtComposer *row = sxTemplateExtComposerTable();
  while (row->oid != nullptr && !row->oid->OidEquiv(type)) ++row;
  const std::unique_ptr<sxASN_Extension> made(row->oid == nullptr ? nullptr : row->compose(ext, critical ? 1 : 0));
  if (made == nullptr) {
    return herror_func(0, 0, "sxCertTemplate::SetExtension: can't compose extension of type: %s", ext.ExtName()), -1;
  }
  return SetExtension(type, critical, made->extnValue->Data(), made->extnValue->Len());
}

void sxCertTemplate::RemoveExtension(const sxAsnOid &type) {
  sxASN_CertTemplate tree(Tree());
  Replace(tree.extensions, WithExtension(tree.extensions, sxAsnOid(type), nullptr));
  Set(&tree);
}

void sxCertTemplate::SetVersion(int version) {
  sxASN_CertTemplate tree(Tree());
  const bool isKnown = version >= 1 && version <= kVersion3 + 1;
  Replace(tree.version, isKnown ? new sxASN_Version : nullptr);
  if (isKnown) tree.version->Set(version - 1);
  Set(&tree);
}

int sxCertTemplate::Fill(sxASN_CertTemplate *out) const { return out == nullptr ? -1 : out->CopyFrom(Tree()); }

const sxASN_CertTemplate &sxCertTemplate::Tree() const { return m_imp->Tree(); }
const sxDN *sxCertTemplate::Subject() const { return m_imp->Subject(); }
const sxDN *sxCertTemplate::Issuer() const { return m_imp->Issuer(); }
const sxAsnInt *sxCertTemplate::SerialNum() const { return Tree().serialNumber; }
sxPubKey *sxCertTemplate::PubKey() const { return m_imp->PubKey(); }
bool sxCertTemplate::HasPubKey() const { return Tree().publicKey != nullptr; }
int sxCertTemplate::Version() const { return VersionOf(Tree()); }
int sxCertTemplate::notBefore() const { return Tree().validity == nullptr ? -1 : Seconds(Tree().validity->notBefore); }
int sxCertTemplate::notAfter() const { return Tree().validity == nullptr ? -1 : Seconds(Tree().validity->notAfter); }
const sxExtensionsList &sxCertTemplate::Extensions() const { return m_imp->Extensions(); }
const sxAsnOid *sxCertTemplate::UnhandledCritExt() const { return m_imp->UnhandledCritExt(); }

void sxCertTemplate::Sprint(SxStream *out, int indent) const { m_imp->Sprint(out, indent); }
void sxCertTemplate::Fprint(FILE *out, int indent) const { sxFprintOf(*this, out, indent); }
void sxCertTemplate::Herror() const { sxHerrorOf(*this, 0); }
