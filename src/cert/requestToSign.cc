#include "requestToSign.h"

#include <iterator>
#include <string_view>

#include "extensionDer.h"
#include "issueResult.h"
#include "issueRules.h"
#include "kxcert/asn1/modules/PKIXCRMF.h"
#include "plainFields.h"
#include "plainRequest.h"
#include "signingTask.h"
#include "strictDer.h"
#include "sxCertRequest_imp.h"
#include "sxCertTemplate_imp.h"

namespace {

constexpr unsigned char kVersion1[] = {kDerInteger, 1, 0};
constexpr int kAttributesTag = DerContextConstructed(0);
constexpr int kMaxPasswordChars = 255;  // RFC 2985, 5.4.1

sxDerOctets OctetsOf(sxOctetView view) { return sxDerOctets(view.begin(), view.end()); }

// Elements behind one another.
void Append(sxDerOctets &out, sxOctetView more) { out.insert(out.end(), more.begin(), more.end()); }

sxIssueStatus TakeRequested(const sxASN_Extensions *tree, sxDerOctets *list) {
  std::vector<sxExtToWrite> extensions;
  if (const sxIssueStatus status = sxTakeExtensions(tree, &extensions); status != sxIssue_ok) return status;
  sxDerOctets content;
  for (const sxExtToWrite &ext : extensions) sxAppendExtension(ext.oid, ext.critical, ext.value, &content);
  if (!content.empty()) *list = sxDerOf(kDerSequence, {content});
  return sxIssue_ok;
}

// RFC 2985, 5.4.1: PrintableString, or UTF8String where that does not do.
bool IsPassword(sxOctetView value) {
  sxDerElement text;
  if (!sxDerReader(value).Take(&text) || (text.tag != kDerPrintableString && text.tag != kDerUtf8String)) return false;
  const int numChars = sxUtf8Len(text.content);
  return numChars >= 1 && numChars <= kMaxPasswordChars;
}

}  // namespace

sxIssueStatus sxRequestToSign::New(const sxCertTemplate &wanted, const sxRequestAttributes *attributes, sxPubKey *key,
                                   const sxSignOptions &options, std::shared_ptr<sxRequestToSign> *out) {
  std::shared_ptr<sxRequestToSign> made(new sxRequestToSign);
  made->m_verify = options.verify;
  made->m_toSign = sxToSign::New(key, options.md);
  if (made->m_toSign == nullptr) return sxIssue_signing_key;
  if (const sxIssueStatus status = made->Take(wanted, attributes); status != sxIssue_ok) return status;
  if (!made->Write()) return sxIssue_too_long;
  *out = std::move(made);
  return sxIssue_ok;
}

sxIssueStatus sxRequestToSign::Take(const sxCertTemplate &wanted, const sxRequestAttributes *attributes) {
  const sxTemplateParts &parts = wanted.GetP()->Parts();
  m_keyInfo = wanted.HasPubKey() ? parts.key.der : sxKeyInfo(m_toSign->Key()).der;
  if (m_keyInfo.empty()) return sxIssue_public_key;
  if (wanted.HasPubKey() && !sxIsSameKey(wanted.PubKey(), m_toSign->Key())) return sxIssue_other_key;
  if (wanted.HasPubKey()) {
    m_publicKey.reset(wanted.PubKey());
    sxSavePubKey(wanted.PubKey());
  }
  m_subject = parts.subject;
  if (!parts.hasFitSubject) return sxIssue_subject;

  sxRequestAttributes_imp all = attributes == nullptr ? sxRequestAttributes_imp() : *attributes->GetP();
  sxDerOctets extensions;
  const sxIssueStatus status = TakeRequested(wanted.Tree().extensions, &extensions);
  if (status != sxIssue_ok) return status;
  if (!parts.hasFitExtensions) return sxIssue_extension;  // nobody could issue them
  if (!extensions.empty()) all.attributes[OctetsOf(kOidExtensionRequest)].insert(extensions);
  sxSortedOctets sorted;
  for (const auto &[type, values] : all.attributes) {
    sxDerOctets set;
    for (const sxDerOctets &value : values) Append(set, value);
    sorted.insert(sxDerOf(kDerSequence, {sxDerOf(kDerOid, {type}), sxDerOf(kDerSet, {set})}));
  }
  for (const sxDerOctets &attribute : sorted) Append(m_attributes, attribute);
  return sxIsStrictDer(m_attributes) ? sxIssue_ok : sxIssue_not_der;
}

bool sxRequestToSign::Write() {
  const size_t contentLen = sizeof kVersion1 + m_subject.size() + m_keyInfo.size() + sxDerLen(m_attributes.size());
  unsigned char *const area = m_toSign->Begin(contentLen);
  if (area == nullptr) return false;
  sxDerForward out(area);
  out.Octets(kVersion1);
  out.Octets(m_subject);
  out.Octets(m_keyInfo);
  out.Element(kAttributesTag, m_attributes);
  return true;
}

