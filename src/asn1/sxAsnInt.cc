#include "kxcert/asn1/sxAsnInt.h"

#include <cstdint>

#include "integerDigits.h"
#include "kxcert/asn1/sxAsnPrint.h"
#include "kxcert/foundation/textStream.h"
#include "kxcert/platform/log.h"
#include "primitive.h"

namespace {

constexpr int kSmallLen = 4;  // content octets that fit the small value

void BigEndian(int value, unsigned char (&octets)[kSmallLen]) {
  const uint32_t bits = static_cast<uint32_t>(value);
  for (int i = 0; i < kSmallLen; ++i) octets[i] = static_cast<unsigned char>(bits >> (24 - 8 * i));
}

}  // namespace

// Outside the header, as what it calls is not exported.
sxAsnInt::sxAsnInt(const sxAsnInt &other) = default;
sxAsnInt &sxAsnInt::operator=(const sxAsnInt &other) = default;

sxAsnDigits sxAsnDigitsOf(const sxAsnInt &number, sxAsnDigitArea &area) {
  if (!number.IsBig()) {
    BigEndian(number.GetShortVal(), area);
    return sxAsnDigitsOf(sxOctetView(area));
  }
  const sxOctets &big = number.BigOctets();
  if (!number.IsMagnitude()) return sxAsnDigitsOf(sxView(big.Data(), big.Len()));
  sxAsnDigits digits = {false, big.Data(), big.Len()};
  while (digits.len > 0 && digits.octets[0] == 0) {
    ++digits.octets;
    --digits.len;
  }
  return digits;
}

constinit const sxAsnTypeInfo sxAsnInt::kInfo = sxAsnPrimitiveInfo("sxAsnInt", 2, sxAsnCreate<sxAsnInt>);
constinit const sxAsnTypeInfo sxAsnEnum::kInfo = sxAsnPrimitiveInfo("sxAsnEnum", 10, sxAsnCreate<sxAsnEnum>);

void sxAsnInt::Set(int value) {
  m_big.Clear();
  m_isMagnitude = false;
  m_small = value;
}

void sxAsnInt::Set(const unsigned char *octets, unsigned int len) {
  m_small = 0;
  if (octets == nullptr || len > INT32_MAX) len = 0;
  m_big.Assign(octets, static_cast<int>(len));
  m_isMagnitude = len > 0;
}

int sxAsnInt::GetBuf(unsigned char *octets, int len) const {
  if (octets == nullptr || len <= 0 || m_big.Len() != len) return -1;
  std::memcpy(octets, m_big.Data(), static_cast<size_t>(len));
  return 0;
}

int sxAsnInt::GetShortVal() const {
  if (!IsBig()) return m_small;
  uint32_t value = 0;
  for (int i = 0; i < m_big.Len(); ++i) value = value << 8 | m_big.Data()[i];
  return static_cast<int>(value);
}

bool sxAsnInt::intEquiv(const sxAsnInt &other) const {
  if (!IsBig() && !other.IsBig()) return m_small == other.m_small;
  sxAsnDigitArea ownArea;
  sxAsnDigitArea otherArea;
  const sxAsnDigits a = sxAsnDigitsOf(*this, ownArea);
  const sxAsnDigits b = sxAsnDigitsOf(other, otherArea);
  return a.negative == b.negative && a.len == b.len && std::memcmp(a.octets, b.octets, static_cast<size_t>(a.len)) == 0;
}

int sxAsnInt::DecContent(sxAsnReadBuf &buf, unsigned int, int len, int &bytesDecoded) {
  if (len < 1) {
    herror_func(0, 0, "sxAsnInt::BDecContent: sxAsnInt must not be with INDEFINITE length (%d). offset = %d", len,
                buf.GetOffset());
    return -1;
  }
  if (len > buf.GetLen()) {
    herror_func(0, 0, "sxAsnInt::BDecContent: can't get %d octets. offset = %d", len, buf.GetOffset());
    return -1;
  }
  const unsigned char *octets = buf.GetSeg(&len);
  bytesDecoded += len;
  if (len > kSmallLen) {
    Set(octets, static_cast<unsigned int>(len));
    m_isMagnitude = false;
    return 1;
  }
  uint32_t value = octets[0] >= 0x80 ? UINT32_MAX : 0;  // the sign
  for (int i = 0; i < len; ++i) value = value << 8 | octets[i];
  Set(static_cast<int>(value));
  return 1;
}

int sxAsnInt::EncContent(sxAsnWriteBuf &buf) {
  if (!IsBig()) {
    const uint32_t value = static_cast<uint32_t>(m_small);
    // One mask for each length: the sign bit of a shorter one and everything above it.
    const int len = (value & 0xFF800000) != 0 ? 4 : (value & 0x7F8000) != 0 ? 3 : (value & 0x7F80) != 0 ? 2 : 1;
    unsigned char octets[kSmallLen];
    BigEndian(m_small, octets);
    return buf.PutSeg(octets + kSmallLen - len, len) < 0 ? -1 : len;
  }
  const unsigned char *octets = m_big.Data();
  int len = m_big.Len();
  while (len > 0 && *octets == 0) {
    ++octets;
    --len;
  }
  if (buf.PutSeg(octets, len) < 0) return -1;
  if (len != 0 && *octets < 0x80) return len;
  return buf.PutByte(0) < 0 ? -1 : len + 1;
}

int sxAsnInt::Describe(SxStream &out, int indent) const {
  if (m_big.Len() > kSmallLen) {
    out.Puts("long Int");
    HexPrint(out, m_big.Data(), m_big.Len(), indent);
  } else {
    out.Printf("int = %d\n", GetShortVal());
  }
  return 0;
}
