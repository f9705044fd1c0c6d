#include "issueRules.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "extensionRules.h"
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/cert/issuedExtensions.h"
#include "kxcert/cert/sxExtensions.h"
#include "plainFields.h"
#include "strictDer.h"
#include "sxExtension_imp.h"

namespace {

constexpr uint32_t kMaxCount = INT32_MAX;  // what readers keep of a path length
constexpr size_t kNumUsages = 9;
constexpr unsigned kCertSign = 1U << sxKU_keyCertSign, kCrlSign = 1U << sxKU_cRLSign;
constexpr int kMaxTypeLen = 10;  // content octets of the types below
constexpr unsigned char kEmptySequence[] = {kDerSequence, 0};

bool Is(sxOctetView content, const sxAsnOid &oid) { return sxEqual(content, sxView(oid.Data(), oid.Len())); }

// --- names ---

constexpr unsigned kUtf8OrPrintable = 1U << kDerUtf8String | 1U << kDerPrintableString;  // RFC 5280, 4.1.2.4
constexpr unsigned kPrintable = 1U << kDerPrintableString;
constexpr unsigned kIa5 = 1U << kDerIa5String;
constexpr unsigned kBits = 1U << kDerBitString;
constexpr int kNumericString = 18;
// What readers take for an attribute's value; one of another type costs them the whole certificate.
constexpr unsigned kStrings = kUtf8OrPrintable | kIa5 | kBits | 1U << kNumericString | 1U << kDerTeletexString |
                              1U << kDerUniversalString | 1U << kDerBmpString;

struct AttributeRule {
  unsigned char oid[kMaxTypeLen];
  size_t oidLen;
  unsigned tags;
  int minChars, maxChars;  // upper bounds of RFC 5280, A.1
};
constexpr int kNoLimit = INT32_MAX;
constexpr AttributeRule kAttributes[] = {
    {{0x55, 4, 3}, 3, kUtf8OrPrintable, 1, 64},                                        // commonName
    {{0x55, 4, 4}, 3, kUtf8OrPrintable, 1, 32768},                                     // surname
    {{0x55, 4, 5}, 3, kPrintable, 1, 64},                                              // serialNumber
    {{0x55, 4, 6}, 3, kPrintable, 2, 2},                                               // countryName
    {{0x55, 4, 7}, 3, kUtf8OrPrintable, 1, 128},                                       // localityName
    {{0x55, 4, 8}, 3, kUtf8OrPrintable, 1, 128},                                       // stateOrProvinceName
    {{0x55, 4, 10}, 3, kUtf8OrPrintable, 1, 64},                                       // organizationName
    {{0x55, 4, 11}, 3, kUtf8OrPrintable, 1, 64},                                       // organizationalUnitName
    {{0x55, 4, 12}, 3, kUtf8OrPrintable, 1, 64},                                       // title
    {{0x55, 4, 41}, 3, kUtf8OrPrintable, 1, 32768},                                    // name
    {{0x55, 4, 42}, 3, kUtf8OrPrintable, 1, 32768},                                    // givenName
    {{0x55, 4, 43}, 3, kUtf8OrPrintable, 1, 32768},                                    // initials
    {{0x55, 4, 44}, 3, kUtf8OrPrintable, 1, 32768},                                    // generationQualifier
    {{0x55, 4, 45}, 3, kBits, 1, kNoLimit},                                            // x500UniqueIdentifier
    {{0x55, 4, 46}, 3, kPrintable, 1, kNoLimit},                                       // dnQualifier
    {{0x55, 4, 65}, 3, kUtf8OrPrintable, 1, 128},                                      // pseudonym
    {{0x09, 0x92, 0x26, 0x89, 0x93, 0xF2, 0x2C, 0x64, 1, 25}, 10, kIa5, 1, kNoLimit},  // domainComponent
    {{0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 1, 9, 1}, 9, kIa5, 1, 255},                  // emailAddress
};

// Every one of the tags allowed but UTF8String has a character an octet.
int NumChars(const sxDerElement &value) {
  return value.tag == kDerUtf8String ? sxUtf8Len(value.content) : sxLen(value.content);
}

bool Fits(const AttributeRule &rule, const sxDerElement &value) {
  if (value.tag > kDerBmpString || (rule.tags >> value.tag & 1) == 0) return false;
  const int numChars = NumChars(value);
  return numChars >= rule.minChars && numChars <= rule.maxChars;
}

// Of one character at least: DirectoryString has SIZE (1..MAX).
bool IsString(sxOctetView, const sxDerElement &value) {
  return value.tag <= kDerBmpString && (kStrings >> value.tag & 1) != 0 && !value.content.empty();
}

bool IsSurrogate(unsigned char highOctet) { return (highOctet & 0xF8) == 0xD8; }

bool IsUcs2(sxOctetView units) {
  for (size_t i = 0; i < units.size(); i += 2) {
    if (IsSurrogate(units[i])) return false;
  }
  return units.size() % 2 == 0;
}

bool IsIssuedAttribute(sxOctetView type, const sxDerElement &value) {
  for (const AttributeRule &rule : kAttributes) {
    if (sxEqual(type, {rule.oid, rule.oidLen})) return Fits(rule, value);
  }
  return IsString(type, value) && sxIsComparedValue(value);
}

using IsAttribute = bool (*)(sxOctetView type, const sxDerElement &value);

//   RelativeDistinguishedName ::= SET SIZE (1..MAX) OF SEQUENCE { type OBJECT IDENTIFIER, value ANY }
bool IsRdn(sxDerReader assertions, IsAttribute isAttribute) {
  sxDerReader assertion;
  sxOctetView type;
  sxDerElement value;
  if (assertions.AtEnd()) return false;
  while (!assertions.AtEnd()) {
    if (!assertions.Enter(kDerSequence, &assertion) || !assertion.Take(kDerOid, &type) || !assertion.Take(&value) ||
        !assertion.AtEnd() || !isAttribute(type, value)) {
      return false;
    }
  }
  return true;
}

bool IsName(sxOctetView name, IsAttribute isAttribute) {
  sxDerReader all(name), rdns, assertions;
  if (!all.Enter(kDerSequence, &rdns) || !all.AtEnd()) return false;
  while (!rdns.AtEnd()) {
    if (!rdns.Enter(kDerSet, &assertions) || !IsRdn(assertions, isAttribute)) return false;
  }
  return true;
}

// --- extensions ---

// The bits that have names are nine, and one of them at least is set (RFC 5280, 4.2.1.3).
bool IsIssuedUsage(sxOctetView value) {
  sxOctetView bits;
  if (!sxDerReader(value).Take(kDerBitString, &bits) || bits.size() < 2) return false;
  return bits.size() * 8 - bits[0] <= 8 + kNumUsages;
}

sxIssueStatus CheckValue(const sxExtensionRule &rule, sxOctetView value) {
  sxDerElement element;
  if (!sxDerReader(value).Take(rule.tag, &element)) return sxIssue_extension;
  if (element.content.empty() && !rule.mayBeEmpty) return sxIssue_empty_extension;
  const bool isSound = rule.form(value).reason == nullptr;
  if (sxEqual(rule.oid, kOidKeyUsage)) return isSound && IsIssuedUsage(value) ? sxIssue_ok : sxIssue_key_usage;
  return isSound ? sxIssue_ok : sxIssue_extension;
}

const sxExtToWrite *Find(const std::vector<sxExtToWrite> &extensions, sxOctetView oid) {
  const auto found = std::ranges::find_if(extensions, [oid](const sxExtToWrite &ext) { return sxEqual(ext.oid, oid); });
  return found == extensions.end() ? nullptr : &*found;
}

bool HasTwice(const std::vector<sxExtToWrite> &extensions) {
  std::vector<sxOctetView> oids;
  oids.reserve(extensions.size());
  for (const sxExtToWrite &ext : extensions) oids.push_back(ext.oid);
  return sxHasTwice(std::move(oids));
}

// A critical extension must be understood (RFC 5280, 4.2), also one that certificates do not keep.
bool IsUnderstood(const sxPlainExtension &plain) {
  sxASN_Extension ext;
  ext.extnID = new sxAsnOid;
  ext.extnID->Set(plain.oid.data(), sxLen(plain.oid));
  ext.extnValue = new sxAsnOcts(plain.value.data(), sxLen(plain.value));
  for (const sxExtParser *row : {Get_ExtParserTable(), Get_IssuedExtParserTable()}) {
    for (; row->oid != nullptr; ++row) {
      if (row->parse == sxParseNoParse || !row->oid->OidEquiv(*ext.extnID)) continue;
      int understood = 0;
      return std::unique_ptr<sxExtension>(row->parse(ext, understood)) != nullptr;
    }
  }
  return false;
}

// @return false for a value that does not decode, and for a critical one that nobody here understands
bool ReadIssuerExtension(const sxPlainExtension &ext, sxIssuerFacts *facts) {
  if (sxEqual(ext.oid, kOidBasicConstraints)) {
    sxPlainConstraints constraints;
    const bool isRead = sxReadPlainConstraints(ext.value, &constraints);
    facts->isCA = isRead && constraints.isCA;
    facts->isLast = constraints.hasPathLen && constraints.pathLen == 0;
    return isRead;
  }
  if (sxEqual(ext.oid, kOidKeyUsage)) {
    unsigned usage = 0;
    const bool isRead = sxReadPlainUsage(ext.value, &usage);
    facts->mayNotSign = (usage & kCertSign) == 0;
    return isRead;
  }
  if (sxEqual(ext.oid, kOidSubjectKeyId)) {
    sxDerReader all(ext.value);
    return all.Take(kDerOctetString, &facts->keyId) && all.AtEnd() && !facts->keyId.empty();
  }
  return !ext.critical || IsUnderstood(ext);
}

// The default is absent; the composer of the library spells it out.
sxIssueStatus Normalize(sxExtToWrite *ext) {
  sxPlainConstraints constraints;
  if (!sxReadPlainConstraints(ext->value, &constraints) || constraints.pathLen > kMaxCount) return sxIssue_extension;
  if (constraints.hasPathLen && !constraints.isCA) return sxIssue_basic_constraints;
  if (constraints.saysFalse) ext->value = kEmptySequence;
  return sxIssue_ok;
}

}  // namespace

