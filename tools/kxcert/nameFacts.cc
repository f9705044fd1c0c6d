#include "nameFacts.h"

#include <optional>
#include <string>
#include <vector>

#include "characters.h"
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/modules/PKIX1Implicit88.h"
#include "kxcert/cert/issuedExtensions.h"
#include "kxcert/cert/sxDN.h"
#include "unknownParts.h"
#include "visibleText.h"

namespace {

Facts AttributeFacts(const sxASN_AttributeTypeAndValue &ava) {
  const std::string oid = OidText(*ava.type);
  char keyword[64] = "";
  const bool isNamed = sxDN_OID2Str(*ava.type, keyword, sizeof keyword) > 0 && std::string(keyword) != "OID." + oid;
  Facts facts = {{"oid", oid}, {"name", isNamed ? std::string(keyword) : oid}, {"value", nullptr}};
  const std::vector<unsigned char> element = ElementOf(*ava.value);
  if (const std::optional<Characters> text = CharactersOf(element); text.has_value()) {
    facts["value"] = Utf8Of(*text);
  } else if (!element.empty()) {
    facts["octets"] = HexOf(element.data(), element.size());
  }
  return facts;
}

// The text where it is one, else the words of the kind; null for what is none of its kind.
Facts ValueOf(const sxAnyName &name) {
  const bool isText = name.kind == sxNameKind::kEmail || name.kind == sxNameKind::kDns || name.kind == sxNameKind::kUri;
  if (!isText) return name.kind == sxNameKind::kDn && name.dn->GetStr() == nullptr ? Facts(nullptr) : Facts(name.Str());
  const auto *const octets = reinterpret_cast<const unsigned char *>(name.text.data());
  return CharactersOfUtf8({octets, name.text.size()}).has_value() ? Facts(name.text) : Facts(nullptr);
}

Facts GeneralNameFacts(const sxASN_GeneralName &name) {
  sxAnyName read;
  const bool isSound = read.Set(name, sxNameUse::kName);
  read.kind = static_cast<sxNameKind>(name.ChoiceId());  // also of what is none of its kind
  const Facts value = isSound ? ValueOf(read) : Facts(nullptr);
  Facts facts = {{"kind", read.Label()}, {"value", value}};
  if (read.oid.Len() > 0 && read.kind == sxNameKind::kOther) facts["oid"] = OidText(read.oid);
  const std::vector<unsigned char> element = value.IsNull() ? ElementOf(name) : std::vector<unsigned char>();
  if (!element.empty()) facts["octets"] = HexOf(element.data(), element.size());
  return facts;
}

}  // namespace

Facts RdnFacts(const sxDN *dn) {
  auto rdns = Facts::array();
  const sxASN_RDNSequence *const name = dn == nullptr ? nullptr : dn->GetName();
  if (name == nullptr) return rdns;
  for (const sxASN_RelativeDistinguishedName &rdn : *name) {
    auto attributes = Facts::array();
    for (const sxASN_AttributeTypeAndValue &ava : rdn) attributes.push_back(AttributeFacts(ava));
    rdns.push_back(std::move(attributes));
  }
  return rdns;
}

Facts AltNameFacts(const sxASN_Extensions *extensions, const sxAsnOid &type) {
  auto facts = Facts::array();
  if (extensions == nullptr) return facts;
  for (const sxASN_Extension &ext : *extensions) {
    if (!ext.extnID->OidEquiv(type)) continue;
    sxASN_GeneralNames names;
    if (sxASN_DecodeBuf(names, reinterpret_cast<const char *>(ext.extnValue->Data()), ext.extnValue->Len()) != 0) break;
    for (const sxASN_GeneralName &name : names) facts.push_back(GeneralNameFacts(name));
    break;
  }
  return facts;
}
