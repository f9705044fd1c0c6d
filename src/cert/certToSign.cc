#include "certToSign.h"

#include <optional>

#include "asn1/integerDigits.h"
#include "issueRules.h"
#include "kxcert/asn1/modules/PKIXCRMF.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/platform/log.h"
#include "kxcert/platform/random.h"
#include "plainFields.h"
#include "revocationDraft.h"
#include "strictDer.h"
#include "sxCertTemplate_imp.h"
#include "sxCert_imp.h"
#include "timeDer.h"

namespace {

constexpr int kVersionTag = DerContextConstructed(0);
constexpr int kExtensionsTag = DerContextConstructed(3);
constexpr unsigned char kVersion3[] = {kVersionTag, 3, kDerInteger, 1, 2};
constexpr unsigned char kTrue[] = {kDerBoolean, 1, 0xFF};
constexpr int kKeyIdLen = 20;  // octets, whatever the digest
constexpr size_t kEmptyNameLen = 2;

sxOctetView View(const sxAsnOid &oid) { return sxView(oid.Data(), oid.Len()); }

sxDerOctets ExtensionOctets(const sxExtToWrite &ext) {
  const sxDerOctets oid = sxDerOf(kDerOid, {ext.oid});
  return sxDerOf(kDerSequence,
                 {oid, ext.critical ? sxOctetView(kTrue) : sxOctetView(), sxDerOf(kDerOctetString, {ext.value})});
}

}  // namespace

// Takes a template apart, one rule after the other.
class sxCertToSign::Maker {
 public:
  Maker(const sxCertTemplate &wanted, const sxCert *issuer, sxPubKey *key, const sxSignOptions &options,
        sxCertToSign *out)
      : m_wanted(wanted), m_tree(wanted.Tree()), m_issuer(issuer), m_key(key), m_options(options), m_out(*out) {}

  sxIssueStatus Run() {
    constexpr sxIssueStatus (Maker::*kSteps[])() = {
        &Maker::Fields, &Maker::Issuer,         &Maker::Key,   &Maker::Validity,
        &Maker::Serial, &Maker::TakeExtensions, &Maker::Names, &Maker::Extensions,
    };
    for (const auto step : kSteps) {
      if (const sxIssueStatus status = (this->*step)(); status != sxIssue_ok) return status;
    }
    if (!m_out.Write()) return sxIssue_too_long;
    return sxIsStrictDer(m_out.m_toSign->Octets()) ? sxIssue_ok : sxIssue_not_der;
  }

 private:
  sxIssueStatus Fields();
  sxIssueStatus Issuer();
  sxIssueStatus Key();
  sxIssueStatus Validity();
  sxIssueStatus Serial();
  sxIssueStatus TakeExtensions();
  sxIssueStatus Names();
  sxIssueStatus Extensions();
  sxDerOctets KeyId(sxOctetView keyBits) const;

  const sxCertTemplate &m_wanted;
  const sxASN_CertTemplate &m_tree;
  const sxCert *const m_issuer;
  sxPubKey *const m_key;
  const sxSignOptions &m_options;
  sxCertToSign &m_out;
  sxDerOctets m_keyBits;
  std::vector<sxExtToWrite> m_extensions;
  sxSubjectFacts m_facts;
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
  const sxKeyInfo &info = own.der.empty() ? m_wanted.GetP()->Parts().key : own;
  if (info.der.empty()) return sxIssue_public_key;
  if (m_issuer == nullptr && own.der.empty() && !sxIsSameKey(m_wanted.PubKey(), m_key)) return sxIssue_other_key;
  m_out.m_keyInfo = info.der;
  m_keyBits.assign(info.bits.begin(), info.bits.end());
  return sxIssue_ok;
}

sxIssueStatus sxCertToSign::Maker::Validity() {
  if (m_tree.validity == nullptr) return sxIssue_validity;
  constexpr int64_t kFirstUtc = -631152000;  // 1950-01-01 00:00 UTC: no form of RFC 5280, 4.1.2.5 is for earlier ones
  const std::optional<int64_t> notBefore = sxReadTime(m_tree.validity->notBefore);
  const std::optional<int64_t> notAfter = sxReadTime(m_tree.validity->notAfter);
  if (!notBefore || !notAfter || *notBefore < kFirstUtc || *notAfter < kFirstUtc) return sxIssue_validity;
  if (*notAfter < *notBefore) return sxIssue_validity_order;
  const sxDerOctets first = sxValidityTimeDer(*notBefore), last = sxValidityTimeDer(*notAfter);
  if (first.empty() || last.empty()) return sxIssue_validity;
  m_out.m_validity = sxDerOf(kDerSequence, {first, last});
  return sxIssue_ok;
}

