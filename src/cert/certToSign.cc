#include "certToSign.h"

#include <algorithm>
#include <iterator>
#include <optional>

#include "asn1/integerDigits.h"
#include "extensionDer.h"
#include "issueRules.h"
#include "kxcert/asn1/modules/PKIXCRMF.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/platform/log.h"
#include "plainFields.h"
#include "randomSerial.h"
#include "revocationDraft.h"
#include "strictDer.h"
#include "sxCertTemplate_imp.h"
#include "sxCert_imp.h"
#include "sxDN_imp.h"

namespace {

constexpr int kVersionTag = DerContextConstructed(0);
constexpr int kExtensionsTag = DerContextConstructed(3);
constexpr unsigned char kVersion3[] = {kVersionTag, 3, kDerInteger, 1, 2};

sxOctetView View(const sxAsnOid &oid) { return sxView(oid.Data(), oid.Len()); }

}  // namespace

// Takes a template apart, one rule after the other.
class sxCertToSign::Maker {
 public:
  Maker(const sxCertTemplate &wanted, const sxCert *issuer, sxPubKey *key, const sxSignOptions &options,
        sxCertToSign *out)
      : m_wanted(wanted),
        m_tree(wanted.Tree()),
        m_parts(wanted.GetP()->Parts()),
        m_issuer(issuer),
        m_key(key),
        m_options(options),
        m_out(*out) {}

  sxIssueStatus Run() {
    constexpr sxIssueStatus (Maker::*kSteps[])() = {
        &Maker::Fields, &Maker::Issuer, &Maker::Key,        &Maker::Validity,
        &Maker::Serial, &Maker::Names,  &Maker::Extensions,
    };
    for (const auto step : kSteps) {
      if (const sxIssueStatus status = (this->*step)(); status != sxIssue_ok) return status;
    }
    return m_out.Write() ? sxIssue_ok : sxIssue_too_long;
  }

 private:
  sxIssueStatus Fields();
  sxIssueStatus Issuer();
  sxIssueStatus Key();
  sxIssueStatus Validity();
  sxIssueStatus Serial();
  sxIssueStatus Names();
  sxIssueStatus Extensions();

  const sxCertTemplate &m_wanted;
  const sxASN_CertTemplate &m_tree;
  const sxTemplateParts &m_parts;
  const sxCert *const m_issuer;
  sxPubKey *const m_key;
  const sxSignOptions &m_options;
  sxCertToSign &m_out;
  std::optional<sxKeyId> m_subjectKeyId;
  sxIssuerFacts m_issuerFacts;
};

sxIssueStatus sxCertToSign::Maker::Fields() {
  m_out.m_verify = m_options.verify;
  m_out.m_toSign = sxToSign::New(m_key, m_options.md);
  if (m_out.m_toSign == nullptr) return sxIssue_signing_key;
  if (m_options.keyIdMd != sx_md_sha1 && m_options.keyIdMd != sx_md_sha256) return sxIssue_key_id;
  if (m_tree.version != nullptr && m_wanted.Version() != 3) return sxIssue_version;
  if (m_tree.issuerUID != nullptr || m_tree.subjectUID != nullptr) return sxIssue_unique_id;  // RFC 5280, 4.1.2.8
  if (m_tree.signingAlg == nullptr) return sxIssue_ok;
  sxOctetView oid;
  sxDerReader algorithm;
  const bool isSame = m_tree.signingAlg->algorithm != nullptr &&
                      sxDerReader(m_out.m_toSign->Algorithm()).Enter(kDerSequence, &algorithm) &&
                      algorithm.Take(kDerOid, &oid) && sxEqual(oid, View(*m_tree.signingAlg->algorithm));
  return isSame ? sxIssue_ok : sxIssue_algorithm;
}

sxIssueStatus sxCertToSign::Maker::Issuer() {
  if (m_issuer == nullptr) return sxIssue_ok;
  if (m_issuer->OK() == 0) return sxIssue_bad_input;
  if (!sxIsSameKey(m_issuer->PubKey(), m_key)) return sxIssue_issuer_key;
  m_out.m_issuerKey.reset(m_issuer->PubKey());
  sxSavePubKey(m_issuer->PubKey());
  if (m_issuer->Version() != 3) return sxIssue_issuer_not_ca;  // others have no extensions to say so
  return sxReadIssuer(static_cast<const sxCert_imp *>(m_issuer->GetP())->ExtensionOctets(), &m_issuerFacts);
}

