#include "kxcert/asn1/sxAsnBuf.h"

#include <cstdint>

#include "kxcert/platform/log.h"

namespace {

constexpr int kMaxLenOctets = 4;
constexpr int kIndefiniteOctet = 0x80;

// Writes the octets of one encoding from the last to the first.
int PutReversed(sxAsnWriteBuf &buf, const unsigned char *octets, int len) {
  for (int i = 0; i < len; ++i) {
    if (buf.PutByte(octets[i]) < 0) return -1;
  }
  return len;
}

unsigned char Octet(unsigned int value) { return static_cast<unsigned char>(value & 0xFF); }

int Fail(const char *text) { return herror_func(0, 0, "%s", text), -1; }

}  // namespace

int sxAsnReadBuf::AtEnd(const char *func) {
  herror_func(0, 0, "%s reached the end of buf", func);
  return -1;
}

const unsigned char *sxAsnReadBuf::GetSeg(int *len) {
  const unsigned char *seg = m_curr;
  *len = Skip(*len);
  return seg;
}

int sxAsnReadBuf::Skip(int n) {
  if (n < 0) n = 0;
  if (n > GetLen()) n = GetLen();
  m_curr += n;
  return n;
}

int sxAsnReadBuf::Back(int n) {
  if (n < 0 || n > GetOffset()) {
    herror_func(0, 0, "sxAsnReadBuf::Back attempt to return %d failed", n);
    return -1;
  }
  m_curr -= n;
  return 1;
}

int sxAsnReadBuf::CopyOut(unsigned char *dst, int n) {
  if (n < 0 || n > GetLen()) return GetLen();
  if (n > 0) std::memcpy(dst, m_curr, static_cast<size_t>(n));
  m_curr += n;
  return n;
}

int sxAsnWriteBuf::NoRoom(const char *func) {
  m_overflow = true;
  herror_func(0, 0, "%s reached the end of buf", func);
  return -1;
}

int BDecLongTag(sxAsnReadBuf &buf, int first, int &bytesDecoded) {
  uint32_t tag = static_cast<uint32_t>(first);
  for (int shift = 8; shift <= 24; shift += 8) {
    // At the end of the buffer GetByte yields -1: all bits set, so that the loop runs out as it does
    // for a number that is too long.
    const int octet = buf.GetByte();
    ++bytesDecoded;
    tag |= static_cast<uint32_t>(octet & 0xFF) << shift;
    if ((octet & 0x80) == 0) return static_cast<int>(tag);
  }
  herror_func(0, 0, "asn-tag BDecTag error tag value to long before  offset = %d", buf.GetOffset());
  return -1;
}

int BEncLongTag(sxAsnWriteBuf &buf, int tagClass, int form, int code) {
  const unsigned int number = static_cast<unsigned int>(code);
  const unsigned char lead = Octet(static_cast<unsigned int>(tagClass | form));
  if (code >= 0 && code < 31) {
    if (buf.PutByte(Octet(lead | number)) < 0) { return Fail("asn-tag BEncTag error can't write to buf code < 31"); }
    return 1;
  }
  const unsigned char longLead = Octet(lead | 31U);
  if (code >= 0 && code < 0x7F) {  // 126 and not 127, see the header
    const unsigned char octets[] = {Octet(number), longLead};
    const int written = PutReversed(buf, octets, 2);
    return written < 0 ? Fail("asn-tag BEncTag error can't write to buf code < 0x7f ") : written;
  }
  if (code >= 0 && code <= 0x3FFF) {
    const unsigned char octets[] = {Octet(number & 0x7F), Octet(number >> 7 | 0x80), longLead};
    const int written = PutReversed(buf, octets, 3);
    return written < 0 ? Fail("asn-tag BEncTag error can't write to buf code <= 0x3fff") : written;
  }
  if (code >= 0 && code <= 0x1FFFFF) {
    const unsigned char octets[] = {Octet(number & 0x7F), Octet((number >> 7 & 0x7F) | 0x80),
                                    Octet(number >> 14 | 0x80), longLead};
    const int written = PutReversed(buf, octets, 4);
    return written < 0 ? Fail("asn-tag BEncTag error can't write to buf code <= 0x1fffff ") : written;
  }
  return Fail("asn-tag BEncTag: code too long");
}

