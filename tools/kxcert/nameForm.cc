#include "nameForm.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/foundation/kxBinBuf.h"
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

using Octets = std::basic_string_view<unsigned char>;
using Characters = std::vector<uint32_t>;

constexpr uint32_t kMaxCharacter = 0x10FFFF;
constexpr bool IsSurrogate(uint32_t unit) { return unit >= 0xD800 && unit <= 0xDFFF; }

// Each so many octets a character, most significant octet first.
std::optional<Characters> Wide(Octets octets, size_t width) {
  if (octets.size() % width != 0) return std::nullopt;
  Characters text;
  for (size_t i = 0; i < octets.size(); i += width) {
    uint32_t unit = 0;
    for (size_t j = 0; j < width; ++j) unit = unit << 8 | octets[i + j];
    const bool isSecond = unit >= 0xDC00 && unit <= 0xDFFF && width == 2;
    if (isSecond && !text.empty() && IsSurrogate(text.back())) {
      text.back() = 0x10000 + ((text.back() - 0xD800) << 10) + (unit - 0xDC00);
    } else {
      text.push_back(unit);
    }
  }
  for (const uint32_t character : text) {
    if (character > kMaxCharacter || IsSurrogate(character)) return std::nullopt;
  }
  return text;
}

// RFC 3629, 3: the shortest form of a character that there is.
std::optional<Characters> Utf8(Octets octets) {
  constexpr uint32_t kLeast[] = {0, 0x80, 0x800, 0x10000};
  Characters text;
  for (size_t i = 0; i < octets.size();) {
    const uint32_t first = octets[i];
    const size_t more = first < 0x80 ? 0 : first >= 0xC2 && first < 0xE0 ? 1 : (first & 0xF0) == 0xE0 ? 2 : 3;
    if ((first >= 0x80 && first < 0xC2) || first > 0xF4 || more >= octets.size() - i) return std::nullopt;
    uint32_t character = more == 0 ? first : first & (0x3FU >> more);
    for (size_t j = 1; j <= more; ++j) {
      if ((octets[i + j] & 0xC0) != 0x80) return std::nullopt;
      character = character << 6 | (octets[i + j] & 0x3F);
    }
    if (character < kLeast[more] || character > kMaxCharacter || IsSurrogate(character)) return std::nullopt;
    text.push_back(character);
    i += more + 1;
  }
  return text;
}

std::optional<Characters> Ascii(Octets octets) {
  for (const unsigned char octet : octets) {
    if (octet >= 0x80) return std::nullopt;
  }
  return Wide(octets, 1);
}

// The element of a value. @return empty: it does not encode
std::vector<unsigned char> ElementOf(const sxAsnType &value) {
  const std::unique_ptr<sxAsnType> copy(value.Dup());  // encoding sorts its sets
  kxBinBuf der;
  if (sxASN_EncodeBuf(*copy, der, 1) != 0) return {};
  return {der.Data(), der.Data() + der.Len()};
}

// TeletexString counts as Latin-1, as everybody has it.
std::optional<Characters> TextOf(const std::vector<unsigned char> &element) {
  constexpr unsigned char kUtf8 = 0x0C, kNumeric = 0x12, kPrintable = 0x13, kTeletex = 0x14, kIa5 = 0x16,
                          kUtcTime = 0x17, kTime = 0x18, kVisible = 0x1A, kUniversal = 0x1C, kBmp = 0x1E,
                          kLongLen = 0x80;
  if (element.size() < 2) return std::nullopt;
  const size_t headerLen = element[1] < kLongLen ? 2 : 2 + (element[1] & 0x7FU);
  if (headerLen > element.size()) return std::nullopt;
  const Octets content(element.data() + headerLen, element.size() - headerLen);
  switch (element[0]) {
    case kUtf8: return Utf8(content);
    case kNumeric:
    case kPrintable:
    case kIa5:
    case kUtcTime:
    case kTime:
    case kVisible: return Ascii(content);
    case kTeletex: return Wide(content, 1);
    case kBmp: return Wide(content, 2);
    case kUniversal: return Wide(content, 4);
    default: return std::nullopt;
  }
}

void AppendHexPair(std::string *text, unsigned octet) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  *text += {kDigits[octet >> 4 & 15], kDigits[octet & 15]};
}

// The octets of a character in UTF-8 (RFC 3629, 3).
template <class Append>
void ForEachOctet(uint32_t character, Append append) {
  const auto trail = [](uint32_t bits) { return 0x80 | (bits & 0x3F); };
  if (character < 0x80) {
    append(character);
  } else if (character < 0x800) {
    append(0xC0 | character >> 6), append(trail(character));
  } else if (character < 0x10000) {
    append(0xE0 | character >> 12), append(trail(character >> 6)), append(trail(character));
  } else {
    append(0xF0 | character >> 18), append(trail(character >> 12)), append(trail(character >> 6));
    append(trail(character));
  }
}

std::string Escaped(const Characters &characters) {
  constexpr std::string_view kSpecial = "\"+,;<>\\";
  std::string text;
  for (size_t i = 0; i < characters.size(); ++i) {
    const uint32_t character = characters[i];
    const bool isFirst = i == 0, isLast = i + 1 == characters.size();
    const bool isSpace = character == ' ' && (isFirst || isLast), isHash = character == '#' && isFirst;
    if (character < 0x20 || character >= 0x7F) {
      ForEachOctet(character, [&text](uint32_t octet) { AppendHexPair(&(text += '\\'), octet); });
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
  const std::optional<Characters> characters = descriptor != nullptr ? TextOf(element) : std::nullopt;
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
  const std::optional<Characters> characters = TextOf(element);
  if (!characters.has_value()) {
    const size_t shown = std::min(element.size(), kMaxOctetsShown);
    return "#" + HexOf(element.data(), shown) + (shown < element.size() ? "..." : "");
  }
  std::string text;
  for (const uint32_t character : *characters) {
    ForEachOctet(character, [&text](uint32_t octet) { text += static_cast<char>(octet); });
  }
  return VisibleLine(text);
}

bool WantsRfc4514() { return wantedForm != 0; }

OptionRow NameFormRow() {
  return {
      "--names",   "how names are written: own, as the library compares and stores them; rfc4514, as directories do",
      &wantedForm, false,
      nullptr,     {{"own", 0}, {"rfc4514", 1}},
      "FORM"};
}