bool sxCheckName(sxOctetView name) { return sxIsStrictElement(name) && IsName(name, IsIssuedAttribute); }
bool sxIsNameForm(sxOctetView name) { return IsName(name, IsString); }
bool sxIsComparedValue(const sxDerElement &value) {
  return value.tag != kNumericString && (value.tag != kDerBmpString || IsUcs2(value.content));
}
bool sxIsComparedName(sxOctetView name) {
  return IsName(name, [](sxOctetView, const sxDerElement &value) { return sxIsComparedValue(value); });
}
bool sxIsRdnContent(sxOctetView content) { return IsRdn(sxDerReader(content), IsString); }

sxIssueStatus sxTakeExtensions(const sxASN_Extensions *tree, std::vector<sxExtToWrite> *out) {
  if (tree == nullptr) return sxIssue_ok;
  for (const sxASN_Extension &ext : *tree) {
    if (ext.extnID == nullptr || ext.extnValue == nullptr) return sxIssue_extension;
    const bool isCritical = ext.critical != nullptr && ext.critical->Value() == 1;
    out->push_back({sxView(ext.extnID->Data(), ext.extnID->Len()), isCritical,
                    sxView(ext.extnValue->Data(), ext.extnValue->Len())});
    if (!sxIsStrictElement(out->back().value)) return sxIssue_extension;
    if (!Is(out->back().oid, sxASN_id_ce_basicConstraints)) continue;
    if (const sxIssueStatus status = Normalize(&out->back()); status != sxIssue_ok) return status;
  }
  return HasTwice(*out) ? sxIssue_extension_twice : sxIssue_ok;
}

