/// @file
/// INTEGER and ENUMERATED (X.690, 8.3 and 8.4).
///
/// Up to four content octets are kept as a 32-bit number, longer ones as the octets received. Octets
/// that a caller sets are a magnitude, whatever their first bit: that is how they are encoded.
#ifndef KXCERT_ASN1_SXASNINT_H_
#define KXCERT_ASN1_SXASNINT_H_

#include "kxcert/asn1/octetStore.h"
#include "kxcert/asn1/sxAsnPrimitive.h"

class KXCERT_EXPORT sxAsnInt : public sxAsnPrimitiveOf<sxAsnInt> {
 public:
  sxAsnInt() = default;
  explicit sxAsnInt(int value) : m_small(value) {}
  sxAsnInt(const sxAsnInt &other);
  sxAsnInt(sxAsnInt &&other) noexcept = default;
  sxAsnInt &operator=(const sxAsnInt &other);
  sxAsnInt &operator=(sxAsnInt &&other) noexcept = default;

  void Set(int value);
  void ReSet(int value) { Set(value); }
  /// The magnitude of a big value, big-endian and without a sign octet, whatever the number of octets;
  /// they are stored as they are. Null or 0 makes it the small value 0.
  void Set(const unsigned char *octets, unsigned int len);
  /// The octets of a big value; -1 unless exactly @p len are held.
  int GetBuf(unsigned char *octets, int len) const;
  int GetShortVal() const;  ///< the low 32 bits
  bool IsBig() const { return m_big.Len() > 0; }
  const sxOctets &BigOctets() const { return m_big; }  ///< empty for a small value
  bool IsMagnitude() const { return m_isMagnitude; }   ///< the big octets were set, not decoded

  /// True when both denote the same number, however each is stored: decoded octets are two's complement,
  /// those that were set a magnitude.
  bool intEquiv(const sxAsnInt &other) const;

  static const sxAsnTypeInfo kInfo;
  const sxAsnTypeInfo *Info() const override { return &kInfo; }
  int Describe(SxStream &out, int indent) const override;

 protected:
  /// One to four octets become the small value, five and more are kept as they are.
  int DecContent(sxAsnReadBuf &buf, unsigned int tag, int len, int &bytesDecoded) override;
  /// Small values take the fewest octets, but every negative one takes four; big ones are written as
  /// unsigned magnitudes, so that a negative one becomes positive. Both are kept so by intent.
  int EncContent(sxAsnWriteBuf &buf) override;

 private:
  int m_small = 0;
  bool m_isMagnitude = false;  // of m_big; otherwise two's complement
  sxOctets m_big;
};

class KXCERT_EXPORT sxAsnEnum : public sxAsnInt {
 public:
  using sxAsnInt::sxAsnInt;
  static const sxAsnTypeInfo kInfo;
  const sxAsnTypeInfo *Info() const override { return &kInfo; }
};

#endif
