#include "plainBer.h"

#include <vector>

#include "keys/keyOctets.h"
#include "kxcert/cert/pkcs12.h"

namespace {

constexpr size_t kMaxLenOctets = 8;
constexpr size_t kMaxTagOctets = 6;
constexpr size_t kGrowth = 2;  // octets that a definite length may have more than an indefinite one with its end
constexpr int kEndOfContents = 0;
constexpr int kInPieces = kDerOctetString | static_cast<int>(kConstructed);
constexpr unsigned char kOctetStringTag[] = {kDerOctetString};

// What is written, from the last to the first: then every length is known when it is due.
struct Step {
  enum class Kind { kBegin, kEnd, kElement, kPiece } kind;
  sxOctetView tag;
  sxOctetView content;
};

struct Level {
  size_t end;  // of the octets; of an indefinite length the next outer one's
  bool isIndefinite;
  bool isString;
};

class Reader {
 public:
  explicit Reader(sxOctetView ber) : m_ber(ber) {}

  sxPlainResult Run() {
    bool isFirst = true;
    while (isFirst || !m_levels.empty()) {
      isFirst = false;
      if (!EndLevels()) return sxPlainResult::kMalformed;
      if (m_levels.empty() && m_pos > 0) break;
      if (m_numElements++ == kMaxPkcs12Elements || m_levels.size() == static_cast<size_t>(kMaxPkcs12Nesting)) {
        return sxPlainResult::kTooMuch;
      }
      if (!TakeElement()) return sxPlainResult::kMalformed;
    }
    return m_pos == m_ber.size() ? sxPlainResult::kDone : sxPlainResult::kMalformed;
  }
  const std::vector<Step> &Steps() const { return m_steps; }

 private:
  size_t End() const { return m_levels.empty() ? m_ber.size() : m_levels.back().end; }
  bool InString() const { return !m_levels.empty() && m_levels.back().isString; }

  // Levels that end here. @return false: one of an indefinite length does not end
  bool EndLevels() {
    while (!m_levels.empty()) {
      const Level level = m_levels.back();
      if (level.isIndefinite) {
        if (level.end - m_pos < 2) return false;
        if (m_ber[m_pos] != kEndOfContents || m_ber[m_pos + 1] != 0) return true;
        m_pos += 2;
      } else if (m_pos < level.end) {
        return true;
      }
      m_levels.pop_back();
      if (!level.isString || !InString()) m_steps.push_back({Step::Kind::kEnd, {}, {}});
    }
    return true;
  }

  bool TakeTag(sxOctetView *tag) {
    const size_t start = m_pos;
    if (m_pos == End()) return false;
    if ((m_ber[m_pos++] & 0x1F) == 0x1F) {
      while (m_pos < End() && m_ber[m_pos] >= 0x80) ++m_pos;
      if (m_pos++ == End() || m_pos - start > kMaxTagOctets) return false;
    }
    *tag = m_ber.subspan(start, m_pos - start);
    return (*tag)[0] != kEndOfContents;
  }

  bool TakeLen(size_t *len, bool *isIndefinite) {
    if (m_pos == End()) return false;
    *len = m_ber[m_pos++];
    *isIndefinite = *len == 0x80;
    if (*len < 0x80 || *isIndefinite) return *len <= End() - m_pos || *isIndefinite;
    const size_t numOctets = *len & 0x7F;
    if (numOctets > kMaxLenOctets || numOctets > End() - m_pos) return false;
    *len = 0;
    for (size_t i = 0; i < numOctets; ++i) {
      if (*len > m_ber.size()) return false;  // before it overflows
      *len = *len << 8 | m_ber[m_pos++];
    }
    return *len <= End() - m_pos;
  }

  bool TakeElement() {
    sxOctetView tag;
    size_t len = 0;
    bool isIndefinite = false;
    if (!TakeTag(&tag) || !TakeLen(&len, &isIndefinite)) return false;
    const bool isConstructed = (tag[0] & kConstructed) != 0, isPieces = tag[0] == kInPieces;
    if (InString() && !isPieces && tag[0] != kDerOctetString) return false;
    if (isConstructed) {
      if (!InString()) m_steps.push_back({Step::Kind::kBegin, isPieces ? sxOctetView(kOctetStringTag) : tag, {}});
      m_levels.push_back({isIndefinite ? End() : m_pos + len, isIndefinite, isPieces});
      return true;
    }
    if (isIndefinite) return false;
    m_steps.push_back({InString() ? Step::Kind::kPiece : Step::Kind::kElement, tag, m_ber.subspan(m_pos, len)});
    m_pos += len;
    return true;
  }

  const sxOctetView m_ber;
  size_t m_pos = 0, m_numElements = 0;
  std::vector<Level> m_levels;
  std::vector<Step> m_steps;
};

void PutHeader(sxDerWriter &writer, sxOctetView tag, int len) {
  writer.Header(tag.back(), len);
  writer.Octets(tag.first(tag.size() - 1));
}

sxOctetView WriteSteps(const std::vector<Step> &steps, kxBinBuf &area) {
  sxDerWriter writer({area.Data(), area.Len()});
  std::vector<int> ends;
  for (auto step = steps.rbegin(); step != steps.rend(); ++step) {
    switch (step->kind) {
      case Step::Kind::kEnd: ends.push_back(writer.Mark()); break;
      case Step::Kind::kBegin:
        PutHeader(writer, step->tag, writer.Mark() - ends.back());
        ends.pop_back();
        break;
      default:
        writer.Octets(step->content);
        if (step->kind == Step::Kind::kElement) PutHeader(writer, step->tag, sxLen(step->content));
    }
  }
  return writer.Written();
}

}  // namespace

sxPlainResult sxMakePlain(sxOctetView ber, kxBinBuf *out) {
  if (ber.size() > kMaxPkcs12Len) return sxPlainResult::kTooMuch;
  Reader reader(ber);
  const sxPlainResult result = reader.Run();
  if (result != sxPlainResult::kDone) return result;
  kxBinBuf area = SensitiveBuf(static_cast<int>(ber.size() + kGrowth * reader.Steps().size()));
  const sxOctetView written = WriteSteps(reader.Steps(), area);
  if (written.empty()) return sxPlainResult::kMalformed;
  area.Set(written.data(), static_cast<unsigned int>(written.size()));  // to its front
  *out = std::move(area);
  return sxPlainResult::kDone;
}
