#include "strictDer.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "derForward.h"
#include "foundation/utf8.h"

namespace {

constexpr int kLongTag = 31;  // numbers from here on take octets of their own
// EXTERNAL, EMBEDDED PDV, SEQUENCE, SET, CHARACTER STRING; all other universal types are primitive.
constexpr unsigned kConstructedTypes = 1U << 8 | 1U << 11 | 1U << 16 | 1U << 17 | 1U << 29;

bool IsBoolean(sxOctetView v) { return v.size() == 1 && (v[0] == 0 || v[0] == 0xFF); }

bool IsInteger(sxOctetView v) {
  return v.size() == 1 || (v.size() > 1 && !(v[0] == 0 && v[1] < 0x80) && !(v[0] == 0xFF && v[1] >= 0x80));
}

bool IsBitString(sxOctetView v) {
  if (v.empty() || v[0] > 7 || (v.size() == 1 && v[0] != 0)) return false;
  return v.size() == 1 || (v.back() & ((1 << v[0]) - 1)) == 0;
}

bool IsOid(sxOctetView v) {
  bool isFirst = true;  // octet of an arc
  for (const unsigned char octet : v) {
    if (isFirst && octet == 0x80) return false;
    isFirst = octet < 0x80;
  }
  return !v.empty() && isFirst;
}

bool IsAscii(sxOctetView v) {
  return std::ranges::all_of(v, [](unsigned char c) { return c < 0x80; });
}

// Four octets a character, of those that there are (ISO/IEC 10646): up to 10FFFF, without the halves of pairs.
bool IsUniversal(sxOctetView v) {
  if (v.size() % 4 != 0) return false;
  for (size_t i = 0; i < v.size(); i += 4) {
    const unsigned plane = static_cast<unsigned>(v[i]) << 8 | v[i + 1];
    if (plane > 0x10 || (plane == 0 && v[i + 2] >= 0xD8 && v[i + 2] <= 0xDF)) return false;
  }
  return true;
}

bool IsPrimitive(int tag, sxOctetView content) {
  switch (tag) {
    case kDerBoolean: return IsBoolean(content);
    case kDerInteger:
    case kDerEnumerated: return IsInteger(content);
    case kDerBitString: return IsBitString(content);
    case kDerNull: return content.empty();
    case kDerOid: return IsOid(content);
    case kDerUtf8String: return sxUtf8Len(content) >= 0;
    case kDerPrintableString: return sxIsPrintableString(content);
    case kDerIa5String: return IsAscii(content);
    case kDerBmpString: return content.size() % 2 == 0;
    case kDerUniversalString: return IsUniversal(content);
    default: return true;
  }
}

// The element at the front of an identifier in several octets, which sxDerReader does not take: X.690, 8.1.2 and 10.1.
// Its tag has the first octet below the others, as BDecTag has it.
bool TakeLong(sxOctetView *rest, sxDerElement *element) {
  sxAsnReadBuf buf;
  buf.Init(rest->data(), sxLen(*rest));
  int identifierLen = 0, lenLen = 0;
  element->tag = BDecTag(buf, identifierLen);
  const int contentLen = element->tag < 0 ? -1 : BDecLen(buf, lenLen);
  if (contentLen < 0) return false;
  const auto numberLen = static_cast<size_t>(identifierLen - 1), len = static_cast<size_t>(contentLen);
  element->whole = rest->first(numberLen + 1 + static_cast<size_t>(lenLen) + len);
  element->content = element->whole.last(len);
  *rest = rest->subspan(element->whole.size());
  const bool isShort = numberLen == 1 && element->whole[1] < kLongTag;
  return !isShort && element->whole[1] != 0x80 && element->whole.size() == numberLen + sxDerLen(len);
}

// The element at the front, its length in the fewest octets.
bool TakeAny(sxOctetView *rest, sxDerElement *element) {
  if (((*rest)[0] & kLongTag) == kLongTag) return TakeLong(rest, element);
  sxDerReader reader(*rest);
  if (!reader.Take(element)) return false;
  *rest = reader.Rest();
  return element->whole.size() == sxDerLen(element->content.size());
}

// The same. Nearly all have an identifier and a length of one octet each.
inline bool Take(sxOctetView *rest, sxDerElement *element) {
  const unsigned char *const octets = rest->data();
  if (rest->size() < 2 || (octets[0] & kLongTag) == kLongTag || octets[0] == 0 || octets[1] >= 0x80) {
    return TakeAny(rest, element);
  }
  const size_t wholeLen = size_t{2} + octets[1];
  if (wholeLen > rest->size()) return false;
  element->tag = octets[0];
  element->content = {octets + 2, octets[1]};
  element->whole = {octets, wholeLen};
  *rest = {octets + wholeLen, rest->size() - wholeLen};
  return true;
}

// Of class and number, whatever the form: the order of X.690, 10.3.
unsigned TypeOf(const sxDerElement &element) {
  constexpr unsigned kClassShift = 24;  // above the 21 bits of a number
  const auto tag = static_cast<unsigned>(element.tag);
  unsigned number = tag & kLongTag;
  if (number == kLongTag) {
    number = 0;
    for (size_t i = 1; number < 1U << kClassShift; ++i) {
      number = number << 7 | (element.whole[i] & 0x7F);
      if (element.whole[i] < 0x80) break;
    }
  }
  return (tag & kPrivate) << kClassShift | number;
}

// A SET by its tags (X.690, 10.3), a SET OF by octets (11.6). Which one it is cannot be seen.
bool IsSorted(sxOctetView content) {
  bool byTags = true, byOctets = true;
  sxDerElement before, element;
  if (content.empty()) return true;
  if (!Take(&content, &before)) return false;
  for (; !content.empty(); before = element) {
    if (!Take(&content, &element)) return false;
    byTags &= TypeOf(before) < TypeOf(element);
    byOctets &= !std::ranges::lexicographical_compare(element.whole, before.whole);
  }
  return byTags || byOctets;
}

bool AreElements(sxOctetView octets, int nesting);

bool IsElement(const sxDerElement &element, int nesting) {
  const bool isConstructed = (element.tag & kConstructed) != 0;
  if ((element.tag & kPrivate) == kUniversal) {
    const bool mustBeConstructed = (kConstructedTypes >> (element.tag & kLongTag) & 1) != 0;
    if (mustBeConstructed != isConstructed) return false;
  }
  if (!isConstructed) return IsPrimitive(element.tag, element.content);
  if (element.tag == kDerSet && !IsSorted(element.content)) return false;
  return AreElements(element.content, nesting + 1);
}

bool AreElements(sxOctetView octets, int nesting) {
  if (nesting > kMaxStrictNesting) return false;
  sxDerElement element;
  while (!octets.empty()) {
    if (!Take(&octets, &element) || !IsElement(element, nesting)) return false;
  }
  return true;
}

}  // namespace

bool sxIsStrictDer(sxOctetView octets) { return AreElements(octets, 0); }

bool sxIsStrictElement(sxOctetView octets) {
  sxDerElement element;
  sxOctetView rest = octets;
  return !rest.empty() && Take(&rest, &element) && rest.empty() && IsElement(element, 0);
}

bool sxIsStrictContent(int tag, sxOctetView content) { return IsElement({tag, content, content}, 0); }

int sxUtf8Len(sxOctetView text) {
  return static_cast<int>(kxCountUtf8({reinterpret_cast<const char *>(text.data()), text.size()}));
}

bool sxIsPrintableString(sxOctetView text) {
  static constexpr auto kIsOne = [] {
    std::array<bool, 256> isOne{};
    for (const char c :
         std::string_view("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789 '()+,-./:=?")) {
      isOne[static_cast<unsigned char>(c)] = true;
    }
    return isOne;
  }();
  return std::ranges::all_of(text, [](unsigned char c) { return kIsOne[c]; });
}