sxCertRequest *sxRequestToSign::Sign() {
  m_status = sxIssue_not_signed;
  sxToSign::Signed made = m_toSign->Sign();
  if (made.area == nullptr) return nullptr;
  sxOwned<sxCertRequest, sxCertRequest_Free> request(
      new sxCertRequest(new sxCertRequest_imp(std::move(made.area), made.offset, made.len, m_publicKey.get())));
  m_status = sxIssue_not_as_asked;
  if (!IsAsAsked(*request)) return herror_func(0, 0, "sxRequestToSign::Sign: not what was asked"), nullptr;
  if (!m_toSign->Accepts(*request, request->PubKey(), m_verify)) return nullptr;
  m_status = sxIssue_ok;
  return request.release();
}

// Whatever went wrong in writing, or in a key of others, is not handed out.
bool sxRequestToSign::IsAsAsked(const sxCertRequest &request) const {
  sxDerReader all({request.GetBuf(), request.BufLen()}), outer, info;
  sxOctetView version, attributes;
  sxDerElement subject, keyInfo;
  return request.OK() != 0 && request.Version() == 1 && all.Enter(kDerSequence, &outer) &&
         outer.Enter(kDerSequence, &info) && info.Take(kDerInteger, &version) && info.Take(&subject) &&
         info.Take(&keyInfo) && info.Take(kAttributesTag, &attributes) && info.AtEnd() &&
         sxEqual(subject.whole, m_subject) && sxEqual(keyInfo.whole, m_keyInfo) && sxEqual(attributes, m_attributes) &&
         request.signatureSignAlgorithm() == m_toSign->Key()->algorithm() &&
         request.signatureHashAlgorithm() == m_toSign->Md();
}

sxRequestAttributes::sxRequestAttributes() : m_imp(new sxRequestAttributes_imp) {}
sxRequestAttributes::sxRequestAttributes(const sxRequestAttributes &other)
    : m_imp(new sxRequestAttributes_imp(*other.m_imp)) {}
sxRequestAttributes &sxRequestAttributes::operator=(const sxRequestAttributes &other) {
  *m_imp = *other.m_imp;
  return *this;
}
sxRequestAttributes::~sxRequestAttributes() { delete m_imp; }

int sxRequestAttributes::Add(const sxAsnOid &type, const unsigned char *value, int len) {
  const sxOctetView oid = sxView(type.Data(), type.Len()), octets = sxView(value, len);
  if (!sxIsStrictElement(octets) || !sxIsStrictElement(sxDerOf(kDerOid, {oid})) || sxEqual(oid, kOidExtensionRequest)) {
    return herror_func(0, 0, "sxRequestAttributes::Add: %s", sxIssueStatusText(sxIssue_attribute)), -1;
  }
  const bool isPassword = sxEqual(oid, kOidChallengePassword);
  if (isPassword && (!IsPassword(octets) || m_imp->attributes.contains(OctetsOf(oid)))) {
    return herror_func(0, 0, "sxRequestAttributes::Add: a password of another form, or one more"), -1;
  }
  m_imp->attributes[OctetsOf(oid)].insert(OctetsOf(octets));
  return 0;
}

int sxRequestAttributes::SetChallengePassword(const char *password) {
  const std::string_view text = password == nullptr ? "" : password;
  const sxOctetView octets(reinterpret_cast<const unsigned char *>(text.data()), text.size());
  const sxDerOctets value = sxDerOf(sxIsPrintableString(octets) ? kDerPrintableString : kDerUtf8String, {octets});
  sxAsnOid type;
  type.Set(kOidChallengePassword, static_cast<int>(std::size(kOidChallengePassword)));
  return Add(type, value.data(), sxLen(value));
}

int sxRequestAttributes::Count() const {
  size_t num = 0;
  for (const auto &[type, values] : m_imp->attributes) num += values.size();
  return static_cast<int>(num);
}

sxIssueStatus sxMakeRequest(const sxCertTemplate &wanted, const sxRequestAttributes *attributes, sxPubKey *key,
                            const sxSignOptions &options, sxCertRequest **made) {
  constexpr const char *kFunc = "sxMakeRequest";
  if (made == nullptr) return sxIssueRefuse(kFunc, sxIssue_bad_input);
  *made = nullptr;
  std::shared_ptr<sxRequestToSign> toSign;
  const sxIssueStatus status = sxRequestToSign::New(wanted, attributes, key, options, &toSign);
  if (status != sxIssue_ok) return sxIssueRefuse(kFunc, status);
  *made = toSign->Sign();
  return toSign->Status();
}

sxIssueStatus sxMakeRequestA(const sxCertTemplate &wanted, const sxRequestAttributes *attributes, sxPubKey *key,
                             const sxSignOptions &options, sxCertRequestCallback callback, void *opaque) {
  constexpr const char *kFunc = "sxMakeRequestA";
  if (callback == nullptr) return sxIssueRefuse(kFunc, sxIssue_bad_input);
  std::shared_ptr<sxRequestToSign> toSign;
  const sxIssueStatus status = sxRequestToSign::New(wanted, attributes, key, options, &toSign);
  if (status != sxIssue_ok) return sxIssueRefuse(kFunc, status);
  return sxQueueSigning(std::move(toSign), callback, opaque) == 0 ? sxIssue_ok : sxIssue_not_queued;
}
