#include "extensionForms.h"

#include <string_view>
#include <vector>

#include "extensionRules.h"
#include "generalNameForms.h"
#include "issueRules.h"
#include "plainFields.h"
#include "strictDer.h"
#include "sxExtension_imp.h"

namespace {

constexpr unsigned char kAnyPolicy[] = {0x55, 0x1D, 32, 0};
constexpr unsigned char kQualifierCps[] = {0x2B, 6, 1, 5, 5, 7, 2, 1};
constexpr unsigned char kQualifierNotice[] = {0x2B, 6, 1, 5, 5, 7, 2, 2};
constexpr size_t kNumReasons = 9;
constexpr int kVisibleString = 26;

constexpr sxFormFault kGood{};
constexpr sxFormFault Wrong(const char *reason) { return {reason, false}; }
constexpr sxFormFault NotDer(const char *reason) { return {reason, true}; }
constexpr sxFormFault kNotItsType = Wrong("it is not of its type");
constexpr sxFormFault kEmptyList = Wrong("a list without elements");
constexpr sxFormFault kDefault = NotDer("a default that is written");

// Elements of a list, one at least. @param ask  takes one off the reader and says what is wrong with it
template <class Ask>
sxFormFault EachOf(sxDerReader list, const Ask &ask) {
  if (list.AtEnd()) return kEmptyList;
  while (!list.AtEnd()) {
    if (const sxFormFault fault = ask(list); fault.reason != nullptr) return fault;
  }
  return kGood;
}

// The same of a value that is one SEQUENCE OF.
template <class Ask>
sxFormFault EachIn(sxOctetView value, const Ask &ask) {
  sxDerReader all(value), list;
  return all.Enter(kDerSequence, &list) && all.AtEnd() ? EachOf(list, ask) : kNotItsType;
}

// Of an INTEGER under a tag that hides its type. All of them here are 0..MAX.
sxFormFault CountFault(sxOctetView number) {
  if (!sxIsStrictContent(kDerInteger, number)) return NotDer("a number that is not in the fewest octets");
  return number[0] < 0x80 ? kGood : Wrong("a negative number");
}

// Bits with names: behind the last one that is set there are none (X.690, 11.2.2), and those that no octet holds are
// zero (11.2.1). @param bits  content
sxFormFault NamedBitsFault(sxOctetView bits) {
  if (!sxIsStrictContent(kDerBitString, bits)) return NotDer("unused bits that are set");
  if (bits.size() > 1 && (bits.back() >> bits[0] & 1) == 0) return NotDer("zero bits at the end");
  return kGood;
}

sxFormFault NameFault(sxDerReader &names, sxNameUse use) {
  sxDerElement name;
  if (!names.Take(&name)) return kNotItsType;
  return Wrong(sxNameFault(name, use));
}

sxFormFault NamesFault(sxDerReader names) {
  return EachOf(names, [](sxDerReader &list) { return NameFault(list, sxNameUse::kName); });
}

sxFormFault AccessFault(sxDerReader &accesses) {
  sxDerReader access;
  sxOctetView method;
  if (!accesses.Enter(kDerSequence, &access) || !access.Take(kDerOid, &method)) return kNotItsType;
  const sxFormFault fault = NameFault(access, sxNameUse::kName);
  return fault.reason == nullptr && !access.AtEnd() ? kNotItsType : fault;
}

//   GeneralSubtree ::= SEQUENCE { base GeneralName, minimum [0] INTEGER DEFAULT 0, maximum [1] INTEGER OPTIONAL }
// RFC 5280, 4.2.1.10: the minimum is zero, and there is no maximum.
sxFormFault SubtreeFault(sxDerReader &subtrees) {
  sxDerReader fields;
  sxOctetView minimum;
  if (!subtrees.Enter(kDerSequence, &fields)) return kNotItsType;
  if (const sxFormFault fault = NameFault(fields, sxNameUse::kBase); fault.reason != nullptr) return fault;
  if (fields.AtEnd()) return kGood;
  if (!fields.Take(DerContext(0), &minimum)) return Wrong("a maximum");
  if (const sxFormFault fault = CountFault(minimum); fault.reason != nullptr) return fault;
  return minimum.size() == 1 && minimum[0] == 0 && fields.AtEnd() ? kDefault : Wrong("a minimum or maximum");
}

//   DisplayText ::= CHOICE { ia5String, visibleString, bmpString, utf8String }
// RFC 5280, 4.2.1.4: one of more than 200 characters is no reason to refuse, whoever may make it.
bool TakeText(sxDerReader &from) {
  sxDerElement text;
  if (!from.Take(&text) || text.content.empty()) return false;
  return text.tag == kDerIa5String || text.tag == kVisibleString || text.tag == kDerBmpString ||
         text.tag == kDerUtf8String;
}

//   UserNotice ::= SEQUENCE { noticeRef NoticeReference OPTIONAL, explicitText DisplayText OPTIONAL }
//   NoticeReference ::= SEQUENCE { organization DisplayText, noticeNumbers SEQUENCE OF INTEGER }
bool TakeNotice(sxDerReader &from) {
  sxDerReader notice, reference, numbers;
  sxOctetView number;
  if (!from.Enter(kDerSequence, &notice)) return false;
  if (notice.NextIs(kDerSequence)) {
    if (!notice.Enter(kDerSequence, &reference) || !TakeText(reference) || !reference.Enter(kDerSequence, &numbers) ||
        !reference.AtEnd()) {
      return false;
    }
    while (!numbers.AtEnd()) {
      if (!numbers.Take(kDerInteger, &number)) return false;
    }
  }
  return notice.AtEnd() || (TakeText(notice) && notice.AtEnd());
}

//   PolicyQualifierInfo ::= SEQUENCE { policyQualifierId OBJECT IDENTIFIER, qualifier ANY }
sxFormFault QualifierFault(sxDerReader &qualifiers, bool isOfAny) {
  sxDerReader fields;
  sxOctetView type, uri;
  sxDerElement other;
  if (!qualifiers.Enter(kDerSequence, &fields) || !fields.Take(kDerOid, &type)) return kNotItsType;
  bool isOne = false;
  if (sxEqual(type, kQualifierCps)) {
    isOne = fields.Take(kDerIa5String, &uri) && !uri.empty();
  } else if (sxEqual(type, kQualifierNotice)) {
    isOne = TakeNotice(fields);
  } else {
    if (isOfAny) return Wrong("a qualifier that any policy must not have");
    isOne = fields.Take(&other);
  }
  return isOne && fields.AtEnd() ? kGood : Wrong("a qualifier that is none of its type");
}

sxFormFault PolicyFault(sxDerReader &policies, std::vector<sxOctetView> *ids) {
  sxDerReader fields;
  sxOctetView id;
  if (!policies.Enter(kDerSequence, &fields) || !fields.Take(kDerOid, &id)) return kNotItsType;
  ids->push_back(id);
  if (fields.AtEnd()) return kGood;
  sxDerReader qualifiers;
  if (!fields.Enter(kDerSequence, &qualifiers) || !fields.AtEnd()) return kNotItsType;
  const bool isAny = sxEqual(id, kAnyPolicy);
  return EachOf(qualifiers, [isAny](sxDerReader &list) { return QualifierFault(list, isAny); });
}

sxFormFault MappingFault(sxDerReader &mappings) {
  sxDerReader fields;
  sxOctetView from, to;
  if (!mappings.Enter(kDerSequence, &fields) || !fields.Take(kDerOid, &from) || !fields.Take(kDerOid, &to) ||
      !fields.AtEnd()) {
    return kNotItsType;
  }
  return sxEqual(from, kAnyPolicy) || sxEqual(to, kAnyPolicy) ? Wrong("a mapping of any policy") : kGood;
}

//   DistributionPointName ::= CHOICE { fullName [0] GeneralNames, nameRelativeToCRLIssuer [1] RelativeDistinguishedName }
sxFormFault PointNameFault(sxDerReader choice, size_t numIssuers) {
  sxDerReader names;
  sxDerElement relative;
  if (choice.Enter(DerContextConstructed(0), &names)) return choice.AtEnd() ? NamesFault(names) : kNotItsType;
  if (!choice.Take(DerContextConstructed(1), &relative) || !choice.AtEnd()) return kNotItsType;
  if (!sxIsRdnContent(relative.content)) return Wrong("a relative name that is none");
  return numIssuers > 1 ? Wrong("a relative name beside several CRL issuers") : kGood;
}

// RFC 5280, 4.2.1.13: as in the CRL, which has a directory name. @param[out] number  of them
sxFormFault CrlIssuerFault(sxDerReader issuers, size_t *number) {
  return EachOf(issuers, [number](sxDerReader &names) {
    ++*number;
    return names.NextIs(DerContextConstructed(4)) ? NameFault(names, sxNameUse::kName)
                                                  : Wrong("a CRL issuer that is no directory name");
  });
}

//   DistributionPoint ::= SEQUENCE { distributionPoint [0] OPTIONAL, reasons [1] OPTIONAL, cRLIssuer [2] OPTIONAL }
sxFormFault PointFault(sxDerReader &points) {
  sxDerReader point, name, issuers;
  sxOctetView reasons;
  if (!points.Enter(kDerSequence, &point)) return kNotItsType;
  const bool hasName = point.NextIs(DerContextConstructed(0));
  if (hasName && !point.Enter(DerContextConstructed(0), &name)) return kNotItsType;
  if (point.Take(DerContext(1), &reasons)) {
    if (const sxFormFault fault = NamedBitsFault(reasons); fault.reason != nullptr) return fault;
    if (reasons.size() < 2) return Wrong("reasons without any");
    if ((reasons.size() - 1) * 8 - reasons[0] > kNumReasons) return Wrong("a reason without a name");
  }
  size_t numIssuers = 0;
  if (point.Enter(DerContextConstructed(2), &issuers)) {
    if (const sxFormFault fault = CrlIssuerFault(issuers, &numIssuers); fault.reason != nullptr) return fault;
  }
  if (!point.AtEnd()) return kNotItsType;
  if (!hasName && numIssuers == 0) return Wrong("a distribution point with neither a name nor a CRL issuer");
  return hasName ? PointNameFault(name, numIssuers) : kGood;
}

sxFormFault AttributeFault(sxDerReader &attributes) {
  sxDerReader attribute, values;
  sxOctetView type;
  if (!attributes.Enter(kDerSequence, &attribute) || !attribute.Take(kDerOid, &type) ||
      !attribute.Enter(kDerSet, &values) || !attribute.AtEnd()) {
    return kNotItsType;
  }
  return values.AtEnd() ? Wrong("an attribute without values") : kGood;
}

}  // namespace

