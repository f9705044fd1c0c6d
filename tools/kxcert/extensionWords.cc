#include "extensionWords.h"

#include <algorithm>
#include <iterator>
#include <vector>

#include "certFacts.h"
#include "characters.h"
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/modules/PKIX1Implicit88.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/cert/issuedExtensions.h"
#include "kxcert/cert/sxCRL.h"
#include "kxcert/foundation/textStream.h"
#include "nameForm.h"
#include "oidInput.h"
#include "unknownParts.h"
#include "visibleText.h"
#include "writtenTime.h"

namespace {

constexpr size_t kMaxValueShown = 4096;  // octets of a value that is no text; a file may hold megabytes

void PutLine(SxStream *out, int indent, const std::string &text) {
  out->Indent(indent);
  out->Put(text);
  out->Put("\n");
}

template <class Tree>
bool Decode(Tree &tree, const sxASN_Extension &ext) {
  return sxASN_DecodeBuf(tree, reinterpret_cast<const char *>(ext.extnValue->Data()), ext.extnValue->Len()) == 0;
}

std::string HexOfTree(const sxAsnType &value) {
  const std::vector<unsigned char> der = ElementOf(value);
  if (der.empty()) return "(does not encode)";
  const size_t shown = std::min(der.size(), kMaxValueShown);
  return HexOf(der.data(), shown) + (shown < der.size() ? "... (" + Counted(der.size(), "octet") + ")" : "");
}

std::string Joined(const std::vector<std::string> &texts) {
  std::string all;
  for (const std::string &text : texts) all += (all.empty() ? "" : ",") + text;
  return all;
}

// --- names ---

struct KindAndValue {
  std::string kind, value;
};

std::string PartyText(const sxASN_EDIPartyName &party) {
  const std::string name = party.partyName != nullptr ? StringText(*party.partyName) : "(none)";
  return party.nameAssigner != nullptr ? name + ", assigned by " + StringText(*party.nameAssigner) : name;
}

// The type's name where it has one; the library writes its number.
std::string OtherNameText(const sxAnyName &name) {
  const std::string text = VisibleLine(name.Str()), oid = OidText(name.oid);
  return text.starts_with(oid + ":") ? NameOrOid(name.oid) + text.substr(oid.size()) : text;
}

KindAndValue WordsOf(const sxASN_GeneralName &name) {
  constexpr const char *kKinds[] = {"Other Name", "Email", "DNS", "X.400 Address", "DN",
                                    "EDI Party",  "URI",   "IP",  "Registered ID"};
  sxAnyName any;
  if (!any.Set(name, sxNameUse::kName)) {
    const int kind = name.ChoiceId();
    return {kind >= 0 && kind < static_cast<int>(std::size(kKinds)) ? kKinds[kind] : "Name",
            "(cannot be read) " + HexOfTree(name)};
  }
  switch (any.kind) {
    case sxNameKind::kOther: return {any.Label(), OtherNameText(any)};
    case sxNameKind::kDn: return {any.Label(), NameText(&*any.dn)};
    case sxNameKind::kEdi: return {any.Label(), PartyText(*name.ediPartyName())};
    case sxNameKind::kOid: return {any.Label(), NamedOid(any.oid)};
    default: return {any.Label(), VisibleLine(any.Str())};
  }
}

Facts TellNames(const sxASN_GeneralNames &names, SxStream *out, int indent, const char *label = "") {
  auto facts = Facts::array();
  for (const sxASN_GeneralName &name : names) {
    const KindAndValue words = WordsOf(name);
    PutLine(out, indent, label + words.kind + ": " + words.value);
    facts.push_back({{"kind", words.kind}, {"value", words.value}});
  }
  return facts;
}

bool TellNameList(const char *title, const sxASN_Extension &ext, SxStream *out, int indent, Facts *facts) {
  sxASN_GeneralNames names;
  if (!Decode(names, ext)) return false;
  PutLine(out, indent, title);
  (*facts)["names"] = TellNames(names, out, indent + 1);
  return true;
}

bool TellSubjectNames(const sxASN_Extension &ext, SxStream *out, int indent, Facts *facts) {
  return TellNameList("Subject Alternate names:", ext, out, indent, facts);
}
bool TellIssuerNames(const sxASN_Extension &ext, SxStream *out, int indent, Facts *facts) {
  return TellNameList("Issuer Alternate names:", ext, out, indent, facts);
}
bool TellEntryIssuer(const sxASN_Extension &ext, SxStream *out, int indent, Facts *facts) {
  return TellNameList("Certificate Issuer:", ext, out, indent, facts);
}

// --- distribution points ---

std::vector<std::string> ReasonsOf(const sxASN_ReasonFlags &flags) {
  // RFC 5280, 4.2.1.13
  constexpr const char *kReasons[] = {"unused",      "keyCompromise",        "cACompromise",    "affiliationChanged",
                                      "superseded",  "cessationOfOperation", "certificateHold", "privilegeWithdrawn",
                                      "aACompromise"};
  std::vector<std::string> reasons;
  for (int bit = 0; bit < flags.BitLen(); ++bit) {
    if (flags.GetBit(bit) != 1) continue;
    if (bit < static_cast<int>(std::size(kReasons)))
      reasons.emplace_back(kReasons[bit]);
    else if (reasons.size() < kMaxValueShown)
      reasons.push_back("bit " + std::to_string(bit));
  }
  return reasons;
}

Facts TellPoint(const sxASN_DistributionPoint &point, SxStream *out, int indent) {
  Facts facts = {{"names", Facts::array()}};
  const sxASN_DistributionPointName *const name = point.distributionPoint;
  if (name != nullptr && name->fullName() != nullptr) {
    facts["names"] = TellNames(*name->fullName(), out, indent);
  } else if (name != nullptr && name->nameRelativeToCRLIssuer() != nullptr) {
    sxASN_RDNSequence alone;
    alone.AppendCopy(*name->nameRelativeToCRLIssuer());
    const sxDN dn(&alone);
    facts["relativeName"] = NameText(&dn);
    PutLine(out, indent, "Relative to the issuer: " + NameText(&dn));
  } else {
    PutLine(out, indent, "A point without a name");
  }
  if (point.reasons != nullptr) {
    const std::vector<std::string> reasons = ReasonsOf(*point.reasons);
    facts["reasons"] = reasons;
    PutLine(out, indent + 1, "Reasons: " + (reasons.empty() ? "none" : Joined(reasons)));
  }
  if (point.cRLIssuer != nullptr) facts["crlIssuer"] = TellNames(*point.cRLIssuer, out, indent + 1, "CRL Issuer: ");
  return facts;
}

bool TellPoints(const char *title, const sxASN_Extension &ext, SxStream *out, int indent, Facts *facts) {
  sxASN_CRLDistPointsSyntax points;
  if (!Decode(points, ext)) return false;
  PutLine(out, indent, title);
  (*facts)["points"] = Facts::array();
  for (const sxASN_DistributionPoint &point : points) (*facts)["points"].push_back(TellPoint(point, out, indent + 1));
  return true;
}

bool TellDistPoints(const sxASN_Extension &ext, SxStream *out, int indent, Facts *facts) {
  return TellPoints("CRL distribution Points:", ext, out, indent, facts);
}
bool TellFreshest(const sxASN_Extension &ext, SxStream *out, int indent, Facts *facts) {
  return TellPoints("Freshest CRL:", ext, out, indent, facts);
}

// --- access, keys, purposes ---

bool TellAccess(const char *title, const sxASN_Extension &ext, SxStream *out, int indent, Facts *facts) {
  sxASN_AuthorityInfoAccessSyntax accesses;
  if (!Decode(accesses, ext)) return false;
  PutLine(out, indent, title);
  (*facts)["accesses"] = Facts::array();
  const auto titleOf = [](const sxAsnOid &method) -> std::string {
    if (method.OidEquiv(sxASN_id_ad_ocsp)) return "OCSP";
    if (method.OidEquiv(sxASN_id_ad_caIssuers)) return "CA Issuers";
    if (method.OidEquiv(sxASN_id_ad_caRepository)) return "CA Repository";
    return method.OidEquiv(sxASN_id_ad_timeStamping) ? "Time Stamping" : NamedOid(method);
  };
  for (const sxASN_AccessDescription &access : accesses) {
    const KindAndValue words = WordsOf(*access.accessLocation);
    PutLine(out, indent + 1, titleOf(*access.accessMethod));
    PutLine(out, indent + 2, words.kind + ": " + words.value);
    (*facts)["accesses"].push_back(
        {{"method", OidText(*access.accessMethod)}, {"location", {{"kind", words.kind}, {"value", words.value}}}});
  }
  return true;
}

bool TellAuthorityAccess(const sxASN_Extension &ext, SxStream *out, int indent, Facts *facts) {
  return TellAccess("Authority Info Access:", ext, out, indent, facts);
}
bool TellSubjectAccess(const sxASN_Extension &ext, SxStream *out, int indent, Facts *facts) {
  return TellAccess("Subject Info Access:", ext, out, indent, facts);
}

std::string SpacedHex(const sxAsnOcts &octets) {
  std::string text;
  for (int i = 0; i < octets.Len(); ++i) text += " " + HexOf(octets.Data() + i, 1);
  return text;
}

bool TellAuthorityKey(const sxASN_Extension &ext, SxStream *out, int indent, Facts *facts) {
  sxASN_AuthorityKeyIdentifier keyId;
  if (!Decode(keyId, ext)) return false;
  PutLine(out, indent, "Authority Key Identifier:");
  if (keyId.keyIdentifier != nullptr) {
    const sxAsnOcts &id = *keyId.keyIdentifier;
    PutLine(out, indent + 1, "Key Id:" + SpacedHex(id));
    (*facts)["keyIdentifier"] = HexOf(id.Data(), static_cast<size_t>(id.Len()));
  }
  if (keyId.authorityCertIssuer != nullptr) {
    PutLine(out, indent + 1, "Authority issuer name:");
    (*facts)["issuer"] = TellNames(*keyId.authorityCertIssuer, out, indent + 2);
  }
  if (keyId.authorityCertSerialNumber != nullptr) {
    (*facts)["serial"] = NumberText(*keyId.authorityCertSerialNumber);
    PutLine(out, indent + 1, "Authority Serial Number: " + (*facts)["serial"].Text());
  }
  return true;
}

bool TellPurposes(const sxASN_Extension &ext, SxStream *out, int indent, Facts *facts) {
  sxASN_ExtKeyUsageSyntax purposes;
  if (!Decode(purposes, ext)) return false;
  std::vector<std::string> names;
  (*facts)["purposes"] = Facts::array();
  for (const sxAsnOid &purpose : purposes) {
    names.push_back(NameOrOid(purpose));
    (*facts)["purposes"].push_back({{"oid", OidText(purpose)}, {"name", names.back()}});
  }
  PutLine(out, indent, "Extended Key Usage: " + Joined(names));
  return true;
}

// --- times and attributes ---

std::string TimeTextOf(const sxAsnGeneralizedTime &time) {
  sxASN_Time either;
  either.Set_generalTime(time);
  return ExactTimeText(&either);
}

bool TellKeyPeriod(const sxASN_Extension &ext, SxStream *out, int indent, Facts *facts) {
  sxASN_PrivateKeyUsagePeriod period;
  if (!Decode(period, ext)) return false;
  PutLine(out, indent, "Private Key Usage Period:");
  const auto tell = [&](const char *label, const char *member, const sxAsnGeneralizedTime *time) {
    if (time == nullptr) return;
    const std::string text = TimeTextOf(*time);
    PutLine(out, indent + 1, label + text);
    (*facts)[member] = text;
  };
  tell("Not before: ", "notBefore", period.notBefore);
  tell("Not after:  ", "notAfter", period.notAfter);
  return true;
}

bool TellInvalidity(const sxASN_Extension &ext, SxStream *out, int indent, Facts *facts) {
  sxAsnGeneralizedTime time;
  if (!Decode(time, ext)) return false;
  (*facts)["time"] = TimeTextOf(time);
  PutLine(out, indent, "Invalidity Date: " + (*facts)["time"].Text());
  return true;
}

bool TellAttributes(const sxASN_Extension &ext, SxStream *out, int indent, Facts *facts) {
  sxASN_SubjectDirectoryAttributes attributes;
  if (!Decode(attributes, ext)) return false;
  PutLine(out, indent, "Subject Directory Attributes:");
  (*facts)["attributes"] = Facts::array();
  for (const sxASN_Attribute &attribute : attributes) {
    std::vector<std::string> values;
    for (const sxASN_AttributeValue &value : *attribute.values) {
      values.push_back(StringText(value));
      PutLine(out, indent + 1, NameOrOid(*attribute.type) + ": " + values.back());
    }
    (*facts)["attributes"].push_back(
        {{"oid", OidText(*attribute.type)}, {"name", NameOrOid(*attribute.type)}, {"values", values}});
  }
  return true;
}

// --- CRLs ---

bool TellNumber(const char *title, const sxASN_Extension &ext, SxStream *out, int indent, Facts *facts) {
  sxAsnInt number;
  if (!Decode(number, ext)) return false;
  (*facts)["number"] = NumberText(number);
  PutLine(out, indent, title + NumberText(number));
  return true;
}
bool TellCrlNumber(const sxASN_Extension &ext, SxStream *out, int indent, Facts *facts) {
  return TellNumber("CRL Number: ", ext, out, indent, facts);
}
bool TellDeltaBase(const sxASN_Extension &ext, SxStream *out, int indent, Facts *facts) {
  return TellNumber("Delta CRL, base: ", ext, out, indent, facts);
}

bool TellReason(const sxASN_Extension &ext, SxStream *out, int indent, Facts *facts) {
  sxASN_CRLReason reason;
  if (!Decode(reason, ext)) return false;
  const int number = static_cast<int>(reason.GetShortVal());
  const char *const name = reason.IsBig() ? nullptr : sxCrlReasonText(number);
  (*facts)["reason"] = name != nullptr ? name : NumberText(reason);
  PutLine(out, indent, "Reason: " + (*facts)["reason"].Text());
  return true;
}

bool TellHold(const sxASN_Extension &ext, SxStream *out, int indent, Facts *facts) {
  sxAsnOid instruction;
  if (!Decode(instruction, ext)) return false;
  (*facts)["instruction"] = OidText(instruction);
  PutLine(out, indent, "Hold Instruction: " + NamedOid(instruction));
  return true;
}

// --- the first browsers' ---

bool TellCertType(const sxASN_Extension &ext, SxStream *out, int indent, Facts *facts) {
  constexpr const char *kTypes[] = {"sslClient", "sslServer", "smime",   "objectSigning",
                                    "reserved",  "sslCA",     "smimeCA", "objectSigningCA"};
  sxAsnBits bits;
  if (!Decode(bits, ext)) return false;
  std::vector<std::string> types;
  for (int bit = 0; bit < static_cast<int>(std::size(kTypes)); ++bit) {
    if (bits.GetBit(bit) == 1) types.emplace_back(kTypes[bit]);
  }
  (*facts)["types"] = types;
  PutLine(out, indent, "Netscape Certificate Type: " + Joined(types));
  return true;
}

bool TellText(const sxASN_Extension &ext, SxStream *out, int indent, Facts *facts) {
  sxAsnIA5String text;
  if (!Decode(text, ext)) return false;
  const std::string shown = VisibleLine({reinterpret_cast<const char *>(text.Data()), static_cast<size_t>(text.Len())});
  (*facts)["value"] = shown;
  PutLine(out, indent, NameOrOid(*ext.extnID) + ": " + shown);
  return true;
}

struct WordsRow {
  sxAsnOid type;
  bool (*tell)(const sxASN_Extension &ext, SxStream *out, int indent, Facts *facts);
};
constinit const WordsRow kRows[] = {
    {sxAsnOid({2, 5, 29, 9}), TellAttributes},
    {sxAsnOid({2, 5, 29, 16}), TellKeyPeriod},
    {sxAsnOid({2, 5, 29, 17}), TellSubjectNames},
    {sxAsnOid({2, 5, 29, 18}), TellIssuerNames},
    {sxAsnOid({2, 5, 29, 20}), TellCrlNumber},
    {sxAsnOid({2, 5, 29, 21}), TellReason},
    {sxAsnOid({2, 5, 29, 23}), TellHold},
    {sxAsnOid({2, 5, 29, 24}), TellInvalidity},
    {sxAsnOid({2, 5, 29, 27}), TellDeltaBase},
    {sxAsnOid({2, 5, 29, 29}), TellEntryIssuer},
    {sxAsnOid({2, 5, 29, 31}), TellDistPoints},
    {sxAsnOid({2, 5, 29, 35}), TellAuthorityKey},
    {sxAsnOid({2, 5, 29, 37}), TellPurposes},
    {sxAsnOid({2, 5, 29, 46}), TellFreshest},
    {sxAsnOid({1, 3, 6, 1, 5, 5, 7, 1, 1}), TellAuthorityAccess},
    {sxAsnOid({1, 3, 6, 1, 5, 5, 7, 1, 11}), TellSubjectAccess},
    {sxAsnOid({2, 16, 840, 1, 113730, 1, 1}), TellCertType},
    {sxAsnOid({2, 16, 840, 1, 113730, 1, 2}), TellText},
    {sxAsnOid({2, 16, 840, 1, 113730, 1, 3}), TellText},
    {sxAsnOid({2, 16, 840, 1, 113730, 1, 4}), TellText},
    {sxAsnOid({2, 16, 840, 1, 113730, 1, 7}), TellText},
    {sxAsnOid({2, 16, 840, 1, 113730, 1, 8}), TellText},
    {sxAsnOid({2, 16, 840, 1, 113730, 1, 12}), TellText},
    {sxAsnOid({2, 16, 840, 1, 113730, 1, 13}), TellText},
};

}  // namespace

ReadAs TellInWords(const sxASN_Extension &ext, SxStream *text, int indent, Facts *facts) {
  for (const WordsRow &row : kRows) {
    if (!row.type.OidEquiv(*ext.extnID)) continue;
    SxStream words;
    Facts members;
    if (ext.extnValue == nullptr || !row.tell(ext, &words, indent, &members)) return ReadAs::kBroken;
    text->Put(words.Text());
    facts->update(members);
    return ReadAs::kRead;
  }
  return ReadAs::kUnknown;
}
