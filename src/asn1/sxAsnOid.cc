#include "kxcert/asn1/sxAsnOid.h"

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "kxcert/asn1/oidNames.h"
#include "kxcert/asn1/sxAsnPrint.h"
#include "kxcert/foundation/textStream.h"
#include "kxcert/platform/log.h"
#include "primitive.h"

namespace {

constexpr int kMaxContent = 5 * kMaxOidArcs;  // octets that eleven arcs of 32 bits take
constexpr int kPrintText = 200;
constexpr uint32_t kLimb = 1000000000;
constexpr size_t kLimbDigits = 9;

// A sub-identifier, which may have any length (X.690, 8.19.2).
class Decimal {
 public:
  void Append(unsigned char octet) {
    uint64_t carry = octet & 0x7FU;
    for (uint32_t &limb : m_limbs) {
      carry += uint64_t{limb} << 7;
      limb = static_cast<uint32_t>(carry % kLimb);
      carry /= kLimb;
    }
    if (carry != 0) m_limbs.push_back(static_cast<uint32_t>(carry));
  }

  // The first arc that the first sub-identifier holds (X.690, 8.19.4); the second one is left.
  unsigned TakeFirstArc() {
    if (m_limbs.empty()) return 0;
    const uint32_t arc = m_limbs.size() > 1 || m_limbs[0] >= 80 ? 2 : m_limbs[0] / 40;
    for (size_t i = 0, part = size_t{40} * arc; part > 0; ++i, part = 1) {
      const bool borrows = m_limbs[i] < part;
      m_limbs[i] = static_cast<uint32_t>(m_limbs[i] + (borrows ? kLimb : 0) - part);
      if (!borrows) break;
    }
    while (!m_limbs.empty() && m_limbs.back() == 0) m_limbs.pop_back();
    return arc;
  }

  bool IsLongerThan(size_t numDigits) const { return m_limbs.size() > numDigits / kLimbDigits + 1; }

  std::string Text() const {
    if (m_limbs.empty()) return "0";
    std::string text = std::to_string(m_limbs.back());
    for (size_t i = m_limbs.size() - 1; i > 0; --i) {
      const std::string digits = std::to_string(m_limbs[i - 1]);
      text.append(kLimbDigits - digits.size(), '0').append(digits);
    }
    return text;
  }

 private:
  std::vector<uint32_t> m_limbs;  // the lowest first; the highest is not 0
};

}  // namespace

// Outside the header, as what it calls is not exported.
sxAsnOid::sxAsnOid(const sxAsnOid &other) = default;
sxAsnOid &sxAsnOid::operator=(const sxAsnOid &other) = default;
void sxAsnOid::Set(const unsigned char *content, int len) { m_octets.Assign(content, content == nullptr ? 0 : len); }

constinit const sxAsnTypeInfo sxAsnOid::kInfo = sxAsnPrimitiveInfo("sxAsnOid", 6, sxAsnCreate<sxAsnOid>);

void sxAsnOid::Set(unsigned int arc1, unsigned int arc2, int arc3, int arc4, int arc5, int arc6, int arc7, int arc8,
                   int arc9, int arc10, int arc11) {
  unsigned char content[kMaxContent];
  int len = 0;
  content[len++] = static_cast<unsigned char>(arc1 * 40 + arc2);
  for (const int arc : {arc3, arc4, arc5, arc6, arc7, arc8, arc9, arc10, arc11}) {
    if (arc < 0) {
      m_octets.Assign(content, len);
      return;
    }
    EncVal(content, static_cast<unsigned int>(arc), len);
  }
  std::putchar('\n');  // intended, see the header
  m_octets.Assign(content, len);
}

int sxAsnOid::GetStr(char *buf, int bufLen) const {
  const auto tooShort = [bufLen] {
    herror_func(0, 0, "sxAsnOid::GetStr the buffer is too short buflen = %d", bufLen);
    return -1;
  };
  if (buf == nullptr || bufLen < kMinOidText) return tooShort();
  std::string text;
  const auto append = [&text, bufLen](const std::string &part) {
    const bool fits = text.size() + part.size() < static_cast<size_t>(bufLen) - 2;
    text += fits ? part : "?";
    return fits;
  };
  bool fits = true;
  bool isWhole = true;
  Decimal value;
  for (int i = 0; fits && i < Len(); ++i) {
    value.Append(Data()[i]);
    isWhole = (Data()[i] & 0x80) == 0;
    if (!isWhole && !value.IsLongerThan(static_cast<size_t>(bufLen))) continue;
    const std::string first = text.empty() ? std::to_string(value.TakeFirstArc()) : "";
    fits = append(first + "." + value.Text());
    value = Decimal();
  }
  if (fits && !isWhole) text += "?";
  std::memcpy(buf, text.c_str(), text.size() + 1);
  if (fits && !isWhole) {
    herror_func(0, 0, "sxAsnOid::GetStr the last arc has no end");
    return -1;
  }
  return fits ? 0 : tooShort();
}

int sxAsnOid::DecContent(sxAsnReadBuf &buf, unsigned int, int len, int &bytesDecoded) {
  if (len < 1) {
    herror_func(0, 0, "sxAsnOid::BDecContent: sxAsnOid must not be with INDEFINITE length (%d). offset = %d", len,
                buf.GetOffset());
    return -1;
  }
  if (len > buf.GetLen()) {
    herror_func(0, 0, "sxAsnOid::BDecContent: can't get %d octets. offset = %d", len, buf.GetOffset());
    return -1;
  }
  m_octets.Assign(buf.GetSeg(&len), len);  // as received: base 128 is looked at only by GetStr
  bytesDecoded += len;
  return 1;
}

int sxAsnOid::EncContent(sxAsnWriteBuf &buf) { return buf.PutSeg(Data(), Len()) < 0 ? -1 : Len(); }

int sxAsnOid::Describe(SxStream &out, int) const {
  char text[kPrintText];
  const bool isWhole = Len() == 0 || (Data()[Len() - 1] & 0x80) == 0;
  if (GetStr(text, sizeof text) < 0 && isWhole) {
    out.Puts("sxAsnOid::Print can't print, buffer to short");
    return -1;
  }
  const char *const name = sxAsnPrint_NamesOids() ? sxOidName(*this) : nullptr;
  if (name == nullptr) {
    out.Printf("(%s)\n", text);
  } else {
    out.Printf("(%s) %s\n", text, name);
  }
  return 0;
}