sxIssueStatus sxCertToSign::Maker::Serial() {
  if (m_tree.serialNumber == nullptr) {
    m_out.m_serial.resize(kRandomSerialLen);
    if (sxrand_gen(m_out.m_serial.data(), kRandomSerialLen) != 0) return sxIssue_serial;
    // Positive, and of this length whatever was drawn.
    m_out.m_serial[0] = static_cast<unsigned char>((m_out.m_serial[0] & 0x3F) | 0x40);
    return sxIssue_ok;
  }
  sxAsnDigitArea area;
  const sxAsnDigits digits = sxAsnDigitsOf(*m_tree.serialNumber, area);
  if (digits.negative || digits.len == 0) return sxIssue_serial;
  m_out.m_serial = sxNumberContent(digits);
  return m_out.m_serial.size() <= kMaxIssuedSerialLen ? sxIssue_ok : sxIssue_serial;
}

sxIssueStatus sxCertToSign::Maker::TakeExtensions() {
  const sxIssueStatus status = sxTakeExtensions(m_tree.extensions, &m_extensions);
  if (status != sxIssue_ok) return status;
  const sxTemplateParts &parts = m_wanted.GetP()->Parts();
  const bool hasSubject = parts.subject.size() > kEmptyNameLen;
  const sxIssueStatus checked = sxCheckExtensions(hasSubject, &m_extensions, &m_facts);
  return checked == sxIssue_ok && !parts.hasFitExtensions ? sxIssue_extension : checked;
}

sxIssueStatus sxCertToSign::Maker::Names() {
  const sxDerOctets &subject = m_wanted.GetP()->Parts().subject;
  if (!m_wanted.GetP()->Parts().hasFitSubject) return sxIssue_subject;
  const bool mustHaveSubject = m_facts.isCA || m_facts.signsCrls || !m_facts.hasAltName;  // RFC 5280, 4.1.2.6
  if (subject.size() <= kEmptyNameLen && mustHaveSubject) return sxIssue_no_subject;
  m_out.m_subject = subject;
  const sxDN *const asked = m_wanted.Issuer();
  const bool isAsked = asked == nullptr || asked->Count() == 0;
  if (m_issuer == nullptr) {
    m_out.m_issuer = subject;
    if (subject.size() <= kEmptyNameLen) return sxIssue_issuer_name;
    return isAsked || (m_wanted.Subject() != nullptr && asked->Equal(*m_wanted.Subject())) ? sxIssue_ok
                                                                                           : sxIssue_issuer_name;
  }
  // RFC 5280, 4.1.2.4 and 7.1: as it stands in the issuer's certificate, octet for octet.
  sxPlainCert plain;
  if (sxReadPlainCert({m_issuer->GetBuf(), m_issuer->BufLen()}, false, &plain)) {
    m_out.m_issuer.assign(plain.subject.begin(), plain.subject.end());
  } else {
    m_out.m_issuer = sxNameOctets(m_issuer->Subject()->GetName());
  }
  if (m_out.m_issuer.size() <= kEmptyNameLen || !sxIsNameForm(m_out.m_issuer)) return sxIssue_issuer_name;
  if (!isAsked && !asked->Equal(*m_issuer->Subject())) return sxIssue_issuer_name;
  const bool isSelfIssued = sxEqual(m_out.m_issuer, subject);
  return m_issuerFacts.isLast && m_facts.isCA && !isSelfIssued ? sxIssue_issuer_path : sxIssue_ok;
}

