#include "revocationDraft.h"

#include <algorithm>
#include <utility>

#include "crlOids.h"

namespace {

constexpr int kMaxReserve = 1 << 20;   // a hint makes no larger allocation than this many entries
constexpr size_t kUsualEntryLen = 40;  // serial number of 16 octets, UTCTime
constexpr size_t kMinEntries = 16;
constexpr size_t kMaxOctets = INT32_MAX;
constexpr unsigned char kHole = kDerSet;
constexpr int kDirectoryName = DerContextConstructed(4);

void Append(sxDerOctets &out, sxOctetView more) { out.insert(out.end(), more.begin(), more.end()); }

// The same entry with the fewest octets for its number, and the name of an issuer before what else it says.
void AppendAnew(sxDerOctets &out, const sxPlainEntry &entry, sxOctetView issuer) {
  const sxDerOctets number = sxDerOf(kDerInteger, {sxNumberContent(sxAsnDigitsOf(entry.serial))});
  const sxDerOctets date = sxDerOf(entry.date.tag, {entry.date.text});
  sxDerOctets extensions;
  if (!issuer.empty()) extensions = sxCertificateIssuerDer(issuer);
  Append(extensions, entry.extensions);
  if (!extensions.empty()) extensions = sxDerOf(kDerSequence, {extensions});
  Append(out, sxDerOf(kDerSequence, {number, date, extensions}));
}

// The issuer that an entry of an indirect CRL names; empty for none.
sxOctetView IssuerIn(const sxPlainEntry &entry) {
  if (entry.extensions.empty()) return {};
  sxEntryExtensions said;
  sxReadEntryExtensions(entry.extensions, true, &said);
  return said.issuer;
}

}  // namespace

// GeneralNames with the one directoryName [4]; always critical (RFC 5280, 5.3.3).
sxDerOctets sxCertificateIssuerDer(sxOctetView name) {
  return sxExtensionDer(kOidCertificateIssuer, true, sxDerOf(kDerSequence, {sxDerOf(kDirectoryName, {name})}));
}

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

void sxRevocationDraft::BecomeDirect() {
  SetDirect();
  IndexAll(Count());
}

sxOctetView sxRevocationDraft::Octets() const { return All().subspan(1); }

void sxRevocationDraft::IndexAll(size_t numEntries) {
  Index(All(), Octets(), std::max(kMinEntries, numEntries), m_octets.capacity());
}

// @return the octets from where they were, which may have been lent
sxDerOctets sxRevocationDraft::MoveTo(size_t capacity) {
  sxDerOctets larger;
  larger.reserve(capacity);
  larger.assign(m_octets.begin(), m_octets.end());
  return std::exchange(m_octets, std::move(larger));
}

int sxRevocationDraft::Add(const sxIssuerId *issuer, sxOctetView serial, const sxPlainTime &date,
                           sxOctetView extensions) {
  const sxAsnDigits digits = sxAsnDigitsOf(serial);
  if (OffsetOf(issuer, digits) != 0) return 0;
  const size_t contentLen =
      sxDerLen(serial.size()) + sxDerLen(date.text.size()) + (extensions.empty() ? 0 : sxDerLen(extensions.size()));
  const size_t offset = m_octets.size(), end = offset + sxDerLen(contentLen);
  if (end > kMaxOctets) return -1;
  // Twice the room whenever it is too little, so that many entries take time in proportion.
  sxDerOctets before;
  if (end > m_octets.capacity()) before = MoveTo(std::max(end, 2 * offset));
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
  if (m_holeOctets > m_octets.size() / 2 + m_handedOn) Compact(false);
  return true;
}

void sxRevocationDraft::Compact(bool isForDer) {
  const bool shorten = isForDer && m_hasLongNumbers;
  if (m_holeOctets == 0 && !shorten) return;
  sxDerOctets kept{0};
  kept.reserve(m_octets.size() - m_holeOctets);
  m_handedOn = 0;
  sxOctetView due;  // the issuer that an entry named which is gone
  sxDerElement element;
  sxPlainEntry entry;
  for (sxDerReader each(Octets(), kCrlLenOctets); each.Take(&element) && sxReadPlainEntry(element, &entry);) {
    const sxOctetView named = IsIndirect() ? IssuerIn(entry) : sxOctetView();
    if (!named.empty()) due = element.tag == kHole ? named : sxOctetView();
    if (element.tag == kHole) continue;
    if (!due.empty() && entry.extensions.empty()) ++m_numExtended;
    if (shorten || !due.empty()) {
      AppendAnew(kept, entry, due);
    } else {
      Append(kept, element.whole);
    }
    m_handedOn += due.size();
    due = {};
  }
  m_octets = std::move(kept);
  m_holeOctets = 0;
  m_hasLongNumbers &= !shorten;
  IndexAll(Count());
}
