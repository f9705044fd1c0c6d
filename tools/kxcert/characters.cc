#include "characters.h"

#include <algorithm>
#include <memory>

#include "kxcert/asn1/sxAsnType.h"
#include "kxcert/foundation/kxBinBuf.h"

namespace {

using Octets = std::span<const unsigned char>;

constexpr uint32_t kMaxCharacter = 0x10FFFF;
constexpr bool IsFirstOfPair(uint32_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
constexpr bool IsSecondOfPair(uint32_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }
constexpr bool IsSurrogate(uint32_t unit) { return IsFirstOfPair(unit) || IsSecondOfPair(unit); }

// Each so many octets a character, most significant octet first.
std::optional<Characters> Wide(Octets octets, size_t width) {
  if (octets.size() % width != 0) return std::nullopt;
  Characters text;
  for (size_t i = 0; i < octets.size(); i += width) {
    uint32_t unit = 0;
    for (size_t j = 0; j < width; ++j) unit = unit << 8 | octets[i + j];
    if (width == 2 && IsSecondOfPair(unit) && !text.empty() && IsFirstOfPair(text.back())) {
      text.back() = 0x10000 + ((text.back() - 0xD800) << 10) + (unit - 0xDC00);
    } else {
      text.push_back(unit);
    }
  }
  const auto isNone = [](uint32_t character) { return character > kMaxCharacter || IsSurrogate(character); };
  if (std::ranges::any_of(text, isNone)) return std::nullopt;
  return text;
}

std::optional<Characters> Ascii(Octets octets) {
  if (std::ranges::any_of(octets, [](unsigned char octet) { return octet >= 0x80; })) return std::nullopt;
  return Wide(octets, 1);
}

}  // namespace

std::optional<Characters> CharactersOfUtf8(Octets octets) {
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

std::optional<Characters> CharactersOf(Octets element) {
  constexpr unsigned char kUtf8 = 0x0C, kNumeric = 0x12, kPrintable = 0x13, kTeletex = 0x14, kIa5 = 0x16,
                          kUtcTime = 0x17, kTime = 0x18, kVisible = 0x1A, kUniversal = 0x1C, kBmp = 0x1E,
                          kLongLen = 0x80;
  if (element.size() < 2) return std::nullopt;
  const size_t headerLen = element[1] < kLongLen ? 2 : 2 + (element[1] & 0x7FU);
  if (headerLen > element.size()) return std::nullopt;
  const Octets content = element.subspan(headerLen);
  switch (element[0]) {
    case kUtf8: return CharactersOfUtf8(content);
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

std::string Utf8Of(uint32_t character) {
  const auto trail = [](uint32_t bits) { return static_cast<char>(0x80 | (bits & 0x3F)); };
  const auto lead = [](uint32_t octet) { return static_cast<char>(octet); };
  if (character < 0x80) return {lead(character)};
  if (character < 0x800) return {lead(0xC0 | character >> 6), trail(character)};
  if (character < 0x10000) return {lead(0xE0 | character >> 12), trail(character >> 6), trail(character)};
  return {lead(0xF0 | character >> 18), trail(character >> 12), trail(character >> 6), trail(character)};
}

std::string Utf8Of(const Characters &characters) {
  std::string text;
  for (const uint32_t character : characters) text += Utf8Of(character);
  return text;
}

std::vector<unsigned char> ElementOf(const sxAsnType &value) {
  const std::unique_ptr<sxAsnType> copy(value.Dup());  // encoding sorts its sets
  kxBinBuf der;
  if (sxASN_EncodeBuf(*copy, der, 1) != 0) return {};
  return {der.Data(), der.Data() + der.Len()};
}