sxFormFault sxKeyUsageFault(sxOctetView value) {
  sxDerReader all(value);
  sxOctetView bits;
  return all.Take(kDerBitString, &bits) && all.AtEnd() ? NamedBitsFault(bits) : kNotItsType;
}

sxFormFault sxBasicConstraintsFault(sxOctetView value) {
  sxPlainConstraints constraints;
  if (!sxReadPlainConstraints(value, &constraints)) return kNotItsType;
  return constraints.saysFalse ? kDefault : kGood;
}

sxFormFault sxSubjectKeyIdFault(sxOctetView value) {
  sxDerReader all(value);
  sxOctetView id;
  return all.Take(kDerOctetString, &id) && all.AtEnd() ? kGood : kNotItsType;
}

//   AuthorityKeyIdentifier ::= SEQUENCE {
//     keyIdentifier [0] OPTIONAL, authorityCertIssuer [1] GeneralNames OPTIONAL, authorityCertSerialNumber [2] OPTIONAL }
sxFormFault sxAuthorityKeyIdFault(sxOctetView value) {
  sxDerReader all(value), fields, issuer;
  sxOctetView id, serial;
  if (!all.Enter(kDerSequence, &fields) || !all.AtEnd()) return kNotItsType;
  if (fields.NextIs(DerContext(0)) && !fields.Take(DerContext(0), &id)) return kNotItsType;
  const bool hasIssuer = fields.NextIs(DerContextConstructed(1));
  if (hasIssuer && !fields.Enter(DerContextConstructed(1), &issuer)) return kNotItsType;
  const bool hasSerial = fields.NextIs(DerContext(2));
  if (hasSerial && !fields.Take(DerContext(2), &serial)) return kNotItsType;
  if (!fields.AtEnd()) return kNotItsType;
  if (hasIssuer != hasSerial) return Wrong("an issuer's name without its serial number, or the reverse");
  if (hasSerial && !sxIsStrictContent(kDerInteger, serial)) return NotDer("a number that is not in the fewest octets");
  return hasIssuer ? NamesFault(issuer) : kGood;
}