// The key identifiers of both come from here, and all of it becomes octets.
sxIssueStatus sxCertToSign::Maker::Extensions() {
  const auto find = [this](const sxAsnOid &oid) {
    return std::ranges::find_if(m_extensions, [&oid](const sxExtToWrite &ext) { return sxEqual(ext.oid, View(oid)); });
  };
  sxDerOctets subjectValue;
  if (find(sxASN_id_ce_subjectKeyIdentifier) == m_extensions.end()) {
    const sxDerOctets keyId = KeyId(m_keyBits);
    if (keyId.empty()) return sxIssue_key_id;
    subjectValue = sxDerOf(kDerOctetString, {keyId});
    m_extensions.push_back({View(sxASN_id_ce_subjectKeyIdentifier), false, subjectValue});
  }
  sxOctetView subjectId;
  if (!sxDerReader(find(sxASN_id_ce_subjectKeyIdentifier)->value).Take(kDerOctetString, &subjectId)) {
    return sxIssue_extension;
  }
  sxDerOctets issuerId(subjectId.begin(), subjectId.end());
  if (m_issuer != nullptr) {
    const sxOctetView known = m_issuerFacts.keyId;
    issuerId = known.empty() ? KeyId(sxKeyInfo(m_key).bits) : sxDerOctets(known.begin(), known.end());
    if (issuerId.empty()) return sxIssue_key_id;
  }
  const sxDerOctets authorityValue = sxDerOf(kDerSequence, {sxDerOf(DerContext(0), {issuerId})});
  const auto authority = find(sxASN_id_ce_authorityKeyIdentifier);
  if (authority != m_extensions.end()) {
    authority->value = authorityValue;
  } else {
    m_extensions.push_back({View(sxASN_id_ce_authorityKeyIdentifier), false, authorityValue});
  }
  for (const sxExtToWrite &ext : m_extensions) {
    const sxDerOctets der = ExtensionOctets(ext);
    m_out.m_extensions.insert(m_out.m_extensions.end(), der.begin(), der.end());
  }
  return sxIssue_ok;
}

sxDerOctets sxCertToSign::Maker::KeyId(sxOctetView keyBits) const {
  sxDerOctets digest(static_cast<size_t>(kx_md_len(m_options.keyIdMd)));
  if (kx_md_hashbuf(m_options.keyIdMd, keyBits.data(), keyBits.size(), digest.data(), sxLen(digest)) != 0) return {};
  digest.resize(kKeyIdLen);
  return digest;
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
  sxOwned<sxCert, sxCert_Free> cert(new sxCert(new sxCert_imp(std::move(made.area), made.offset, made.len)));
  m_status = sxIssue_not_as_asked;
  if (!IsAsAsked(*cert)) return herror_func(0, 0, "sxCertToSign::Sign: not what was asked"), nullptr;
  sxPubKey *const issuerKey = m_issuerKey == nullptr ? cert->PubKey() : m_issuerKey.get();
  if (!m_toSign->Accepts(*cert, issuerKey, m_verify)) return nullptr;
  m_status = sxIssue_ok;
  return cert.release();
}

// Whatever went wrong in writing, or in a key of others, is not handed out.
bool sxCertToSign::IsAsAsked(const sxCert &cert) const {
  sxPlainCert plain;
  sxDerReader validity, keyInfo;
  sxPlainTime notBefore, notAfter;
  sxPlainAlgorithm keyAlgorithm;
  sxOctetView keyBits;
  return cert.OK() != 0 && cert.Version() == 3 && sxReadPlainCert({cert.GetBuf(), cert.BufLen()}, false, &plain) &&
         plain.version == 3 && sxEqual(plain.serial, m_serial) && sxEqual(plain.issuer, m_issuer) &&
         sxEqual(plain.subject, m_subject) && sxEqual(plain.extensions, m_extensions) &&
         sxDerReader(m_validity).Enter(kDerSequence, &validity) && sxTakePlainTime(validity, &notBefore) &&
         sxTakePlainTime(validity, &notAfter) && plain.notBefore.tag == notBefore.tag &&
         sxEqual(plain.notBefore.text, notBefore.text) && plain.notAfter.tag == notAfter.tag &&
         sxEqual(plain.notAfter.text, notAfter.text) && sxDerReader(m_keyInfo).Enter(kDerSequence, &keyInfo) &&
         sxTakePlainAlgorithm(keyInfo, true, &keyAlgorithm) && sxTakePlainBits(keyInfo, kDerBitString, &keyBits) &&
         sxEqual(plain.keyAlgorithm.oid, keyAlgorithm.oid) &&
         sxEqual(plain.keyAlgorithm.parameters, keyAlgorithm.parameters) &&
         sxEqual(plain.keyBits, keyBits.subspan(1)) && cert.signatureSignAlgorithm() == m_toSign->Key()->algorithm() &&
         cert.signatureHashAlgorithm() == m_toSign->Md();
}