int BDecLongLen(sxAsnReadBuf &buf, int &bytesDecoded) {
  if (buf.GetLen() == 0) {
    herror_func(0, 0, "BDecLen: Decoded couldn't get byte offset = %d", buf.GetOffset());
    return -1;
  }
  const int first = buf.GetByte();
  ++bytesDecoded;
  if (first == kIndefiniteOctet) return kIndefiniteLen;
  uint32_t value = static_cast<uint32_t>(first);
  if (first > kIndefiniteOctet) {
    const int numOctets = first & 0x7F;
    if (numOctets > kMaxLenOctets) {
      herror_func(0, 0, "BDecLen: length overflow before offset = %d", buf.GetOffset());
      return -1;
    }
    value = 0;
    for (int i = 0; i < numOctets; ++i) {
      if (buf.GetLen() == 0) {
        herror_func(0, 0, "BDec: decoded couldn't get data offset = %d", buf.GetOffset());
        return -1;
      }
      value = value << 8 | static_cast<uint32_t>(buf.GetByte());
      ++bytesDecoded;
    }
  }
  // Compared signed by intent: see the header for what four octets with the top bit set become.
  const int len = static_cast<int>(value);
  if (len > buf.GetLen()) return Fail("BDecLen: length exceeds buffer");
  return len;
}

int BEncLongLen(sxAsnWriteBuf &buf, int len) {
  const unsigned int value = static_cast<unsigned int>(len);
  const unsigned char low = Octet(value);
  if (len < 0 || len >= 0x1000000) return Fail("BEncDefLen can't find match if");
  if (len < 0x80) { return buf.PutByte(low) < 0 ? Fail("BEncDefLen can't put byte to buf len < 0x80 ") : 1; }
  if (len < 0x100) {
    const unsigned char octets[] = {low, 0x81};
    return PutReversed(buf, octets, 2) < 0 ? Fail("BEncDefLen can't put byte to buf len < 0x100 ") : 2;
  }
  if (len < 0x10000) {
    const unsigned char octets[] = {low, Octet(value >> 8), 0x82};
    return PutReversed(buf, octets, 3) < 0 ? Fail("BEncDefLen can't put byte to buf  len < 0x10000") : 3;
  }
  const unsigned char octets[] = {low, Octet(value >> 8), Octet(value >> 16), 0x83};
  return PutReversed(buf, octets, 4) < 0 ? Fail("BEncDefLen can't put byte in buf  len < 0x1000000") : 4;
}

int BEncIndefLen(sxAsnWriteBuf &buf) {
  return buf.PutByte(kIndefiniteOctet) < 0 ? Fail("BEncIndefLen can't write to buffer") : 1;
}

int BDecEoc(sxAsnReadBuf &buf, int &bytesDecoded) {
  if (buf.GetByte() != 0 || buf.GetByte() != 0) {
    herror_func(0, 0, "Non zero byte in EOC or end of data reached before offset = %d", buf.GetOffset());
    return -1;
  }
  bytesDecoded += 2;
  return 1;
}

int BEncEoc(sxAsnWriteBuf &buf) {
  const unsigned char octets[] = {0, 0};
  return PutReversed(buf, octets, 2) < 0 ? Fail("sxAsnLen failed to encoded Eoc ") : 2;
}

int BEoc(const unsigned char *octets) { return octets[0] == 0 && octets[1] == 0 ? 1 : -1; }

int RawLen(sxAsnReadBuf &buf, int all) {
  int total = 0;
  for (;;) {
    const int tag = BDecTag(buf, total);
    if (tag == 0) break;
    const int len = tag < 0 ? -1 : BDecLen(buf, total);
    if (len < 0) return Fail("asnLen: failed to decoded length");
    if (buf.Skip(len) != len) {
      herror_func(0, 0, "asnLen failed to skip %u bytes before  offset = %d", static_cast<unsigned int>(len),
                  buf.GetOffset());
      return -1;
    }
    total += len;
    if (all == 0) return buf.Back(total) < 0 ? -1 : total;
  }
  if (buf.GetByte() != 0) {
    herror_func(0, 0, "asnLen failed to decoded the 2th byte Eoc before  offset = %d", buf.GetOffset());
    return -1;
  }
  ++total;
  return buf.Back(total) < 0 ? -1 : total;
}