sxFormFault sxAltNamesFault(sxOctetView value) {
  return EachIn(value, [](sxDerReader &names) { return NameFault(names, sxNameUse::kName); });
}

//   NameConstraints ::= SEQUENCE { permittedSubtrees [0] OPTIONAL, excludedSubtrees [1] OPTIONAL }
sxFormFault sxNameConstraintsFault(sxOctetView value) {
  sxDerReader all(value), fields, subtrees;
  if (!all.Enter(kDerSequence, &fields) || !all.AtEnd()) return kNotItsType;
  if (fields.AtEnd()) return kEmptyList;
  for (int number = 0; number < 2; ++number) {
    if (!fields.Enter(DerContextConstructed(number), &subtrees)) continue;
    if (const sxFormFault fault = EachOf(subtrees, SubtreeFault); fault.reason != nullptr) return fault;
  }
  return fields.AtEnd() ? kGood : kNotItsType;
}

sxFormFault sxPoliciesFault(sxOctetView value) {
  std::vector<sxOctetView> ids;
  const sxFormFault fault = EachIn(value, [&ids](sxDerReader &policies) { return PolicyFault(policies, &ids); });
  if (fault.reason != nullptr || ids.size() < 2) return fault;
  return sxHasTwice(std::move(ids)) ? Wrong("a policy twice") : kGood;
}

