#include "primitive.h"

#include "kxcert/platform/log.h"

int sxAsnReadHeader(const sxAsnTypeInfo &info, sxAsnReadBuf &buf, int &len, int &bytesDecoded) {
  const int tag = BDecTag(buf, bytesDecoded);
  if (tag != info.tag && !(info.bothForms && tag == (info.tag | kConstructed))) {
    herror_func(0, 0, "%s::BDec wrong tag before offset = %d", info.name, buf.GetOffset());
    return -1;
  }
  len = BDecLen(buf, bytesDecoded);
  if (len < 0 && !(info.bothForms && len == kIndefiniteLen)) {
    herror_func(0, 0, "%s::BDec failed to decoded length before offset = %d", info.name, buf.GetOffset());
    return -1;
  }
  return tag;
}

int sxAsnWriteHeader(const sxAsnTypeInfo &info, sxAsnWriteBuf &buf, int contentLen) {
  if (contentLen < 0) return -1;
  const int lenLen = BEncDefLen(buf, contentLen);
  if (lenLen < 0) return -1;
  const int tagLen = BEncTag(buf, kUniversal, kPrimitive, info.tag);
  return tagLen < 0 ? -1 : contentLen + lenLen + tagLen;
}

sxAsnType *sxAsnPrimitive::Dup() const {
  sxAsnType *copy = Clone();
  copy->CopyFrom(*this);
  return copy;
}

int sxAsnPrimitive::BDec(sxAsnReadBuf &buf, int &bytesDecoded) {
  int len = 0;
  const int tag = sxAsnReadHeader(*Info(), buf, len, bytesDecoded);
  return tag < 0 || DecContent(buf, static_cast<unsigned int>(tag), len, bytesDecoded) < 0 ? -1 : 1;
}

int sxAsnPrimitive::BEnc(sxAsnWriteBuf &buf) { return sxAsnWriteHeader(*Info(), buf, EncContent(buf)); }
