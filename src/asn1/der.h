/// @file
/// One view of octets, one reader and one writer of elements (X.690, 8.1).
///
/// The reader takes one-octet identifiers and definite lengths that fit what holds them: the fast path of
/// what is decoded by the thousand, and all of what is read from keys, whose octets no tree may keep.
/// Whatever it refuses in a certificate goes through the codec, which takes BER; so it accepts nothing
/// that the codec refuses.
#ifndef KXCERT_SRC_ASN1_DER_H_
#define KXCERT_SRC_ASN1_DER_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

#include "kxcert/asn1/sxAsnBuf.h"

/// Octets that are lent.
using sxOctetView = std::span<const unsigned char>;

inline sxOctetView sxView(const unsigned char *data, int len) {
  return {data, data == nullptr || len < 0 ? 0 : static_cast<size_t>(len)};
}
/// The length, as the fixed interface has it: what is viewed is never longer.
inline int sxLen(sxOctetView octets) { return static_cast<int>(octets.size()); }
inline bool sxEqual(sxOctetView a, sxOctetView b) { return std::ranges::equal(a, b); }

/// Identifier octets (X.690, 8.1.2 and 8.4 onwards).
enum sxDerTag : int {
  kDerBoolean = 0x01,
  kDerInteger = 0x02,
  kDerBitString = 0x03,
  kDerOctetString = 0x04,
  kDerNull = 0x05,
  kDerOid = 0x06,
  kDerEnumerated = 0x0A,
  kDerUtf8String = 0x0C,
  kDerPrintableString = 0x13,
  kDerTeletexString = 0x14,
  kDerIa5String = 0x16,
  kDerUtcTime = 0x17,
  kDerGeneralizedTime = 0x18,
  kDerUniversalString = 0x1C,
  kDerBmpString = 0x1E,
  kDerSequence = 0x30,
  kDerSet = 0x31,
};
/// [number], around a primitive value or implicitly one, and around whole elements.
constexpr int DerContext(int number) { return kContext | number; }
constexpr int DerContextConstructed(int number) { return DerContext(number) | kConstructed; }

struct sxDerElement {
  int tag = 0;
  sxOctetView content;
  sxOctetView whole;  ///< from the identifier on
};

/// Steps through the elements of octets that it borrows. Once something was refused, where it stands
/// means nothing.
class sxDerReader {
 public:
  static constexpr size_t kUsualLenOctets = 3;

  sxDerReader() = default;
  /// @param maxLenOctets  of the lengths that are read; the codec itself takes four
  explicit sxDerReader(sxOctetView octets, size_t maxLenOctets = kUsualLenOctets)
      : m_pos(octets.data()), m_end(octets.data() + octets.size()), m_maxLenOctets(maxLenOctets) {}

  bool AtEnd() const { return m_pos == m_end; }
  bool NextIs(int tag) const { return m_pos < m_end && *m_pos == tag; }
  sxOctetView Rest() const { return {m_pos, m_end}; }

  /// @return false at the end, for identifiers of several octets and end-of-contents, for indefinite
  ///         lengths, and for lengths in too many octets or beyond the end
  bool Take(sxDerElement *element) {
    if (m_end - m_pos < 2) return false;
    const unsigned char *const start = m_pos;
    element->tag = *m_pos++;
    if ((element->tag & 0x1F) == 0x1F || element->tag == 0) return false;
    size_t len = *m_pos++;
    if (len >= 0x80) {
      const size_t numOctets = len & 0x7F;
      if (numOctets == 0 || numOctets > m_maxLenOctets || Left() < numOctets) return false;
      len = 0;
      for (size_t i = 0; i < numOctets; ++i) len = len << 8 | *m_pos++;
    }
    if (len > Left()) return false;
    element->content = {m_pos, len};
    m_pos += len;
    element->whole = {start, m_pos};
    return true;
  }
  /// The same, of one given type.
  bool Take(int tag, sxDerElement *element) { return NextIs(tag) && Take(element); }
  bool Take(int tag, sxOctetView *content) {
    sxDerElement element;
    if (!Take(tag, &element)) return false;
    *content = element.content;
    return true;
  }
  /// A reader of the content.
  bool Enter(int tag, sxDerReader *inside) {
    sxOctetView content;
    if (!Take(tag, &content)) return false;
    *inside = sxDerReader(content, m_maxLenOctets);
    return true;
  }
  /// Exactly these octets.
  bool TakeOctets(sxOctetView octets) {
    if (Left() < octets.size() || !std::equal(octets.begin(), octets.end(), m_pos)) return false;
    m_pos += octets.size();
    return true;
  }

 private:
  size_t Left() const { return static_cast<size_t>(m_end - m_pos); }

  const unsigned char *m_pos = nullptr;
  const unsigned char *m_end = nullptr;
  size_t m_maxLenOctets = kUsualLenOctets;
};

/// Writes elements from the last to the first into an area that it borrows, with the shortest lengths.
/// Wipes nothing: the area is its owner's.
class sxDerWriter {
 public:
  explicit sxDerWriter(std::span<unsigned char> area) {
    m_buf.Init(area.data(), static_cast<int>(std::min<size_t>(area.size(), INT32_MAX)));
  }

  int Mark() const { return m_buf.Written(); }  ///< a place for Wrap
  void Octet(unsigned char octet) { m_buf.PutByte(octet); }
  void Octets(sxOctetView octets) { m_buf.PutSeg(octets.data(), sxLen(octets)); }
  /// Identifier and length before @p contentLen octets, some of which may be written elsewhere.
  void Header(int tag, int contentLen) {
    if (BEncDefLen(m_buf, contentLen) < 0) m_failed = true;
    m_buf.PutByte(static_cast<unsigned char>(tag));
  }
  /// Makes one element of what was written since @p mark; of everything without one.
  void Wrap(int tag, int mark = 0) { Header(tag, m_buf.Written() - mark); }
  void Element(int tag, sxOctetView content) {
    Octets(content);
    Header(tag, sxLen(content));
  }

  /// What was written, at the end of the area; empty when it did not fit.
  sxOctetView Written() const {
    return m_failed || m_buf.Overflow() ? sxOctetView() : sxView(m_buf.Curr(), m_buf.Written());
  }

 private:
  sxAsnWriteBuf m_buf;
  bool m_failed = false;
};

#endif
