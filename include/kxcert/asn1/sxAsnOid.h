/// @file
/// OBJECT IDENTIFIER (X.690, 8.19), kept and compared in its encoded form.
#ifndef KXCERT_ASN1_SXASNOID_H_
#define KXCERT_ASN1_SXASNOID_H_

#include "kxcert/asn1/octetStore.h"
#include "kxcert/asn1/sxAsnPrimitive.h"

constexpr int kMinOidText = 20;  ///< shortest area that GetStr writes to
constexpr int kMaxOidArcs = 11;  ///< arcs that Set takes

class KXCERT_EXPORT sxAsnOid : public sxAsnPrimitiveOf<sxAsnOid> {
 public:
  constexpr sxAsnOid() = default;
  /// A constant, from arcs known when compiling; the encoding has sxOctets::kInline octets at most.
  template <size_t kArcs>
  explicit constexpr sxAsnOid(const unsigned int (&arcs)[kArcs])
      : m_octets([&arcs](unsigned char *content) {
          int len = 0;
          AppendArc(content, arcs[0] * 40 + arcs[1], len);
          for (size_t i = 2; i < kArcs; ++i) AppendArc(content, arcs[i], len);
          return len;
        }) {}
  sxAsnOid(const sxAsnOid &other);
  sxAsnOid(sxAsnOid &&other) noexcept = default;
  sxAsnOid &operator=(const sxAsnOid &other);
  sxAsnOid &operator=(sxAsnOid &&other) noexcept = default;

  /// Arcs after the last are -1. arc1 * 40 + arc2 must stay below 128. With all eleven arcs given, a
  /// line feed goes to standard output; kept so by intent.
  void Set(unsigned int arc1, unsigned int arc2, int arc3 = -1, int arc4 = -1, int arc5 = -1, int arc6 = -1,
           int arc7 = -1, int arc8 = -1, int arc9 = -1, int arc10 = -1, int arc11 = -1);
  void ReSet(unsigned int arc1, unsigned int arc2, int arc3 = -1, int arc4 = -1, int arc5 = -1, int arc6 = -1,
             int arc7 = -1, int arc8 = -1, int arc9 = -1, int arc10 = -1, int arc11 = -1) {
    Set(arc1, arc2, arc3, arc4, arc5, arc6, arc7, arc8, arc9, arc10, arc11);
  }
  void Set(const unsigned char *content, int len);
  void ReSet(const unsigned char *content, int len) { Set(content, len); }
  void Set(const sxAsnOid &other) { *this = other; }
  void ReSet(const sxAsnOid &other) { Set(other); }

  /// Dotted decimal text, arcs of any length. An area that is too short gets as many arcs as fit and a "?"; a last arc
  /// without its end is a "?", too.
  /// @retval -1  buf is null, bufLen is below kMinOidText (nothing written) or too short, or there is no such end
  int GetStr(char *buf, int bufLen) const;
  bool OidEquiv(const sxAsnOid &other) const { return m_octets.Equals(other.m_octets); }

  /// Appends one arc in base 128 at @p pos, which moves on; @p content has room for 5 octets there.
  static void EncVal(unsigned char *content, unsigned int arc, int &pos) { AppendArc(content, arc, pos); }

  const unsigned char *Data() const { return m_octets.Data(); }  ///< content octets
  int Len() const { return m_octets.Len(); }

  static const sxAsnTypeInfo kInfo;
  const sxAsnTypeInfo *Info() const override { return &kInfo; }
  int Describe(SxStream &out, int indent) const override;

 protected:
  int DecContent(sxAsnReadBuf &buf, unsigned int tag, int len, int &bytesDecoded) override;
  int EncContent(sxAsnWriteBuf &buf) override;

 private:
  static constexpr void AppendArc(unsigned char *content, unsigned int arc, int &pos) {
    int shift = 28;
    while (shift > 0 && arc >> shift == 0) shift -= 7;
    for (; shift > 0; shift -= 7) content[pos++] = static_cast<unsigned char>((arc >> shift & 0x7F) | 0x80);
    content[pos++] = static_cast<unsigned char>(arc & 0x7F);
  }

  sxOctets m_octets;
};

inline bool operator==(const sxAsnOid &a, const sxAsnOid &b) { return a.OidEquiv(b); }

#endif
