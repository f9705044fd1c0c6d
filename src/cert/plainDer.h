/// @file
/// Steps through plain DER: one-octet identifiers and definite lengths that fit what holds them.
///
/// The fast path of what is decoded by the thousand. Whatever is refused here goes through the codec,
/// which takes BER; so nothing may be accepted here that the codec refuses.
#ifndef KXCERT_SRC_CERT_PLAINDER_H_
#define KXCERT_SRC_CERT_PLAINDER_H_

#include <cstdint>

/// Octets that are borrowed.
struct sxSpan {
  const unsigned char *data = nullptr;
  uint32_t len = 0;
  const unsigned char *End() const { return data + len; }
};

struct sxPlainElement {
  int tag = 0;
  sxSpan content;
  const unsigned char *start = nullptr;
  sxSpan Whole() const { return {start, static_cast<uint32_t>(content.End() - start)}; }
};

/// Reads the element at @p pos, which moves behind it.
/// @return false at the end, for long identifiers, indefinite lengths, and lengths beyond @p end
inline bool sxReadPlain(const unsigned char *&pos, const unsigned char *end, sxPlainElement *element) {
  if (end - pos < 2) return false;
  element->start = pos;
  element->tag = *pos++;
  if ((element->tag & 0x1F) == 0x1F || element->tag == 0) return false;
  uint32_t len = *pos++;
  if (len >= 0x80) {
    const uint32_t numOctets = len & 0x7F;
    if (numOctets == 0 || numOctets > 3 || end - pos < static_cast<int>(numOctets)) return false;
    len = 0;
    for (uint32_t i = 0; i < numOctets; ++i) len = len << 8 | *pos++;
  }
  if (len > static_cast<uint32_t>(end - pos)) return false;
  element->content = {pos, len};
  pos += len;
  return true;
}

/// The same, of one given type.
inline bool sxReadPlain(const unsigned char *&pos, const unsigned char *end, int tag, sxPlainElement *element) {
  return pos < end && *pos == tag && sxReadPlain(pos, end, element);
}

#endif
