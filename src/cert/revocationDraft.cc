#include "revocationDraft.h"

#include <algorithm>

namespace {

constexpr int kMaxReserve = 1 << 20;   // a hint makes no larger allocation than this many entries
constexpr size_t kUsualEntryLen = 40;  // serial number of 16 octets, UTCTime
constexpr size_t kMinEntries = 16;
constexpr size_t kMaxOctets = INT32_MAX;
constexpr unsigned char kHole = kDerSet;

// The same entry with the fewest octets for its number.
void AppendShort(sxDerOctets &out, const sxDerElement &element) {
  sxDerReader inside(element.content, kCrlLenOctets);
  sxOctetView serial;
  if (!inside.Take(kDerInteger, &serial)) return;  // never: it was written here
  const sxDerOctets number = sxDerOf(kDerInteger, {sxNumberContent(sxAsnDigitsOf(serial))});
  const sxDerOctets entry = sxDerOf(kDerSequence, {number, inside.Rest()});
  out.insert(out.end(), entry.begin(), entry.end());
}

}  // namespace

sxDerOctets sxNumberContent(const sxAsnDigits &digits) {
  sxDerOctets content(digits.octets, digits.octets + digits.len);
  if (content.empty() || (!digits.negative && content[0] >= 0x80)) content.insert(content.begin(), 0);
  return content;
}

void sxRevocationDraft::Reserve(int num) {
  if (num <= 0) return;
  const auto numEntries = static_cast<size_t>(std::min(num, kMaxReserve));
  m_octets.reserve(numEntries * kUsualEntryLen);
  IndexAll(numEntries);
}

void sxRevocationDraft::BecomeIndirect(const std::optional<sxIssuerId> &own) {
  SetIndirect(own);
  IndexAll(Count());
}

sxOctetView sxRevocationDraft::Octets() const { return All().subspan(1); }

void sxRevocationDraft::IndexAll(size_t numEntries) {
  Index(All(), Octets(), std::max(kMinEntries, numEntries), m_octets.capacity());
}

int sxRevocationDraft::Add(const sxDN *issuer, sxOctetView serial, const sxPlainTime &date, sxOctetView extensions) {
  const sxAsnDigits digits = sxAsnDigitsOf(serial);
  if (OffsetOf(issuer, digits) != 0) return 0;
  const size_t contentLen =
      sxDerLen(serial.size()) + sxDerLen(date.text.size()) + (extensions.empty() ? 0 : sxDerLen(extensions.size()));
  const size_t offset = m_octets.size(), end = offset + sxDerLen(contentLen);
  if (end > kMaxOctets) return -1;
  // Twice the room whenever it is too little, so that many entries take time in proportion.
  if (end > m_octets.capacity()) m_octets.reserve(std::max(end, 2 * offset));
  m_octets.resize(end);
  sxDerForward out(m_octets.data() + offset);
  out.Header(kDerSequence, contentLen);
  out.Element(kDerInteger, serial);
  out.Element(date.tag, date.text);
  if (!extensions.empty()) {
    out.Element(kDerSequence, extensions);
    ++m_numExtended;
  }
  m_hasLongNumbers |= serial.size() > 1 && (serial[0] == 0 ? serial[1] < 0x80 : serial[0] == 0xFF && serial[1] >= 0x80);
  if (!HasRoomFor(end)) {
    IndexAll(2 * Count() + 2);
    return 1;
  }
  sxDerReader reader(All().subspan(offset), kCrlLenOctets);
  sxPlainEntry entry;
  if (sxTakePlainEntry(reader, &entry)) Grow(All(), entry);
  return 1;
}

bool sxRevocationDraft::Remove(const sxDN *issuer, const sxAsnInt &number) {
  sxAsnDigitArea area;
  const uint32_t offset = OffsetOf(issuer, sxAsnDigitsOf(number, area));
  sxPlainEntry entry;
  if (offset == 0 || !ReadAt(offset, &entry)) return false;
  if (!entry.extensions.empty()) --m_numExtended;
  m_octets[offset] = kHole;
  m_holeOctets += entry.whole.size();
  Forget();
  if (m_holeOctets > m_octets.size() / 2) Compact(false);
  return true;
}

void sxRevocationDraft::Compact(bool isForDer) {
  const bool shorten = isForDer && m_hasLongNumbers;
  if (m_holeOctets == 0 && !shorten) return;
  sxDerOctets kept{0};
  kept.reserve(m_octets.size() - m_holeOctets);
  sxDerElement element;
  for (sxDerReader each(Octets(), kCrlLenOctets); each.Take(&element);) {
    if (element.tag == kHole) continue;
    if (shorten) {
      AppendShort(kept, element);
    } else {
      kept.insert(kept.end(), element.whole.begin(), element.whole.end());
    }
  }
  m_octets = std::move(kept);
  m_holeOctets = 0;
  m_hasLongNumbers &= !shorten;
  IndexAll(Count());
}
