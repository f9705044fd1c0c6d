/// @file
/// What the primitive types share: the whole-element forms around their contents.
#ifndef KXCERT_SRC_ASN1_PRIMITIVE_H_
#define KXCERT_SRC_ASN1_PRIMITIVE_H_

#include "kxcert/asn1/sxAsnPrimitive.h"

template <class T>
sxAsnType *sxAsnCreate() {
  return new T;
}

constexpr sxAsnTypeInfo sxAsnPrimitiveInfo(const char *name, int tag, sxAsnType *(*create)()) {
  return {name, sxAsnKind::kPrimitive, false, false, tag, create, nullptr, 0};
}
constexpr sxAsnTypeInfo sxAsnStringInfo(const char *name, int tag, sxAsnType *(*create)()) {
  return {name, sxAsnKind::kPrimitive, true, false, tag, create, nullptr, 0};
}

/// Reads identifier and length and compares the identifier with the class's own.
/// @param[out] len  0 or more, or kIndefiniteLen for classes of both forms
/// @return the identifier, or -1 (logged)
int sxAsnReadHeader(const sxAsnTypeInfo &info, sxAsnReadBuf &buf, int &len, int &bytesDecoded);

/// Writes length and identifier around contents of @p contentLen octets.
/// @return octets of the whole element, or -1
int sxAsnWriteHeader(const sxAsnTypeInfo &info, sxAsnWriteBuf &buf, int contentLen);

#endif
