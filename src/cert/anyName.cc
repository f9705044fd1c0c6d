// General names of any kind, as names and as bases of name constraints.
#include <algorithm>
#include <string_view>

#include "generalNameForms.h"
#include "kxcert/asn1/modules/PKIX1Implicit88.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "peerText.h"
#include "platform/textForms.h"
#include "strictDer.h"
#include "templateParts.h"
#include "valueExtension.h"

namespace {

constexpr size_t kIp4Len = 4, kIp6Len = 16;
constexpr size_t kMaxOctetsShown = 64;  // of a name that has no text

// By kind, which is what the generated class counts, too.
constexpr const char *kLabels[] = {"Other Name", "Email", "DNS", "X.400 Address", "DN",
                                   "EDI Party",  "URI",   "IP",  "Registered ID"};
static_assert(sizeof kLabels / sizeof kLabels[0] == static_cast<size_t>(sxNameKind::kOid) + 1);
static_assert(sxASN_GeneralName::otherNameCid == static_cast<int>(sxNameKind::kOther) &&
              sxASN_GeneralName::directoryNameCid == static_cast<int>(sxNameKind::kDn) &&
              sxASN_GeneralName::registeredIDCid == static_cast<int>(sxNameKind::kOid));

bool IsAddressLen(size_t len, sxNameUse use) {
  const size_t addressLen = use == sxNameUse::kBase ? len / 2 : len;
  const size_t doubled = use == sxNameUse::kBase ? 2 : 1;
  return (addressLen == kIp4Len || addressLen == kIp6Len) && addressLen * doubled == len;
}

bool SetText(const sxAsnOcts &octets, std::string *text) {
  *text = std::string(reinterpret_cast<const char *>(octets.Data()), static_cast<size_t>(octets.Len()));
  return !sxHoldsNul(*text);
}

bool SetOctets(const sxASN_GeneralName &from, std::vector<unsigned char> *octets) {
  sxASN_GeneralName copy(from);  // encoding sorts its sets
  kxBinBuf der;
  if (sxASN_EncodeBuf(copy, der, 1) != 0) return false;
  octets->assign(der.Data(), der.Data() + der.Len());
  return true;
}

template <class String>
String StringOf(const std::string &text) {
  return String(reinterpret_cast<const unsigned char *>(text.data()), static_cast<int>(text.size()));
}

bool HoldsOne(sxNameKind kind, sxOctetView element, sxNameUse use) {
  sxDerElement name;
  return sxDerReader(element).Take(&name) && sxIsNameOfKind(kind, name.content, use);
}

// Bits of a mask that is ones and then zeros; -1 for another one.
int PrefixLen(sxOctetView mask) {
  int len = 0;
  bool hasEnded = false;
  for (const unsigned char octet : mask) {
    for (int bit = 7; bit >= 0; --bit) {
      const bool isSet = (octet >> bit & 1) != 0;
      if (isSet && hasEnded) return -1;
      hasEnded = !isSet;
      len += isSet ? 1 : 0;
    }
  }
  return len;
}

std::string NetworkText(sxOctetView octets) {
  if (octets.size() == kIp4Len || octets.size() == kIp6Len) return sxAddressText(octets);
  const sxOctetView address = octets.first(octets.size() / 2), mask = octets.subspan(octets.size() / 2);
  const int prefixLen = PrefixLen(mask);
  return sxAddressText(address) + "/" + (prefixLen < 0 ? sxAddressText(mask) : std::to_string(prefixLen));
}

std::string HexOf(sxOctetView octets) {
  std::string text;
  kxAppendHex(&text, octets.first(std::min(octets.size(), kMaxOctetsShown)));
  return octets.size() > kMaxOctetsShown ? text + "..." : text;
}

//   AnotherName ::= SEQUENCE { type-id OBJECT IDENTIFIER, value [0] EXPLICIT ANY }, under an implicit tag
// @return the value's text when it is a UTF8String, else its octets
std::string OtherText(sxOctetView element) {
  sxDerReader all(element), fields, value;
  sxOctetView oid, text;
  if (!all.Enter(DerContextConstructed(0), &fields) || !fields.Take(kDerOid, &oid) ||
      !fields.Enter(DerContextConstructed(0), &value)) {
    return HexOf(element);
  }
  const sxOctetView whole = value.Rest();
  if (!value.Take(kDerUtf8String, &text) || sxUtf8Len(text) < 0) return HexOf(whole);
  const std::string_view octets(reinterpret_cast<const char *>(text.data()), text.size());
  return sxHoldsNul(octets) ? HexOf(whole) : std::string(octets);
}

}  // namespace

