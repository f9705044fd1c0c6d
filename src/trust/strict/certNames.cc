#include "trust/strict/certNames.h"

#include "cert/generalNameForms.h"
#include "cert/issueRules.h"
#include "cert/nameSyntax.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/cert/sxCert.h"
#include "trust/nameText.h"
#include "trust/strict/hostNames.h"

namespace {

constexpr unsigned char kMailAttribute[] = {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 1, 9, 1};  // emailAddress
constexpr unsigned char kSmtpUtf8Mailbox[] = {0x2B, 6, 1, 5, 5, 7, 8, 9};                  // RFC 9598, 3
constexpr char kNoText[] = "a name without a text";
constexpr char kUndecodable[] = "alternative names that cannot be decoded";

// A presented name may begin with a wildcard; what is below a base is so with any label there.
std::string Host(std::string_view text) {
  if (!text.starts_with("*.")) return HostName(text);
  const std::string rest = HostName(text.substr(2));
  return rest.empty() ? rest : "*." + rest;
}

// @return empty without a host that is a name
std::string HostOfUri(std::string_view uri) {
  const std::string host = HostName(sxUriHost(uri));
  return AddressOctets(host).empty() ? host : "";
}

std::string Mailbox(std::string_view text) {
  const size_t at = text.rfind('@');
  if (at == std::string_view::npos || at == 0) return "";
  const std::string host = HostName(text.substr(at + 1));
  return host.empty() ? "" : std::string(text.substr(0, at + 1)) + host;
}

}  // namespace

CertNames::CertNames(const StrictCert &cert) {
  if (!sxIsEmptyName(cert.Get().subject)) {
    AddDn(cert.Get().subject);
    m_names.back().shown = sxNameText(cert.Cert().Subject(), kNoText);
  }
  const sxPlainExtension *const extension = cert.Find(kOidSubjectAltName);
  if (extension == nullptr) {
    AddMailOfSubject();
    return;
  }
  sxDerReader all(extension->value), names;
  sxDerElement name;
  bool isReadable = all.Enter(kDerSequence, &names);
  while (isReadable && !names.AtEnd()) {
    isReadable = names.Take(&name);
    if (isReadable) Add(name);
  }
  if (isReadable) return;
  // Of whatever kind they are, nobody knows that they are permitted.
  for (const sxNameKind kind :
       {sxNameKind::kDns, sxNameKind::kEmail, sxNameKind::kUri, sxNameKind::kIp, sxNameKind::kDn}) {
    m_names.push_back({kind, "", nullptr, kUndecodable, false});
  }
}

void CertNames::AddDn(sxOctetView name) {
  sxFlatName &flat = m_flats.emplace_back();
  const bool isRead = flat.Read(name, false);
  m_names.push_back({sxNameKind::kDn, "", &flat, "a directory name", isRead});
}

// RFC 9598, 6: one of the names that constraints on mailboxes are about. Its host is in ASCII.
void CertNames::AddOther(sxOctetView content) {
  sxDerReader fields(content), inside;
  sxOctetView type, text;
  if (!fields.Take(kDerOid, &type) || !sxEqual(type, kSmtpUtf8Mailbox)) return;
  const bool isRead = fields.Enter(DerContextConstructed(0), &inside) && inside.Take(kDerUtf8String, &text);
  std::string mailbox = isRead ? Mailbox(StrictText(text)) : "";
  const bool isOne = !mailbox.empty();
  m_names.push_back({sxNameKind::kEmail, std::move(mailbox), nullptr, sxVisibleText(StrictText(text)), isOne});
}

// RFC 5280, 4.2.1.10: for certificates from before there were alternative names.
void CertNames::AddMailOfSubject() {
  if (m_flats.empty()) return;
  if (!m_names.front().isComparable)
    m_names.push_back({sxNameKind::kEmail, "", nullptr, "a subject that cannot be read", false});
  for (const sxAva &ava : m_flats.front().Avas()) {
    if (!sxEqual({ava.oid, ava.oidLen}, kMailAttribute)) continue;
    const std::string_view text = StrictText({ava.value, ava.valueLen});
    std::string mailbox = Mailbox(text);
    const bool isOne = !mailbox.empty();
    m_names.push_back({sxNameKind::kEmail, std::move(mailbox), nullptr, sxVisibleText(text), isOne});
  }
}

void CertNames::Add(const sxDerElement &name) {
  constexpr int kKindMask = 0x1F;
  const int number = name.tag & kKindMask;
  if (number > static_cast<int>(sxNameKind::kOid)) return;  // none that the RFC knows
  const auto kind = static_cast<sxNameKind>(number);
  const std::string_view text = StrictText(name.content);
  if (kind == sxNameKind::kDn) {
    AddDn(name.content);
    const sxDN dn(name.content.data(), sxLen(name.content));
    m_names.back().shown = sxNameText(&dn, kNoText);
    return;
  }
  if (kind == sxNameKind::kOther) AddOther(name.content);
  ComparedName compared = {kind, "", nullptr, sxVisibleText(text), true};
  switch (kind) {
    case sxNameKind::kDns: compared.text = Host(text); break;
    case sxNameKind::kUri: compared.text = HostOfUri(text); break;
    case sxNameKind::kEmail: compared.text = Mailbox(text); break;
    case sxNameKind::kIp:
      compared.text = sxIsNameOfKind(kind, name.content, sxNameUse::kName) ? std::string(text) : "";
      compared.shown = AddressText(name.content);
      break;
    default: compared.shown = "of a kind that is not compared"; return m_names.push_back(std::move(compared));
  }
  compared.isComparable = !compared.text.empty();
  m_names.push_back(std::move(compared));
}
