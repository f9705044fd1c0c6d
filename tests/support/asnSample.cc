#include "support/asnClasses.h"
#include "support/caseFile.h"

namespace {

constexpr int kMaxDepth = 8;   // types may hold themselves: from here on optional elements are left out

Octets PrimitiveContent(int tag) {
  switch (tag) {
    case 1: return CaseOctets("ff");
    case 3: return CaseOctets("0640");
    case 5: return {};
    case 6: return CaseOctets("2a8648ce3d09");   // no open type is registered under it
    default: return CaseOctets("05");
  }
}

Octets Sample(const sxAsnTypeInfo &info, int alternative, int depth);

Octets Element(const sxAsnElem &elem, int depth) {
  const sxAsnTypeInfo &type = *elem.type;
  Octets octets = Sample(type, 0, depth + 1);
  if (elem.tagging == sxAsnElem::kImplicit) octets[0] = static_cast<unsigned char>(0x80 | (type.tag & 0x20) | elem.tagNumber);
  return elem.tagging == sxAsnElem::kExplicit ? Der(0xA0 | elem.tagNumber, octets) : octets;
}

Octets Sample(const sxAsnTypeInfo &info, int alternative, int depth) {
  Octets content;
  switch (info.kind) {
    case sxAsnKind::kPrimitive:
      return Der(info.tag, PrimitiveContent(info.tag));
    case sxAsnKind::kAny:
      return CaseOctets("0d0203ff");   // a universal type that has no class
    case sxAsnKind::kChoice:
      return Element(info.elems[alternative], depth);
    case sxAsnKind::kSequenceOf:
    case sxAsnKind::kSetOf:
      return Der(info.tag, depth < kMaxDepth ? Element(info.elems[0], depth) : content);
    default:
      for (int i = 0; i < info.numElems; ++i) {
        if (info.elems[i].optional && depth >= kMaxDepth) continue;
        const Octets octets = Element(info.elems[i], depth);
        content.insert(content.end(), octets.begin(), octets.end());
      }
      return Der(info.tag, content);
  }
}

}  // namespace

std::vector<unsigned char> AsnSample(const sxAsnTypeInfo &info, int alternative) {
  return Sample(info, alternative, 0);
}
