// What SEQUENCE, SET, their OF types and (copying) CHOICE share.
#include "kxcert/asn1/sxAsnConstructed.h"

#include <memory>

#include "element.h"
#include "kxcert/platform/log.h"

sxAsnType *sxAsnConstructed::Dup() const {
  std::unique_ptr<sxAsnType> copy(Clone());
  const sxAsnKind kind = Info()->kind;
  if (kind == sxAsnKind::kSequence || kind == sxAsnKind::kSet) {
    sxAsnCopyElems(*this, *copy);  // CopyFrom makes a value more, for one that may be a part of the other
  } else {
    copy->CopyFrom(*this);
  }
  return copy.release();
}

int sxAsnConstructed::BDec(sxAsnReadBuf &buf, int &bytesDecoded) {
  const sxAsnTypeInfo &info = *Info();
  const int tag = BDecTag(buf, bytesDecoded);
  if (tag != info.tag) {
    herror_func(0, 0, "%s::BDec: ERROR - wrong tag offset = %d", info.name, buf.GetOffset());
    return -1;
  }
  const int len = BDecLen(buf, bytesDecoded);
  if (len < 0 && len != kIndefiniteLen) {
    herror_func(0, 0, "%s::BDec: attempt to decoded length failed", info.name);
    return -1;
  }
  if (DecContent(buf, static_cast<unsigned int>(tag), len, bytesDecoded) < 0) {
    herror_func(0, 0, "%s::BDec: attempt to decoded Content failed", info.name);
    return -1;
  }
  return 1;
}

int sxAsnConstructed::BEnc(sxAsnWriteBuf &buf) {
  const char *const name = Info()->name;
  const int contentLen = EncContent(buf);
  if (contentLen < 0) return herror_func(0, 0, "%s::BEnc: attempt to encoded  content failed", name), -1;
  const int lenLen = BEncDefLen(buf, contentLen);
  if (lenLen < 0) return herror_func(0, 0, "%s::BEnc: attempt to encoded length failed", name), -1;
  const int tagLen = BEncTag(buf, kUniversal, kConstructed, Info()->tag & 0x1F);
  if (tagLen < 0) return herror_func(0, 0, "%s::BEnc: attempt to encoded tag failed", name), -1;
  return contentLen + lenLen + tagLen;
}
