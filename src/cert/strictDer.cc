#include "strictDer.h"

#include <algorithm>
#include <string_view>

#include "derForward.h"
#include "foundation/utf8.h"

namespace {

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

// X.690, 10.3 and 11.6: by tag, and of one type by their octets; in both orders the encodings ascend.
bool IsSorted(sxOctetView content) {
  sxOctetView before;
  sxDerElement element;
  for (sxDerReader each(content); !each.AtEnd(); before = element.whole) {
    if (!each.Take(&element)) return false;
    if (std::ranges::lexicographical_compare(element.whole, before)) return false;
  }
  return true;
}

bool IsElement(const sxDerElement &element, int nesting) {
  if (element.whole.size() != sxDerLen(element.content.size())) return false;
  if ((element.tag & kConstructed) == 0) {
    const bool mustBeConstructed =
        element.tag == (kDerSequence & ~kConstructed) || element.tag == (kDerSet & ~kConstructed);
    return !mustBeConstructed && IsPrimitive(element.tag, element.content);
  }
  const bool isUniversal = (element.tag & ~kConstructed) < 0x40;
  if (isUniversal && element.tag != kDerSequence && element.tag != kDerSet) return false;
  if (element.tag == kDerSet && !IsSorted(element.content)) return false;
  return sxIsStrictDer(element.content, nesting + 1);
}

}  // namespace

bool sxIsStrictDer(sxOctetView octets, int nesting) {
  if (nesting > kMaxStrictNesting) return false;
  sxDerElement element;
  for (sxDerReader each(octets); !each.AtEnd();) {
    if (!each.Take(&element) || !IsElement(element, nesting)) return false;
  }
  return true;
}

bool sxIsStrictElement(sxOctetView octets) {
  sxDerElement element;
  sxDerReader all(octets);
  return all.Take(&element) && all.AtEnd() && sxIsStrictDer(octets);
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