bool sxAnyName::Set(const sxASN_GeneralName &from, sxNameUse use) {
  if (from.Value() == nullptr) return false;
  sxAnyName made;
  made.kind = static_cast<sxNameKind>(from.ChoiceId());
  bool isGood = true;
  switch (made.kind) {
    case sxNameKind::kEmail: isGood = SetText(*from.rfc822Name(), &made.text); break;
    case sxNameKind::kDns: isGood = SetText(*from.dNSName(), &made.text); break;
    case sxNameKind::kUri: isGood = SetText(*from.uniformResourceIdentifier(), &made.text); break;
    case sxNameKind::kDn:
      made.dn.emplace(from.directoryName());
      isGood = made.dn->GetName() != nullptr;
      break;
    case sxNameKind::kIp: {
      const sxOctetView address = sxView(from.iPAddress()->Data(), from.iPAddress()->Len());
      made.octets.assign(address.begin(), address.end());
      isGood = IsAddressLen(made.octets.size(), use);
      break;
    }
    case sxNameKind::kOid: made.oid = *from.registeredID(); break;
    default:
      isGood = SetOctets(from, &made.octets);
      if (isGood && made.kind == sxNameKind::kOther) made.oid = *from.otherName()->type_id;
  }
  if (isGood) *this = std::move(made);
  return isGood;
}

bool sxAnyName::Fill(sxASN_GeneralName *out, sxNameUse use) const {
  if (out == nullptr) return false;
  switch (kind) {
    case sxNameKind::kEmail:
    case sxNameKind::kDns:
    case sxNameKind::kUri:
      if (!sxIsNameOfKind(
              kind, sxView(reinterpret_cast<const unsigned char *>(text.data()), static_cast<int>(text.size())), use))
        return false;
      if (kind == sxNameKind::kEmail) out->Set_rfc822Name(StringOf<sxAsnIA5String>(text));
      if (kind == sxNameKind::kDns) out->Set_dNSName(StringOf<sxAsnIA5String>(text));
      if (kind == sxNameKind::kUri) out->Set_uniformResourceIdentifier(StringOf<sxAsnIA5String>(text));
      return true;
    case sxNameKind::kDn: {
      const sxASN_RDNSequence *const name = dn.has_value() ? dn->GetName() : nullptr;
      if (name == nullptr || !sxIsNameOfKind(kind, sxNameOctets(name), use)) return false;
      out->Set_directoryName(*name);
      return true;
    }
    case sxNameKind::kIp:
      if (!sxIsNameOfKind(kind, octets, use)) return false;
      out->Set_iPAddress(sxAsnOcts(octets.data(), static_cast<int>(octets.size())));
      return true;
    case sxNameKind::kOid:
      if (!sxIsNameOfKind(kind, sxView(oid.Data(), oid.Len()), use)) return false;
      out->Set_registeredID(oid);
      return true;
    default:  // as they were, if that is their kind and DER
      return sxIsStrictElement(octets) && HoldsOne(kind, octets, use) &&
             sxASN_DecodeBuf(*out, reinterpret_cast<const char *>(octets.data()), static_cast<int>(octets.size())) ==
                 0 &&
             out->ChoiceId() == static_cast<int>(kind);
  }
}

std::string sxAnyName::Str() const {
  switch (kind) {
    case sxNameKind::kEmail:
    case sxNameKind::kDns:
    case sxNameKind::kUri: return sxOneLine(text);
    case sxNameKind::kDn: {
      const char *const name = dn.has_value() ? dn->GetStr() : nullptr;
      return name == nullptr ? "(cannot be read)" : sxOneLine(name);  // "" is a name, and every one as a base
    }
    case sxNameKind::kIp:
      return IsAddressLen(octets.size(), sxNameUse::kName) || IsAddressLen(octets.size(), sxNameUse::kBase)
                 ? NetworkText(octets)
                 : HexOf(octets);
    case sxNameKind::kOid: return sxOidText(oid);
    case sxNameKind::kOther: return sxOidText(oid) + ": " + sxOneLine(OtherText(octets));
    default: return HexOf(octets);
  }
}

const char *sxAnyName::Label() const { return kLabels[static_cast<size_t>(kind)]; }