sxIssueStatus sxCertToSign::Maker::Key() {
  const sxKeyInfo own(m_issuer == nullptr && !m_wanted.HasPubKey() ? m_key : nullptr);
  const bool isOwn = !own.der.empty();
  const sxKeyInfo &info = isOwn ? own : m_parts.key;
  if (info.der.empty()) return sxIssue_public_key;
  if (m_issuer == nullptr && !isOwn && !sxIsSameKey(m_wanted.PubKey(), m_key)) return sxIssue_other_key;
  m_out.m_keyInfo = info.der;
  const bool isKnown = !isOwn && m_options.keyIdMd == sx_md_sha1;
  m_subjectKeyId = isKnown ? m_parts.keyId : info.Id(m_options.keyIdMd);
  if (isOwn) return sxIssue_ok;
  m_out.m_publicKey.reset(m_wanted.PubKey());
  sxSavePubKey(m_wanted.PubKey());
  return sxIssue_ok;
}

sxIssueStatus sxCertToSign::Maker::Validity() {
  m_out.m_validity = m_parts.validity.der;
  return m_parts.validity.status;
}

sxIssueStatus sxCertToSign::Maker::Serial() {
  if (m_tree.serialNumber == nullptr) {
    unsigned char drawn[kRandomSerialLen];
    if (!sxDrawSerial(drawn)) return sxIssue_serial;
    m_out.m_serial.assign(std::begin(drawn), std::end(drawn));
    return sxIssue_ok;
  }
  sxAsnDigitArea area;
  const sxAsnDigits digits = sxAsnDigitsOf(*m_tree.serialNumber, area);
  if (digits.negative || digits.len == 0) return sxIssue_serial;
  m_out.m_serial = sxNumberContent(digits);
  return m_out.m_serial.size() <= kMaxIssuedSerialLen ? sxIssue_ok : sxIssue_serial;
}

sxIssueStatus sxCertToSign::Maker::Names() {
  if (m_parts.extensions.status != sxIssue_ok) return m_parts.extensions.status;
  const sxSubjectFacts &facts = m_parts.extensions.facts;
  if (!m_parts.hasFitSubject) return sxIssue_subject;
  const bool mustHaveSubject = facts.isCA || facts.signsCrls || !facts.hasAltName;  // RFC 5280, 4.1.2.6
  if (!m_parts.HasSubject() && mustHaveSubject) return sxIssue_no_subject;
  m_out.m_subject = m_parts.subject;
  const sxDN *const asked = m_wanted.Issuer();
  const bool isAsked = asked == nullptr || asked->Count() == 0;
  if (m_issuer == nullptr) {
    m_out.m_issuer = m_parts.subject;
    if (!m_parts.HasSubject()) return sxIssue_issuer_name;
    return isAsked || (m_wanted.Subject() != nullptr && asked->Equal(*m_wanted.Subject())) ? sxIssue_ok
                                                                                           : sxIssue_issuer_name;
  }
  // RFC 5280, 4.1.2.4 and 7.1: as it stands in the issuer's certificate, octet for octet.
  const sxOctetView name = m_issuer->Subject()->GetP()->Octets();
  if (sxIsEmptyName(name) || !sxIsNameForm(name) || !sxIsComparedName(name)) return sxIssue_issuer_name;
  if (!isAsked && !asked->Equal(*m_issuer->Subject())) return sxIssue_issuer_name;
  if (!sxIsStrictElement(name)) return sxIssue_not_der;
  m_out.m_issuer.assign(name.begin(), name.end());
  const bool isSelfIssued = sxEqual(name, m_parts.subject);
  return m_issuerFacts.isLast && facts.isCA && !isSelfIssued ? sxIssue_issuer_path : sxIssue_ok;
}

// The key identifiers of both come from here.
sxIssueStatus sxCertToSign::Maker::Extensions() {
  const sxWantedExtensions &wanted = m_parts.extensions;
  if (wanted.subjectId.empty() && !m_subjectKeyId) return sxIssue_key_id;
  const sxOctetView subjectId = wanted.subjectId.empty() ? sxOctetView(*m_subjectKeyId) : wanted.subjectId;
  sxOctetView issuerId = m_issuer == nullptr ? subjectId : m_issuerFacts.keyId;
  std::optional<sxKeyId> made;
  if (issuerId.empty()) {
    const sxKeyInfo issuerKey(m_key);
    if (!issuerKey.der.empty()) made = issuerKey.Id(m_options.keyIdMd);
    if (!made) return sxIssue_key_id;
    issuerId = *made;
  }
  constexpr size_t kAround = 40;  // octets of two extensions that are not their identifiers', at most
  sxDerOctets &out = m_out.m_extensions;
  out.reserve(wanted.octets.size() + subjectId.size() + issuerId.size() + kAround);
  const auto appendAuthority = [&out, issuerId] {
    const sxDerOctets value = sxDerOf(kDerSequence, {sxDerOf(DerContext(0), {issuerId})});
    sxAppendExtension(View(sxASN_id_ce_authorityKeyIdentifier), false, value, &out);
  };
  const auto before = wanted.octets.begin() + static_cast<ptrdiff_t>(wanted.authorityAt);
  out.assign(wanted.octets.begin(), before);
  if (wanted.hasAuthority) appendAuthority();
  out.insert(out.end(), before, wanted.octets.end());
  if (wanted.subjectId.empty()) {
    const sxDerOctets value = sxDerOf(kDerOctetString, {subjectId});
    sxAppendExtension(View(sxASN_id_ce_subjectKeyIdentifier), false, value, &out);
  }
  if (!wanted.hasAuthority) appendAuthority();
  return sxIssue_ok;
}

