#include "strictDer.h"

#include <algorithm>
#include <iterator>
#include <string_view>

#include "derForward.h"
#include "foundation/utf8.h"

namespace {

constexpr int kLongTag = 31;  // numbers from here on take octets of their own
// EXTERNAL, EMBEDDED PDV, SEQUENCE, SET, CHARACTER STRING; all other universal types are primitive.
constexpr int kConstructedTypes[] = {8, 11, kDerSequence &kLongTag, kDerSet &kLongTag, 29};

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
    case kDerUniversalString: return content.size() % 4 == 0;
    default: return true;
  }
}

struct Element {
  int tag = 0;     // the first identifier octet
  int number = 0;  // of its tag
  sxOctetView content, whole;
};

// The same of an identifier in several octets, which sxDerReader does not take: X.690, 8.1.2 and 10.1.
bool TakeLong(sxOctetView *rest, Element *element) {
  sxAsnReadBuf buf;
  buf.Init(rest->data(), sxLen(*rest));
  int identifierLen = 0, lenLen = 0;
  const int identifier = BDecTag(buf, identifierLen);
  const int contentLen = identifier < 0 ? -1 : BDecLen(buf, lenLen);
  if (contentLen < 0) return false;
  const auto numberLen = static_cast<size_t>(identifierLen - 1), len = static_cast<size_t>(contentLen);
  element->tag = identifier & 0xFF;
  element->number = 0;
  for (const unsigned char octet : rest->subspan(1, numberLen)) element->number = element->number << 7 | (octet & 0x7F);
  element->whole = rest->first(numberLen + 1 + static_cast<size_t>(lenLen) + len);
  element->content = element->whole.last(len);
  *rest = rest->subspan(element->whole.size());
  return element->number >= kLongTag && element->whole[1] != 0x80 && element->whole.size() == numberLen + sxDerLen(len);
}

// The element at the front, its length in the fewest octets.
bool Take(sxOctetView *rest, Element *element) {
  if (((*rest)[0] & kLongTag) == kLongTag) return TakeLong(rest, element);
  sxDerReader reader(*rest);
  sxDerElement taken;
  if (!reader.Take(&taken)) return false;
  *element = {taken.tag, taken.tag & kLongTag, taken.content, taken.whole};
  *rest = reader.Rest();
  return taken.whole.size() == sxDerLen(taken.content.size());
}

// Of a SET by class and number of the tags, whatever their form (X.690, 10.3); of a SET OF by octets (11.6). Which one
// it is cannot be seen.
bool IsSorted(sxOctetView content) {
  bool byTags = true, byOctets = true;
  Element before, element;
  for (bool isFirst = true; !content.empty(); before = element, isFirst = false) {
    if (!Take(&content, &element)) return false;
    if (isFirst) continue;
    const int classBefore = before.tag & kPrivate, classHere = element.tag & kPrivate;
    byTags &= classBefore < classHere || (classBefore == classHere && before.number < element.number);
    byOctets &= !std::ranges::lexicographical_compare(element.whole, before.whole);
  }
  return byTags || byOctets;
}

bool IsElement(const Element &element, int nesting) {
  const bool isUniversal = element.tag < kApplication;
  const int type = element.tag & ~kConstructed;
  if (isUniversal) {
    const bool mustBeConstructed = std::ranges::find(kConstructedTypes, element.number) != std::end(kConstructedTypes);
    if (mustBeConstructed != ((element.tag & kConstructed) != 0)) return false;
  }
  if ((element.tag & kConstructed) == 0) return IsPrimitive(type, element.content);
  if (element.tag == kDerSet && !IsSorted(element.content)) return false;
  return sxIsStrictDer(element.content, nesting + 1);
}

}  // namespace

bool sxIsStrictDer(sxOctetView octets, int nesting) {
  if (nesting > kMaxStrictNesting) return false;
  Element element;
  while (!octets.empty()) {
    if (!Take(&octets, &element) || !IsElement(element, nesting)) return false;
  }
  return true;
}

bool sxIsStrictElement(sxOctetView octets) {
  Element element;
  sxOctetView rest = octets;
  return !rest.empty() && Take(&rest, &element) && rest.empty() && IsElement(element, 0);
}

int sxUtf8Len(sxOctetView text) {
  return static_cast<int>(kxCountUtf8({reinterpret_cast<const char *>(text.data()), text.size()}));
}

bool sxIsPrintableString(sxOctetView text) {
  constexpr std::string_view kOthers = " '()+,-./:=?";
  return std::ranges::all_of(text, [&](unsigned char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
           kOthers.find(static_cast<char>(c)) != std::string_view::npos;
  });
}
