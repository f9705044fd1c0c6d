#include "kxcert/asn1/sxAsnBits.h"

#include <vector>

#include "kxcert/asn1/sxAsnPrint.h"
#include "kxcert/foundation/textStream.h"
#include "kxcert/platform/log.h"
#include "primitive.h"

namespace {

int OctetsOf(int bitCount) { return bitCount / 8 + (bitCount % 8 != 0 ? 1 : 0); }

bool CanJoin(int bitLen, int more) { return more <= INT32_MAX - bitLen; }

unsigned char MaskOf(int bit) { return static_cast<unsigned char>(0x80 >> bit % 8); }

// Appends bits behind bitLen bits. The vector grows ahead of its size, so that many small segments
// cost no more than one large one.
void AppendBits(std::vector<unsigned char> *octets, int *bitLen, const unsigned char *from, int fromBits) {
  const int shift = *bitLen % 8;
  const int numOctets = OctetsOf(fromBits);
  if (shift != 0) { octets->back() = static_cast<unsigned char>(octets->back() & (0xFF << (8 - shift))); }
  for (int i = 0; i < numOctets; ++i) {
    if (shift == 0) {
      octets->push_back(from[i]);
    } else {
      octets->back() = static_cast<unsigned char>(octets->back() | from[i] >> shift);
      octets->push_back(static_cast<unsigned char>(from[i] << (8 - shift)));
    }
  }
  *bitLen += fromBits;
  octets->resize(static_cast<size_t>(OctetsOf(*bitLen)));
}

}  // namespace

// Outside the header, as what it calls is not exported.
sxAsnBits::sxAsnBits(const sxAsnBits &other) = default;
sxAsnBits &sxAsnBits::operator=(const sxAsnBits &other) = default;

constinit const sxAsnTypeInfo sxAsnBits::kInfo = sxAsnStringInfo("sxAsnBits", 3, sxAsnCreate<sxAsnBits>);

void sxAsnBits::Set(int bitCount) {
  if (bitCount < 0) bitCount = 0;
  m_bitLen = 0;
  unsigned char *octets = m_octets.Resize(OctetsOf(bitCount));
  std::memset(octets, 0, static_cast<size_t>(m_octets.Len()));
  m_bitLen = bitCount;
}

void sxAsnBits::Set(const unsigned char *octets, int bitCount) {
  if (octets == nullptr || bitCount < 0) bitCount = 0;
  m_octets.Assign(octets, OctetsOf(bitCount));
  m_bitLen = bitCount;
}

int sxAsnBits::SetBit(int bit) {
  if (bit < 0 || bit >= m_bitLen) return -1;
  m_octets.Data()[bit / 8] |= MaskOf(bit);
  return 0;
}

int sxAsnBits::ClearBit(int bit) {
  if (bit < 0 || bit >= m_bitLen) return -1;
  m_octets.Data()[bit / 8] &= static_cast<unsigned char>(~MaskOf(bit));
  return 0;
}

int sxAsnBits::GetBit(int bit) const {
  if (bit < 0 || bit >= m_bitLen) return -1;
  return (Data()[bit / 8] & MaskOf(bit)) != 0 ? 1 : 0;
}

int sxAsnBits::Concat(const sxAsnBits &other) {
  if (!CanJoin(m_bitLen, other.m_bitLen)) {
    herror_func(0, 0, "sxAsnBits::Concat: %d and %d bits are too many", m_bitLen, other.m_bitLen);
    return -1;
  }
  std::vector<unsigned char> joined(Data(), Data() + Len());
  int bitLen = m_bitLen;
  AppendBits(&joined, &bitLen, other.Data(), other.m_bitLen);
  Set(joined.data(), bitLen);
  return 0;
}

bool sxAsnBits::BitsEquiv(const sxAsnBits &other) const {
  return m_bitLen == other.m_bitLen && m_octets.Equals(other.m_octets);
}