sxFormFault sxPolicyMappingsFault(sxOctetView value) { return EachIn(value, MappingFault); }

//   PolicyConstraints ::= SEQUENCE { requireExplicitPolicy [0] OPTIONAL, inhibitPolicyMapping [1] OPTIONAL }
sxFormFault sxPolicyConstraintsFault(sxOctetView value) {
  sxDerReader all(value), fields;
  sxOctetView number;
  if (!all.Enter(kDerSequence, &fields) || !all.AtEnd()) return kNotItsType;
  if (fields.AtEnd()) return kEmptyList;
  for (int tag = 0; tag < 2; ++tag) {
    if (!fields.Take(DerContext(tag), &number)) continue;
    if (const sxFormFault fault = CountFault(number); fault.reason != nullptr) return fault;
  }
  return fields.AtEnd() ? kGood : kNotItsType;
}

sxFormFault sxInhibitAnyPolicyFault(sxOctetView value) {
  sxDerReader all(value);
  sxOctetView number;
  return all.Take(kDerInteger, &number) && all.AtEnd() ? CountFault(number) : kNotItsType;
}

sxFormFault sxExtKeyUsageFault(sxOctetView value) {
  return EachIn(value, [](sxDerReader &purposes) {
    sxOctetView purpose;
    return purposes.Take(kDerOid, &purpose) ? kGood : kNotItsType;
  });
}

sxFormFault sxDistPointsFault(sxOctetView value) { return EachIn(value, PointFault); }
sxFormFault sxInfoAccessFault(sxOctetView value) { return EachIn(value, AccessFault); }
sxFormFault sxSubjectDirectoryFault(sxOctetView value) { return EachIn(value, AttributeFault); }

sxFormFault sxTlsFeatureFault(sxOctetView value) {
  return EachIn(value, [](sxDerReader &features) {
    sxOctetView feature;
    return features.Take(kDerInteger, &feature) ? CountFault(feature) : kNotItsType;
  });
}

sxFormFault sxOcspNoCheckFault(sxOctetView value) {
  constexpr unsigned char kNull[] = {kDerNull, 0};
  return sxEqual(value, kNull) ? kGood : kNotItsType;
}
