#include "element.h"

#include "kxcert/asn1/sxAsnAny.h"
#include "kxcert/platform/log.h"

namespace {

bool IsConstructedType(const sxAsnTypeInfo &type) { return (type.tag & kConstructed) != 0; }

unsigned int ContextTag(const sxAsnElem &elem, int form) {
  return static_cast<unsigned int>(kContext | form | elem.tagNumber);
}

// The element without an explicit tag around it.
int DecodeBare(const sxAsnElem &elem, sxAsnType &value, sxAsnReadBuf &buf, const sxAsnHeader &header, const char *owner,
               const sxAsnTexts &texts, int &bytesDecoded) {
  if (elem.type->kind == sxAsnKind::kAny) {  // it keeps or reads its own identifier and length
    buf.Rewind(header.start);
    bytesDecoded = header.startCount;
    const int rc = elem.fallBack && elem.definedBy >= 0
                       ? static_cast<sxAsnAny &>(value).BDecOrKeepRaw(buf, bytesDecoded)
                       : value.BDec(buf, bytesDecoded);
    if (rc >= 0) return 0;
    herror_func(0, 0, texts.decodeContent, owner, elem.name);
    return -1;
  }
  const int len = BDecLen(buf, bytesDecoded);
  if (len < 0 && len != kIndefiniteLen) {
    herror_func(0, 0, texts.decodeLength, owner);
    return -1;
  }
  if (value.BDecContent(buf, header.tag, len, bytesDecoded) < 0) {
    herror_func(0, 0, texts.decodeContent, owner, elem.name);
    return -1;
  }
  return 0;
}

// Length and identifier around what was written.
int EncodeHeader(const sxAsnElem &elem, sxAsnWriteBuf &buf, int contentLen, int tagClass, int form, int number,
                 const char *owner, const sxAsnTexts &texts) {
  const int lenLen = BEncDefLen(buf, contentLen);
  if (lenLen < 0) return herror_func(0, 0, texts.encodeLength, owner, elem.name), -1;
  const int tagLen = BEncTag(buf, tagClass, form, number);
  if (tagLen < 0) return herror_func(0, 0, texts.encodeTag, owner, elem.name), -1;
  return contentLen + lenLen + tagLen;
}

}  // namespace

bool sxAsnTypeAccepts(const sxAsnTypeInfo &type, unsigned int tag) {
  const auto own = static_cast<unsigned int>(type.tag);
  if (type.kind == sxAsnKind::kAny) return tag != 0;
  if (type.kind != sxAsnKind::kChoice) return tag == own || (type.bothForms && tag == (own | kConstructed));
  for (int i = 0; i < type.numElems; ++i) {
    if (sxAsnElemAccepts(type.elems[i], tag)) return true;
  }
  return false;
}

bool sxAsnElemAcceptsOther(const sxAsnElem &elem, unsigned int tag) {
  if (elem.tagging == sxAsnElem::kNone) return sxAsnTypeAccepts(*elem.type, tag);
  if (elem.tagging == sxAsnElem::kExplicit || IsConstructedType(*elem.type)) {
    return tag == ContextTag(elem, kConstructed);
  }
  return tag == ContextTag(elem, kPrimitive) || (elem.type->bothForms && tag == ContextTag(elem, kConstructed));
}

int sxAsnDecodeElem(const sxAsnElem &elem, sxAsnType &value, sxAsnReadBuf &buf, const sxAsnHeader &header,
                    const char *owner, const sxAsnTexts &texts, int &bytesDecoded) {
  if (elem.tagging != sxAsnElem::kExplicit) { return DecodeBare(elem, value, buf, header, owner, texts, bytesDecoded); }
  const int len = BDecLen(buf, bytesDecoded);
  if (len >= 0 || len == kIndefiniteLen) {
    return sxAsnDecodeExplicit(elem, value, buf, len, owner, texts, bytesDecoded);
  }
  herror_func(0, 0, texts.decodeLength, owner);
  return -1;
}

int sxAsnDecodeExplicit(const sxAsnElem &elem, sxAsnType &value, sxAsnReadBuf &buf, int len, const char *owner,
                        const sxAsnTexts &texts, int &bytesDecoded) {
  sxAsnHeader inner = {buf.Curr(), bytesDecoded, 0};
  const int innerTag = BDecTag(buf, bytesDecoded);
  inner.tag = static_cast<unsigned int>(innerTag);
  if (innerTag < 0 || !sxAsnTypeAccepts(*elem.type, inner.tag)) {
    herror_func(0, 0, texts.unexpectedTag, owner, buf.GetOffset());
    return -1;
  }
  if (DecodeBare(elem, value, buf, inner, owner, texts, bytesDecoded) < 0) return -1;
  if (len == kIndefiniteLen) {
    if (BDecEoc(buf, bytesDecoded) >= 0) return 0;
    herror_func(0, 0, texts.decodeEoc, owner);
    return -1;
  }
  if (bytesDecoded - inner.startCount == len) return 0;
  herror_func(0, 0, texts.discrepancy, owner, buf.GetOffset());
  return -1;
}

int sxAsnEncodeElem(const sxAsnElem &elem, sxAsnType &value, sxAsnWriteBuf &buf, const char *owner,
                    const sxAsnTexts &texts) {
  const sxAsnTypeInfo &type = *elem.type;
  int len = type.kind == sxAsnKind::kAny ? value.BEnc(buf) : value.BEncContent(buf);
  if (len < 0) return herror_func(0, 0, texts.encodeContent, owner, elem.name), -1;
  if (type.kind != sxAsnKind::kAny && type.kind != sxAsnKind::kChoice) {  // these write their own tag
    const bool implicit = elem.tagging == sxAsnElem::kImplicit;
    len = EncodeHeader(elem, buf, len, implicit ? kContext : kUniversal, type.tag & kConstructed,
                       implicit ? elem.tagNumber : type.tag & 0x1F, owner, texts);
  }
  if (len < 0 || elem.tagging != sxAsnElem::kExplicit) return len;
  return EncodeHeader(elem, buf, len, kContext, kConstructed, elem.tagNumber, owner, texts);
}
