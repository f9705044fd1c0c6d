// Certificate policies with their qualifiers, and mappings of policies (RFC 5280, 4.2.1.4 and 4.2.1.5; RFC 6818, 3).
#include <algorithm>
#include <memory>

#include "dnValue.h"
#include "flatName.h"
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/modules/PKIX1Implicit88.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/asn1/sxAsnAny.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/foundation/textStream.h"
#include "peerText.h"
#include "platform/textForms.h"
#include "strictDer.h"
#include "valueExtension.h"

constinit const sxAsnOid sxASN_anyPolicy({2, 5, 29, 32, 0});
constinit const sxAsnOid sxASN_id_qt_cps({1, 3, 6, 1, 5, 5, 7, 2, 1});
constinit const sxAsnOid sxASN_id_qt_unotice({1, 3, 6, 1, 5, 5, 7, 2, 2});

using PoliciesImp = sxValueExtension<sxCertPolicies, std::vector<sxPolicy>>;
using MappingsImp = sxValueExtension<sxPolicyMappings, std::vector<sxPolicyMapping>>;
template <>
const char *const PoliciesImp::kName = "Certificate Policies";
template <>
const char *const MappingsImp::kName = "Policy Mappings";

namespace {

constexpr size_t kMaxQualifierShown = 256;  // octets

template <class Tree>
bool Decode(Tree &tree, const std::vector<unsigned char> &octets) {
  return sxASN_DecodeBuf(tree, reinterpret_cast<const char *>(octets.data()), static_cast<int>(octets.size())) == 0;
}

bool Encode(const sxAsnType &value, std::vector<unsigned char> *octets) {
  const std::unique_ptr<sxAsnType> copy(value.Dup());  // encoding sorts its sets
  kxBinBuf der;
  if (sxASN_EncodeBuf(*copy, der, 1) != 0) return false;
  octets->assign(der.Data(), der.Data() + der.Len());
  return true;
}

// --- reading ---

// UTF-8 without NUL, at least a character.
bool ReadText(const sxASN_DisplayText &from, std::string *text) {
  const auto *const string = static_cast<const sxAsnOcts *>(from.Value());
  if (string == nullptr) return false;
  sxAva ava{};
  ava.choice = from.ChoiceId() == sxASN_DisplayText::bmpStringCid ? sxASN_AttributeValue::bmpStringCid
                                                                  : sxASN_AttributeValue::utf8StringCid;
  ava.value = string->Data();
  ava.valueLen = static_cast<uint32_t>(string->Len());
  sxValueText value;
  if (!sxValueOctets(ava, &value) || value.raw || sxHoldsNul(value.octets)) return false;
  *text = value.octets;
  return !text->empty() &&
         sxUtf8Len(sxView(reinterpret_cast<const unsigned char *>(text->data()), static_cast<int>(text->size()))) >= 0;
}

bool ReadNotice(const sxASN_UserNotice &from, sxPolicyQualifier *qualifier) {
  if (from.explicitText != nullptr && !ReadText(*from.explicitText, &qualifier->explicitText)) return false;
  if (from.noticeRef == nullptr) return from.explicitText != nullptr;
  const sxASN_NoticeReferenceSeqOf &numbers = *from.noticeRef->noticeNumbers;
  if (!ReadText(*from.noticeRef->organization, &qualifier->organization)) return false;
  if (static_cast<size_t>(numbers.Count()) > kMaxIssuedItems) return false;
  for (const sxAsnInt &number : numbers) {
    if (number.IsBig()) return false;
    qualifier->noticeNumbers.push_back(number.GetShortVal());
  }
  return true;
}

bool ReadCps(const sxAsnIA5String &from, std::string *uri) {
  *uri = std::string(reinterpret_cast<const char *>(from.Data()), static_cast<size_t>(from.Len()));
  return !uri->empty() && !sxHoldsNul(*uri);
}

// A qualifier of another form than its type's is kept as octets: what a policy is for does not hang on it, and issuers
// get notices wrong (the texts "too many octets" and others in data/cert/issued-extensions.txt).
bool ReadQualifier(const sxASN_PolicyQualifierInfo &from, sxPolicyQualifier *qualifier) {
  sxPolicyQualifier made;
  std::vector<unsigned char> octets;
  if (!Encode(*from.qualifier, &octets)) return false;
  bool isRead = false;
  if (from.policyQualifierId->OidEquiv(sxASN_id_qt_cps)) {
    sxAsnIA5String uri;
    isRead = Decode(uri, octets) && ReadCps(uri, &made.cpsUri);
  } else if (from.policyQualifierId->OidEquiv(sxASN_id_qt_unotice)) {
    sxASN_UserNotice notice;
    isRead = Decode(notice, octets) && ReadNotice(notice, &made);
  }
  if (isRead) *qualifier = std::move(made);
  if (!isRead) qualifier->octets = std::move(octets);
  qualifier->type = *from.policyQualifierId;
  return true;
}

bool ReadPolicies(const sxASN_CertificatePolicies &tree, std::vector<sxPolicy> *policies) {
  return sxReadItems(tree, policies, [](const sxASN_PolicyInformation &from, sxPolicy *policy) {
    policy->id = *from.policyIdentifier;
    return from.policyQualifiers == nullptr || sxReadItems(*from.policyQualifiers, &policy->qualifiers, ReadQualifier);
  });
}

bool ReadMappings(const sxASN_PolicyMappings &tree, std::vector<sxPolicyMapping> *mappings) {
  return sxReadItems(tree, mappings, [](const sxASN_PolicyMappingsSeq &from, sxPolicyMapping *mapping) {
    *mapping = {*from.issuerDomainPolicy, *from.subjectDomainPolicy};
    return true;
  });
}

// --- writing ---

// DisplayText has 1 to 200 characters.
bool WriteText(const std::string &text, sxASN_DisplayText *out) {
  const auto *const octets = reinterpret_cast<const unsigned char *>(text.data());
  const int len = static_cast<int>(text.size());
  const int numChars = sxUtf8Len(sxView(octets, len));
  if (numChars < 1 || static_cast<size_t>(numChars) > kMaxNoticeChars || sxHoldsNul(text)) return false;
  out->Set_utf8String(sxAsnUTF8String(octets, len));
  return true;
}

bool WriteNotice(const sxPolicyQualifier &from, sxASN_UserNotice *notice) {
  if (from.explicitText.empty() && from.organization.empty()) return false;
  if (!from.explicitText.empty() && !WriteText(from.explicitText, notice->explicitText = new sxASN_DisplayText)) {
    return false;
  }
  if (from.organization.empty()) return from.noticeNumbers.empty();
  if (sxCountFault(from.noticeNumbers.size(), nullptr) != nullptr) return false;
  notice->noticeRef = new sxASN_NoticeReference;
  notice->noticeRef->organization = new sxASN_DisplayText;
  notice->noticeRef->noticeNumbers = new sxASN_NoticeReferenceSeqOf;
  for (const int number : from.noticeNumbers) {
    if (number < 0) return false;
    notice->noticeRef->noticeNumbers->Append()->Set(number);
  }
  return !from.noticeNumbers.empty() && WriteText(from.organization, notice->noticeRef->organization);
}

// @return null for what must not be issued
std::unique_ptr<sxAsnType> QualifierOf(const sxPolicyQualifier &from, const sxAsnOid &policy) {
  if (from.type.OidEquiv(sxASN_id_qt_cps)) {
    const bool isText = std::ranges::all_of(from.cpsUri, [](unsigned char c) { return c > ' ' && c < 0x7F; });
    if (from.cpsUri.empty() || !isText) return nullptr;
    return std::make_unique<sxAsnIA5String>(reinterpret_cast<const unsigned char *>(from.cpsUri.data()),
                                            static_cast<int>(from.cpsUri.size()));
  }
  if (from.type.OidEquiv(sxASN_id_qt_unotice)) {
    auto notice = std::make_unique<sxASN_UserNotice>();
    return WriteNotice(from, notice.get()) ? std::move(notice) : nullptr;
  }
  // RFC 5280, 4.2.1.4: with anyPolicy these two alone
  if (policy.OidEquiv(sxASN_anyPolicy) || from.type.Len() < 1 || !sxIsStrictElement(from.octets)) return nullptr;
  auto raw = std::make_unique<sxAsnRawAny>();
  raw->SetData(from.octets.data(), static_cast<int>(from.octets.size()));
  return raw;
}

const char *WritePolicies(const std::vector<sxPolicy> &policies, sxASN_CertificatePolicies *tree) {
  if (const char *const fault = sxCountFault(policies.size(), "no policy"); fault != nullptr) return fault;
  std::vector<sxOctetView> ids;
  for (const sxPolicy &policy : policies) {
    sxASN_PolicyInformation *const info = tree->Append();
    info->policyIdentifier = new sxAsnOid(policy.id);
    ids.push_back(sxView(policy.id.Data(), policy.id.Len()));
    if (policy.id.Len() < 1) return "a policy without identifier";
    if (policy.qualifiers.empty()) continue;
    if (const char *const fault = sxCountFault(policy.qualifiers.size(), nullptr); fault != nullptr) return fault;
    info->policyQualifiers = new sxASN_PolicyInformationSeqOf;
    for (const sxPolicyQualifier &qualifier : policy.qualifiers) {
      std::unique_ptr<sxAsnType> value = QualifierOf(qualifier, policy.id);
      if (value == nullptr) return "a qualifier that is no URI, or no text of 1 to 200 characters";
      sxASN_PolicyQualifierInfo *const out = info->policyQualifiers->Append();
      out->policyQualifierId = new sxAsnOid(qualifier.type);
      out->qualifier = new sxAsnAny(qualifier.type, value.release());
    }
  }
  return sxHasTwice(std::move(ids)) ? "a policy twice" : nullptr;
}

const char *WriteMappings(const std::vector<sxPolicyMapping> &mappings, sxASN_PolicyMappings *tree) {
  if (const char *const fault = sxCountFault(mappings.size(), "no mapping"); fault != nullptr) return fault;
  for (const sxPolicyMapping &mapping : mappings) {
    for (const sxAsnOid *const policy : {&mapping.issuerDomain, &mapping.subjectDomain}) {
      if (policy->Len() < 1 || policy->OidEquiv(sxASN_anyPolicy)) return "no policy, or any policy";
    }
    sxASN_PolicyMappingsSeq *const out = tree->Append();
    out->issuerDomainPolicy = new sxAsnOid(mapping.issuerDomain);
    out->subjectDomainPolicy = new sxAsnOid(mapping.subjectDomain);
  }
  return nullptr;
}

// --- printing ---

void PrintLine(SxStream *out, int indent, const char *label, const std::string &text) {
  if (text.empty()) return;
  out->Indent(indent);
  out->Put(label);
  out->Put(sxOneLine(text));
  out->Put("\n");
}

void PrintQualifier(const sxPolicyQualifier &qualifier, SxStream *out, int indent) {
  PrintLine(out, indent, "CPS: ", qualifier.cpsUri);
  PrintLine(out, indent, "User Notice: ", qualifier.explicitText);
  if (!qualifier.organization.empty()) {
    std::string numbers;
    for (const int number : qualifier.noticeNumbers) numbers += " " + std::to_string(number);
    PrintLine(out, indent, "Notice Reference: ", qualifier.organization + numbers);
  }
  if (qualifier.octets.empty()) return;
  const size_t shown = std::min(qualifier.octets.size(), kMaxQualifierShown);
  std::string text = sxOidText(qualifier.type) + ": ";
  kxAppendHex(&text, {qualifier.octets.data(), shown});
  PrintLine(out, indent, "Qualifier ", shown < qualifier.octets.size() ? text + "..." : text);
}

}  // namespace

