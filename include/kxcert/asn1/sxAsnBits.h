/// @file
/// BIT STRING (X.690, 8.6). Bit 0 is the most significant bit of the first octet.
///
/// Trailing zero bits are not trimmed and unused bits not cleared on encoding: who needs DER for a
/// named-bit list (X.690, 11.2.2) sets the exact bit length.
#ifndef KXCERT_ASN1_SXASNBITS_H_
#define KXCERT_ASN1_SXASNBITS_H_

#include <utility>

#include "kxcert/asn1/octetStore.h"
#include "kxcert/asn1/sxAsnPrimitive.h"

class KXCERT_EXPORT sxAsnBits : public sxAsnPrimitiveOf<sxAsnBits> {
 public:
  sxAsnBits() = default;
  explicit sxAsnBits(int bitCount) { Set(bitCount); }
  sxAsnBits(const sxAsnBits &other);
  sxAsnBits(sxAsnBits &&other) noexcept
      : sxAsnPrimitiveOf(), m_octets(std::move(other.m_octets)), m_bitLen(std::exchange(other.m_bitLen, 0)) {}
  sxAsnBits &operator=(const sxAsnBits &other);
  sxAsnBits &operator=(sxAsnBits &&other) noexcept {  ///< leaves the other one empty
    m_octets = std::move(other.m_octets);
    m_bitLen = std::exchange(other.m_bitLen, 0);
    return *this;
  }

  void Set(int bitCount);  ///< all bits clear; negative: none
  void ReSet(int bitCount) { Set(bitCount); }
  void Set(const unsigned char *octets, int bitCount);  ///< null or negative: no bits
  void ReSet(const unsigned char *octets, int bitCount) { Set(octets, bitCount); }
  void Set(const sxAsnBits &other) { *this = other; }
  void ReSet(const sxAsnBits &other) { *this = other; }

  int SetBit(int bit);        ///< 0, or -1 out of range
  int ClearBit(int bit);      ///< 0, or -1 out of range
  int GetBit(int bit) const;  ///< 0 or 1, or -1 out of range
  /// Appends its bits. @return 0, or -1 when an int cannot count them: nothing changes
  int Concat(const sxAsnBits &other);
  bool BitsEquiv(const sxAsnBits &other) const;

  int BitLen() const { return m_bitLen; }
  int Len() const { return m_octets.Len(); }  ///< octets: (BitLen() + 7) / 8
  const unsigned char *Data() const { return m_octets.Data(); }

  static const sxAsnTypeInfo kInfo;
  const sxAsnTypeInfo *Info() const override { return &kInfo; }
  int Describe(SxStream &out, int indent) const override;

 protected:
  int DecContent(sxAsnReadBuf &buf, unsigned int tag, int len, int &bytesDecoded) override;
  int EncContent(sxAsnWriteBuf &buf) override;

 private:
  int BDecConsBits(sxAsnReadBuf &buf, int len, int &bytesDecoded);

  sxOctets m_octets;
  int m_bitLen = 0;  // set last: never more bits than octets, also when memory ends
};

#endif
