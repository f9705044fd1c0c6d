/// @file
/// Writes elements from the first to the last, of any length that four octets hold, into an area that is long enough.
///
/// For what sxDerWriter and the codec cannot: elements of 16 MiB and more, whose parts are copied once.
#ifndef KXCERT_SRC_CERT_DERFORWARD_H_
#define KXCERT_SRC_CERT_DERFORWARD_H_

#include <algorithm>
#include <vector>

#include "asn1/der.h"

using sxDerOctets = std::vector<unsigned char>;

inline size_t sxDerHeaderLen(size_t contentLen) {
  size_t len = 2;
  for (size_t rest = contentLen; contentLen >= 0x80 && rest > 0; rest >>= 8) ++len;
  return len;
}
inline size_t sxDerLen(size_t contentLen) { return sxDerHeaderLen(contentLen) + contentLen; }

class sxDerForward {
 public:
  explicit sxDerForward(unsigned char *area) : m_pos(area) {}

  void Header(int tag, size_t contentLen) {
    *m_pos++ = static_cast<unsigned char>(tag);
    size_t numOctets = sxDerHeaderLen(contentLen) - 2;
    *m_pos++ = static_cast<unsigned char>(numOctets == 0 ? contentLen : 0x80 | numOctets);
    while (numOctets-- > 0) *m_pos++ = static_cast<unsigned char>(contentLen >> 8 * numOctets);
  }
  void Octets(sxOctetView octets) { m_pos = std::copy(octets.begin(), octets.end(), m_pos); }
  void Element(int tag, sxOctetView content) {
    Header(tag, content.size());
    Octets(content);
  }
  void Element(int tag, std::initializer_list<sxOctetView> parts) {
    size_t len = 0;
    for (const sxOctetView part : parts) len += part.size();
    Header(tag, len);
    for (const sxOctetView part : parts) Octets(part);
  }
  unsigned char *Pos() const { return m_pos; }

 private:
  unsigned char *m_pos;
};

/// One element around others.
inline sxDerOctets sxDerOf(int tag, std::initializer_list<sxOctetView> parts) {
  size_t len = 0;
  for (const sxOctetView part : parts) len += part.size();
  sxDerOctets der(sxDerLen(len));
  sxDerForward(der.data()).Element(tag, parts);
  return der;
}

#endif