template <>
void PoliciesImp::Sprint(SxStream *out, int indent) const {
  out->Indent(indent);
  out->Printf("%s:\n", kName);
  for (const sxPolicy &policy : Get()) {
    PrintLine(out, indent + 1, "", policy.id.OidEquiv(sxASN_anyPolicy) ? "any policy" : sxOidText(policy.id));
    for (const sxPolicyQualifier &qualifier : policy.qualifiers) PrintQualifier(qualifier, out, indent + 2);
  }
}

template <>
void MappingsImp::Sprint(SxStream *out, int indent) const {
  out->Indent(indent);
  out->Printf("%s:\n", kName);
  for (const sxPolicyMapping &mapping : Get()) {
    PrintLine(out, indent + 1, "",
              "issuer's " + sxOidText(mapping.issuerDomain) + " = subject's " + sxOidText(mapping.subjectDomain));
  }
}

sxCertPolicies::sxCertPolicies(std::vector<sxPolicy> policies) : sxExtension(new PoliciesImp(std::move(policies))) {}
const std::vector<sxPolicy> &sxCertPolicies::Policies() const { return PoliciesImp::Of(*this); }

sxPolicyMappings::sxPolicyMappings(std::vector<sxPolicyMapping> mappings)
    : sxExtension(new MappingsImp(std::move(mappings))) {}
const std::vector<sxPolicyMapping> &sxPolicyMappings::Mappings() const { return MappingsImp::Of(*this); }

sxExtension *sxParseCertPolicies(const sxASN_Extension &ext, int &understood) {
  return PoliciesImp::Parse(ext, understood, ReadPolicies);
}
sxExtension *sxParsePolicyMappings(const sxASN_Extension &ext, int &understood) {
  return MappingsImp::Parse(ext, understood, ReadMappings);
}
sxASN_Extension *sxComposeCertPolicies(const sxExtension &ext, int critical) {
  return PoliciesImp::Compose(ext, sxASN_id_ce_certificatePolicies, critical, WritePolicies);
}
sxASN_Extension *sxComposePolicyMappings(const sxExtension &ext, int critical) {
  return MappingsImp::Compose(ext, sxASN_id_ce_policyMappings, critical, WriteMappings);
}
