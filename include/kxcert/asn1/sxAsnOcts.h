/// @file
/// OCTET STRING and the character-string and time types (X.690, 8.7 and 8.23).
///
/// No character set is checked: any octets decode in any string type.
#ifndef KXCERT_ASN1_SXASNOCTS_H_
#define KXCERT_ASN1_SXASNOCTS_H_

#include "kxcert/asn1/octetStore.h"
#include "kxcert/asn1/sxAsnPrimitive.h"

class KXCERT_EXPORT sxAsnOcts : public sxAsnPrimitiveOf<sxAsnOcts> {
 public:
  sxAsnOcts() = default;
  explicit sxAsnOcts(const unsigned char *text);  ///< up to its NUL
  sxAsnOcts(const unsigned char *octets, int len) { Set(octets, len); }
  sxAsnOcts(const sxAsnOcts &other);
  sxAsnOcts(sxAsnOcts &&other) noexcept = default;
  sxAsnOcts &operator=(const sxAsnOcts &other);
  sxAsnOcts &operator=(sxAsnOcts &&other) noexcept = default;

  void Set(const char *text);  ///< up to its NUL; null empties
  void ReSet(const char *text) { Set(text); }
  void Set(const unsigned char *octets, int len);
  void ReSet(const unsigned char *octets, int len) { Set(octets, len); }
  void Set(const sxAsnOcts &other) { *this = other; }
  void ReSet(const sxAsnOcts &other) { Set(other); }
  bool OctsEquiv(const sxAsnOcts &other) const { return m_octets.Equals(other.m_octets); }

  const unsigned char *Data() const { return m_octets.Data(); }  ///< borrowed until it changes
  int Len() const { return m_octets.Len(); }

  static const sxAsnTypeInfo kInfo;
  const sxAsnTypeInfo *Info() const override { return &kInfo; }
  sxAsnType *GetType(const char *name) override;  ///< strings answer to "sxAsnOcts" too
  /// A length octet of 0 ends the element at once and is not added to @p bytesDecoded; kept so by
  /// intent. The string and time types return 0 on success, OCTET STRING 1.
  int BDec(sxAsnReadBuf &buf, int &bytesDecoded) override;
  int Describe(SxStream &out, int indent) const override;

 protected:
  int DecContent(sxAsnReadBuf &buf, unsigned int tag, int len, int &bytesDecoded) override;
  int EncContent(sxAsnWriteBuf &buf) override;

 private:
  sxOctets m_octets;
};

/// The string and time types add nothing but their names and tags.
#define KXCERT_ASN1_STRING_CLASS(Class)                           \
  class KXCERT_EXPORT Class : public sxAsnOcts {                  \
   public:                                                        \
    using sxAsnOcts::sxAsnOcts;                                   \
    static const sxAsnTypeInfo kInfo;                             \
    const sxAsnTypeInfo *Info() const override { return &kInfo; } \
  }
KXCERT_ASN1_STRING_CLASS(sxAsnUTF8String);
KXCERT_ASN1_STRING_CLASS(sxAsnNumericString);
KXCERT_ASN1_STRING_CLASS(sxAsnPrintableString);
KXCERT_ASN1_STRING_CLASS(sxAsnTeletexString);
KXCERT_ASN1_STRING_CLASS(sxAsnT61String);
KXCERT_ASN1_STRING_CLASS(sxAsnVideotexString);
KXCERT_ASN1_STRING_CLASS(sxAsnIA5String);
KXCERT_ASN1_STRING_CLASS(sxAsnGraphicString);
KXCERT_ASN1_STRING_CLASS(sxAsnVisibleString);
KXCERT_ASN1_STRING_CLASS(sxAsnISO646String);
KXCERT_ASN1_STRING_CLASS(sxAsnGeneralString);
KXCERT_ASN1_STRING_CLASS(sxAsnUniversalString);
KXCERT_ASN1_STRING_CLASS(sxAsnBMPString);
KXCERT_ASN1_STRING_CLASS(sxAsnUTCTime);
KXCERT_ASN1_STRING_CLASS(sxAsnGeneralizedTime);
KXCERT_ASN1_STRING_CLASS(sxAsnObjectDescriptor);

#endif