sxIssueStatus sxCertToSign::New(const sxCertTemplate &wanted, const sxCert *issuer, sxPubKey *key,
                                const sxSignOptions &options, std::shared_ptr<sxCertToSign> *out) {
  std::shared_ptr<sxCertToSign> made(new sxCertToSign);
  const sxIssueStatus status = Maker(wanted, issuer, key, options, made.get()).Run();
  if (status == sxIssue_ok) *out = std::move(made);
  return status;
}

//   TBSCertificate ::= SEQUENCE { version [0], serialNumber, signature, issuer, validity, subject,
//                                 subjectPublicKeyInfo, extensions [3] }
bool sxCertToSign::Write() {
  const sxOctetView algorithm = m_toSign->Algorithm();
  const size_t listLen = sxDerLen(m_extensions.size());
  const size_t contentLen = sizeof kVersion3 + sxDerLen(m_serial.size()) + algorithm.size() + m_issuer.size() +
                            m_validity.size() + m_subject.size() + m_keyInfo.size() + sxDerLen(listLen);
  unsigned char *const area = m_toSign->Begin(contentLen);
  if (area == nullptr) return false;
  sxDerForward out(area);
  out.Octets(kVersion3);
  out.Element(kDerInteger, m_serial);
  for (const sxOctetView part :
       {algorithm, sxOctetView(m_issuer), sxOctetView(m_validity), sxOctetView(m_subject), sxOctetView(m_keyInfo)}) {
    out.Octets(part);
  }
  out.Header(kExtensionsTag, listLen);
  out.Element(kDerSequence, m_extensions);
  return true;
}

sxCert *sxCertToSign::Sign() {
  m_status = sxIssue_not_signed;
  sxToSign::Signed made = m_toSign->Sign();
  if (made.area == nullptr) return nullptr;
  sxPlainCert fields;
  sxOwned<sxCert, sxCert_Free> cert(
      new sxCert(new sxCert_imp(std::move(made.area), made.offset, made.len, m_publicKey.get(), &fields)));
  m_status = sxIssue_not_as_asked;
  if (!IsAsAsked(*cert, fields)) return herror_func(0, 0, "sxCertToSign::Sign: not what was asked"), nullptr;
  sxPubKey *const issuerKey = m_issuerKey == nullptr ? cert->PubKey() : m_issuerKey.get();
  if (!m_toSign->Accepts(*cert, issuerKey, m_verify)) return nullptr;
  m_status = sxIssue_ok;
  return cert.release();
}

// Whatever went wrong in writing, or in a key of others, is not handed out.
bool sxCertToSign::IsAsAsked(const sxCert &cert, const sxPlainCert &plain) const {
  sxDerReader validity, keyInfo;
  sxPlainTime notBefore, notAfter;
  sxPlainAlgorithm keyAlgorithm;
  sxOctetView keyBits;
  return cert.OK() != 0 && cert.Version() == 3 && plain.version == 3 && sxEqual(plain.serial, m_serial) &&
         sxEqual(plain.issuer, m_issuer) && sxEqual(plain.subject, m_subject) &&
         sxEqual(plain.extensions, m_extensions) && sxDerReader(m_validity).Enter(kDerSequence, &validity) &&
         sxTakePlainTime(validity, &notBefore) && sxTakePlainTime(validity, &notAfter) &&
         plain.notBefore.tag == notBefore.tag && sxEqual(plain.notBefore.text, notBefore.text) &&
         plain.notAfter.tag == notAfter.tag && sxEqual(plain.notAfter.text, notAfter.text) &&
         sxDerReader(m_keyInfo).Enter(kDerSequence, &keyInfo) && sxTakePlainAlgorithm(keyInfo, true, &keyAlgorithm) &&
         sxTakePlainBits(keyInfo, kDerBitString, &keyBits) && sxEqual(plain.keyAlgorithm.oid, keyAlgorithm.oid) &&
         sxEqual(plain.keyAlgorithm.parameters, keyAlgorithm.parameters) &&
         sxEqual(plain.keyBits, keyBits.subspan(1)) && cert.signatureSignAlgorithm() == m_toSign->Key()->algorithm() &&
         cert.signatureHashAlgorithm() == m_toSign->Md();
}