sxIssueStatus sxCheckExtensions(bool hasSubject, std::vector<sxExtToWrite> *extensions, sxSubjectFacts *facts) {
  sxPlainConstraints constraints;
  if (const sxExtToWrite *const ext = Find(*extensions, kOidBasicConstraints); ext != nullptr) {
    sxReadPlainConstraints(ext->value, &constraints);
  }
  facts->isCA = constraints.isCA;
  facts->hasAltName = Find(*extensions, kOidSubjectAltName) != nullptr;
  for (sxExtToWrite &ext : *extensions) {
    const sxExtensionRule *const rule = sxExtensionRuleOf(ext.oid);
    if (rule == nullptr) continue;
    if (rule->isForCAs && !facts->isCA) return sxIssue_ca_extension;
    if (const sxIssueStatus status = CheckValue(*rule, ext.value); status != sxIssue_ok) return status;
    ext.critical = sxCriticalityOf(*rule, ext.critical, facts->isCA, hasSubject);
  }
  const sxExtToWrite *const usage = Find(*extensions, kOidKeyUsage);
  unsigned bits = 0;
  if (usage != nullptr && !sxReadPlainUsage(usage->value, &bits)) return sxIssue_key_usage;
  facts->signsCrls = (bits & kCrlSign) != 0;
  // RFC 5280, 4.2.1.3 and 4.2.1.9: a CA says what its key is for, and only a CA signs certificates.
  if (facts->isCA && usage == nullptr) return sxIssue_key_usage;
  if ((bits & kCertSign) != 0 && !facts->isCA) return sxIssue_key_usage;
  if (constraints.hasPathLen && (bits & kCertSign) == 0) return sxIssue_key_usage;
  return sxIssue_ok;
}

sxIssueStatus sxReadIssuer(sxOctetView extensions, sxIssuerFacts *facts) {
  std::vector<sxOctetView> oids;
  sxPlainExtension ext;
  for (sxDerReader each(extensions); !each.AtEnd();) {
    if (!sxTakePlainExtension(each, &ext) || !ReadIssuerExtension(ext, facts)) return sxIssue_issuer_extension;
    oids.push_back(ext.oid);
  }
  if (sxHasTwice(std::move(oids))) return sxIssue_issuer_extension;
  return facts->isCA && !facts->mayNotSign ? sxIssue_ok : sxIssue_issuer_not_ca;
}
