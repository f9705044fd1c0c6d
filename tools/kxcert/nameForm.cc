#include "nameForm.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "characters.h"
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/oids.h"
#include "unknownParts.h"
#include "visibleText.h"

namespace {

constexpr size_t kMaxOctetsShown = 4096;  // of what is no text; a file may hold megabytes

int wantedForm = 0;

struct Descriptor {
  const char *text;
  sxAsnOid type;
};
// RFC 4514, 3; RFC 4519, 2; emailAddress as RFC 2985 (5.2.1) has it.
constinit const Descriptor kDescriptors[] = {
    {"CN", sxAsnOid({2, 5, 4, 3})},
    {"C", sxAsnOid({2, 5, 4, 6})},
    {"L", sxAsnOid({2, 5, 4, 7})},
    {"ST", sxAsnOid({2, 5, 4, 8})},
    {"STREET", sxAsnOid({2, 5, 4, 9})},
    {"O", sxAsnOid({2, 5, 4, 10})},
    {"OU", sxAsnOid({2, 5, 4, 11})},
    {"DC", sxAsnOid({0, 9, 2342, 19200300, 100, 1, 25})},
    {"UID", sxAsnOid({0, 9, 2342, 19200300, 100, 1, 1})},
    {"SN", sxAsnOid({2, 5, 4, 4})},
    {"serialNumber", sxAsnOid({2, 5, 4, 5})},
    {"title", sxAsnOid({2, 5, 4, 12})},
    {"description", sxAsnOid({2, 5, 4, 13})},
    {"businessCategory", sxAsnOid({2, 5, 4, 15})},
    {"postalCode", sxAsnOid({2, 5, 4, 17})},
    {"telephoneNumber", sxAsnOid({2, 5, 4, 20})},
    {"name", sxAsnOid({2, 5, 4, 41})},
    {"givenName", sxAsnOid({2, 5, 4, 42})},
    {"initials", sxAsnOid({2, 5, 4, 43})},
    {"generationQualifier", sxAsnOid({2, 5, 4, 44})},
    {"x500UniqueIdentifier", sxAsnOid({2, 5, 4, 45})},
    {"dnQualifier", sxAsnOid({2, 5, 4, 46})},
    {"emailAddress", sxAsnOid({1, 2, 840, 113549, 1, 9, 1})},
};

const char *DescriptorOf(const sxAsnOid &type) {
  for (const Descriptor &row : kDescriptors) {
    if (row.type.OidEquiv(type)) return row.text;
  }
  return nullptr;
}

void AppendHexPair(std::string *text, unsigned octet) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  *text += {kDigits[octet >> 4 & 15], kDigits[octet & 15]};
}

std::string Escaped(const Characters &characters) {
  constexpr std::string_view kSpecial = "\"+,;<>\\";
  std::string text;
  for (size_t i = 0; i < characters.size(); ++i) {
    const uint32_t character = characters[i];
    const bool isFirst = i == 0, isLast = i + 1 == characters.size();
    const bool isSpace = character == ' ' && (isFirst || isLast), isHash = character == '#' && isFirst;
    if (character < 0x20 || character >= 0x7F) {
      for (const char octet : Utf8Of(character)) AppendHexPair(&(text += '\\'), static_cast<unsigned char>(octet));
    } else {
      const char c = static_cast<char>(character);
      if (isSpace || isHash || kSpecial.find(c) != std::string_view::npos) text += '\\';
      text += c;
    }
  }
  return text;
}

std::string AvaText(const sxASN_AttributeTypeAndValue &ava) {
  const char *const descriptor = DescriptorOf(*ava.type);
  const std::vector<unsigned char> element = ElementOf(*ava.value);
  const std::optional<Characters> characters = descriptor != nullptr ? CharactersOf(element) : std::nullopt;
  std::string text = (descriptor != nullptr ? descriptor : OidText(*ava.type)) + "=";
  if (characters.has_value()) return text + Escaped(*characters);
  text += '#';
  for (const unsigned char octet : element) AppendHexPair(&text, octet);
  return text;
}

std::string JoinedBackwards(const std::vector<std::string> &parts, char separator) {
  std::string text;
  for (auto part = parts.rbegin(); part != parts.rend(); ++part) {
    if (part != parts.rbegin()) text += separator;
    text += *part;
  }
  return text;
}

}  // namespace

// AVAs last to first as well: any order will do (RFC 4514, 2.2), and this is the one of others.
std::string Rfc4514Text(const sxASN_RDNSequence &name) {
  std::vector<std::string> rdns;
  for (const sxASN_RelativeDistinguishedName &rdn : name) {
    std::vector<std::string> avas;
    for (const sxASN_AttributeTypeAndValue &ava : rdn) avas.push_back(AvaText(ava));
    rdns.push_back(JoinedBackwards(avas, '+'));
  }
  return JoinedBackwards(rdns, ',');
}

std::string StringText(const sxAsnType &value) {
  const std::vector<unsigned char> element = ElementOf(value);
  const std::optional<Characters> characters = CharactersOf(element);
  if (!characters.has_value()) {
    const size_t shown = std::min(element.size(), kMaxOctetsShown);
    return "#" + HexOf(element.data(), shown) + (shown < element.size() ? "..." : "");
  }
  return VisibleLine(Utf8Of(*characters));
}

bool WantsRfc4514() { return wantedForm != 0; }

OptionRow NameFormRow() {
  return {
      "--names",   "how names are written: own, as the library compares and stores them; rfc4514, as directories do",
      &wantedForm, false,
      nullptr,     {{"own", 0}, {"rfc4514", 1}},
      "FORM"};
}
