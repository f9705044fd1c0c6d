/// @file
/// What the classes of primitive types have in common (X.690, 8.2 to 8.8 and 8.19).
#ifndef KXCERT_ASN1_SXASNPRIMITIVE_H_
#define KXCERT_ASN1_SXASNPRIMITIVE_H_

#include "kxcert/asn1/sxAsnType.h"

/// Whole elements around the contents that a class decodes and encodes.
class KXCERT_EXPORT sxAsnPrimitive : public sxAsnType {
 public:
  const char *TypeName() const override { return Info()->name; }
  sxAsnType *Clone() const override { return Info()->create(); }
  sxAsnType *Dup() const override;
  int BDec(sxAsnReadBuf &buf, int &bytesDecoded) override;
  int BEnc(sxAsnWriteBuf &buf) override;
};

/// The same, copied by assignment of @p Class.
template <class Class>
class sxAsnPrimitiveOf : public sxAsnPrimitive {
 public:
  int CopyFrom(const sxAsnType &other) override {
    if (other.Info() != Info()) return -1;
    static_cast<Class &>(*this) = static_cast<const Class &>(other);
    return 0;
  }
};

#endif