int sxAsnBits::DecContent(sxAsnReadBuf &buf, unsigned int tag, int len, int &bytesDecoded) {
  if ((tag & kConstructed) != 0) return BDecConsBits(buf, len, bytesDecoded);
  if (len < 1 || len > buf.GetLen()) {
    herror_func(0, 0, "sxAsnBits::BDecContent: no content, or not all of it (%d). offset = %d", len, buf.GetOffset());
    return -1;
  }
  const unsigned char *content = buf.GetSeg(&len);
  bytesDecoded += len;
  const int unused = content[0];
  if (unused > 7) {  // X.690 8.6.2.2
    herror_func(0, 0, "sxAsnBits::BDecContent failed to decoded Content, bad unused byte. unused = %d", unused);
    return -1;
  }
  if (len - 1 > INT32_MAX / 8) return -1;  // the count of bits would not fit
  const int bitLen = (len - 1) * 8 - unused;
  if (bitLen < 0) {
    herror_func(0, 0, "sxAsnBits::BDecContent failed to decoded Content, bad bitLen. bitLen = %d", bitLen);
    return -1;
  }
  m_octets.Assign(content + 1, len - 1);
  m_bitLen = bitLen;
  return 1;
}

int sxAsnBits::BDecConsBits(sxAsnReadBuf &buf, int len, int &bytesDecoded) {
  const sxAsnLevel level(buf);
  if (!level.Ok()) {
    herror_func(0, 0, "sxAsnBits::BDecConsBits: more than %d levels. offset = %d", kMaxNesting, buf.GetOffset());
    return -1;
  }
  const bool indefinite = len == kIndefiniteLen;
  if (indefinite) {
    len = RawLen(buf, 1) - 2;  // without the end-of-contents octets
    if (len < 0) {
      herror_func(0, 0, "sxAsnBits::BDecConsOcts attempt to decoded indefinite length bits failed");
      return -1;
    }
  }
  if (len < 0) {
    herror_func(0, 0, "sxAsnBits::BDecConsBits: no length (%d). offset = %d", len, buf.GetOffset());
    return -1;
  }
  std::vector<unsigned char> joined;
  int bitLen = 0;
  const int startCount = bytesDecoded;
  while (bytesDecoded - startCount < len) {
    sxAsnBits segment;
    if (segment.BDec(buf, bytesDecoded) < 0) {
      herror_func(0, 0, "sxAsnBits::BDecConsBits attempt to decoded nested bits failed");
      return -1;
    }
    if (!CanJoin(bitLen, segment.m_bitLen)) {
      herror_func(0, 0, "sxAsnBits::BDecContet attempt to concat bits failed");
      return -1;
    }
    AppendBits(&joined, &bitLen, segment.Data(), segment.m_bitLen);
  }
  Set(joined.data(), bitLen);
  if (indefinite && BDecEoc(buf, bytesDecoded) < 0) {
    herror_func(0, 0, "sxAsnOcts:BDecConsBits attempt to decoded Eoc of indefifnite Bits failed");
    return -1;
  }
  return 1;
}

int sxAsnBits::EncContent(sxAsnWriteBuf &buf) {
  if (buf.PutSeg(Data(), Len()) < 0) return -1;
  const auto unused = static_cast<unsigned char>((8 - m_bitLen % 8) % 8);
  return buf.PutByte(unused) < 0 ? -1 : Len() + 1;
}

int sxAsnBits::Describe(SxStream &out, int indent) const {
  if (m_bitLen == 0) {
    out.Puts("sxAsnBits::Print no bits to print, buffer empty\n");
    return -1;
  }
  char spaces[40];
  StrIndent(indent, spaces, sizeof spaces);
  out.Puts("Bit String");
  HexPrint(out, Data(), Len(), indent);
  out.Printf("%sthe bit length = %d \n", spaces, m_bitLen);
  return 0;
}
