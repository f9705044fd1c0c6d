/// @file
/// BOOLEAN and NULL (X.690, 8.2 and 8.8).
#ifndef KXCERT_ASN1_SXASNBOOL_H_
#define KXCERT_ASN1_SXASNBOOL_H_

#include "kxcert/asn1/sxAsnPrimitive.h"

class KXCERT_EXPORT sxAsnBool : public sxAsnPrimitiveOf<sxAsnBool> {
 public:
  explicit sxAsnBool(int value = 0) : m_value(value != 0 ? 1 : 0) {}
  void Set(int value) { m_value = value != 0 ? 1 : 0; }
  int Value() const { return m_value; }  ///< 0 or 1

  static const sxAsnTypeInfo kInfo;
  const sxAsnTypeInfo *Info() const override { return &kInfo; }
  int Describe(SxStream &out, int indent) const override;

 protected:
  int DecContent(sxAsnReadBuf &buf, unsigned int tag, int len, int &bytesDecoded) override;
  int EncContent(sxAsnWriteBuf &buf) override;

 private:
  int m_value;
};

class KXCERT_EXPORT sxAsnNull : public sxAsnPrimitiveOf<sxAsnNull> {
 public:
  static const sxAsnTypeInfo kInfo;
  const sxAsnTypeInfo *Info() const override { return &kInfo; }
  /// Takes any element of length 0, whatever its tag; this leniency is intended.
  int BDec(sxAsnReadBuf &buf, int &bytesDecoded) override;
  int Describe(SxStream &out, int indent) const override;

 protected:
  int DecContent(sxAsnReadBuf &buf, unsigned int tag, int len, int &bytesDecoded) override;
  int EncContent(sxAsnWriteBuf &) override { return 0; }
};

#endif
