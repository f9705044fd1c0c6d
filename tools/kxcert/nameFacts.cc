#include "nameFacts.h"

#include <span>
#include <string>

#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/modules/PKIX1Implicit88.h"
#include "kxcert/asn1/sxAsnOcts.h"
#include "kxcert/cert/issuedExtensions.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "unknownParts.h"
#include "visibleText.h"

namespace {

constexpr uint32_t kLastCharacter = 0x10FFFF;

bool IsCharacter(uint32_t code) { return code <= kLastCharacter && (code < 0xD800 || code > 0xDFFF); }

void AppendUtf8(uint32_t code, std::string *text) {
  const auto tail = [text](uint32_t bits) { *text += static_cast<char>(0x80 | (bits & 0x3F)); };
  if (code < 0x80) {
    *text += static_cast<char>(code);
  } else if (code < 0x800) {
    *text += static_cast<char>(0xC0 | code >> 6);
    tail(code);
  } else if (code < 0x10000) {
    *text += static_cast<char>(0xE0 | code >> 12);
    tail(code >> 6);
    tail(code);
  } else {
    *text += static_cast<char>(0xF0 | code >> 18);
    tail(code >> 12);
    tail(code >> 6);
    tail(code);
  }
}

// Characters of one, two or four octets; ISO 8859-1 is what writers of TeletexString mean.
bool ReadUnits(const sxAsnOcts &octets, size_t width, std::string *text) {
  const auto len = static_cast<size_t>(octets.Len());
  if (len % width != 0) return false;
  for (size_t i = 0; i < len; i += width) {
    uint32_t code = 0;
    for (size_t k = 0; k < width; ++k) code = code << 8 | octets.Data()[i + k];
    if (width == 2 && code >= 0xD800 && code < 0xDC00 && i + 3 < len) {  // of UTF-16, which many write as BMPString
      const uint32_t low = static_cast<uint32_t>(octets.Data()[i + 2]) << 8 | octets.Data()[i + 3];
      if (low >= 0xDC00 && low <= 0xDFFF) {
        code = 0x10000 + ((code - 0xD800) << 10) + (low - 0xDC00);
        i += 2;
      }
    }
    if (!IsCharacter(code)) return false;
    AppendUtf8(code, text);
  }
  return true;
}

// RFC 3629, 4: neither longer than need be, nor halves of pairs, nor beyond the last character.
bool IsUtf8(std::span<const unsigned char> octets) {
  for (size_t i = 0; i < octets.size();) {
    const unsigned char first = octets[i++];
    if (first < 0x80) continue;
    const int numMore = first >= 0xF0 ? 3 : first >= 0xE0 ? 2 : 1;
    constexpr uint32_t kLeast[] = {0x80, 0x800, 0x10000};
    if (first < 0xC2 || first > 0xF4) return false;
    uint32_t code = first & (0x3FU >> numMore);
    for (int k = 0; k < numMore; ++k, ++i) {
      if (i == octets.size() || (octets[i] & 0xC0) != 0x80) return false;
      code = code << 6 | (octets[i] & 0x3FU);
    }
    if (code < kLeast[numMore - 1] || !IsCharacter(code)) return false;
  }
  return true;
}

bool ReadUtf8(const sxAsnOcts &octets, std::string *text) {
  const std::span<const unsigned char> all(octets.Data(), static_cast<size_t>(octets.Len()));
  text->assign(all.begin(), all.end());
  return IsUtf8(all);
}

// @return false for a value that is no text
bool ReadValue(const sxASN_AttributeValue &value, std::string *text) {
  switch (value.ChoiceId()) {
    case sxASN_AttributeValue::printableStringCid: return ReadUtf8(*value.printableString(), text);
    case sxASN_AttributeValue::ia5StringCid: return ReadUtf8(*value.ia5String(), text);
    case sxASN_AttributeValue::utf8StringCid: return ReadUtf8(*value.utf8String(), text);
    case sxASN_AttributeValue::teletexStringCid: return ReadUnits(*value.teletexString(), 1, text);
    case sxASN_AttributeValue::bmpStringCid: return ReadUnits(*value.bmpString(), 2, text);
    case sxASN_AttributeValue::universalStringCid: return ReadUnits(*value.universalString(), 4, text);
    default: return false;
  }
}

Facts AttributeFacts(const sxASN_AttributeTypeAndValue &ava) {
  const std::string oid = OidText(*ava.type);
  char keyword[64] = "";
  const bool isNamed = sxDN_OID2Str(*ava.type, keyword, sizeof keyword) > 0 && std::string(keyword) != "OID." + oid;
  Facts facts = {{"oid", oid}, {"name", isNamed ? std::string(keyword) : oid}, {"value", nullptr}};
  std::string text;
  if (ReadValue(*ava.value, &text)) {
    facts["value"] = text;
    return facts;
  }
  kxBinBuf der;
  sxASN_AttributeValue copy(*ava.value);
  if (sxASN_EncodeBuf(copy, der, 1) == 0) facts["octets"] = HexOf(der.Data(), der.Len());
  return facts;
}

// The text where it is one, else the words of the kind; null for what is none of its kind.
Facts ValueOf(const sxAnyName &name) {
  const bool isText = name.kind == sxNameKind::kEmail || name.kind == sxNameKind::kDns || name.kind == sxNameKind::kUri;
  if (!isText) return name.kind == sxNameKind::kDn && name.dn->GetStr() == nullptr ? Facts(nullptr) : Facts(name.Str());
  const auto *const octets = reinterpret_cast<const unsigned char *>(name.text.data());
  return IsUtf8({octets, name.text.size()}) ? Facts(name.text) : Facts(nullptr);
}

Facts GeneralNameFacts(const sxASN_GeneralName &name) {
  sxAnyName read;
  const bool isSound = read.Set(name, sxNameUse::kName);
  read.kind = static_cast<sxNameKind>(name.ChoiceId());  // also of what is none of its kind
  const Facts value = isSound ? ValueOf(read) : Facts(nullptr);
  Facts facts = {{"kind", read.Label()}, {"value", value}};
  if (read.oid.Len() > 0 && read.kind == sxNameKind::kOther) facts["oid"] = OidText(read.oid);
  kxBinBuf der;
  sxASN_GeneralName copy(name);  // encoding sorts its sets
  if (value.IsNull() && sxASN_EncodeBuf(copy, der, 1) == 0) facts["octets"] = HexOf(der.Data(), der.Len());
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
