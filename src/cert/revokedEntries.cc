#include "revokedEntries.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "kxcert/platform/digest.h"
#include "kxcert/platform/random.h"
#include "sxDN_imp.h"

namespace {

constexpr size_t kBatch = 16;  // entries whose places in the table are fetched at once
constexpr int kDigestLen = 32;

enum Gravity : int { kRemoved, kOnHold, kRevoked };

Gravity GravityOf(const sxPlainEntry &entry, bool isIndirect) {
  sxEntryExtensions said;
  sxReadEntryExtensions(entry.extensions, isIndirect, &said);
  if (said.reason == sxCrlReason_removeFromCRL) return kRemoved;
  return said.reason == sxCrlReason_certificateHold ? kOnHold : kRevoked;
}

// The digest of a name's canonical form behind a secret of the process.
std::optional<sxIssuerId> IdOf(const sxDN_imp &name) {
  static const std::string secret = [] {
    unsigned char octets[kDigestLen] = {};
    sxrand_gen(octets, sizeof octets);
    return std::string(octets, octets + sizeof octets);
  }();
  std::string key = secret;
  unsigned char digest[kDigestLen];
  if (!name.AppendKey(&key) || kx_md_hashbuf(sx_md_sha256, key.data(), key.size(), digest, kDigestLen) != 0) {
    return std::nullopt;
  }
  sxIssuerId id;
  std::memcpy(id.data(), digest, id.size());
  return id;
}

}  // namespace

std::optional<sxIssuerId> sxIssuerIdOf(const sxDN &name) { return IdOf(*name.GetP()); }
std::optional<sxIssuerId> sxIssuerIdOf(sxOctetView name) {
  sxFlatName flat;
  if (!flat.Read(name, false)) return std::nullopt;
  return IdOf(sxDN_imp(name, std::move(flat)));
}

// Enters one entry after the other, some at a time, as each would wait for memory.
class sxRevokedEntries::Indexer {
 public:
  explicit Indexer(sxRevokedEntries &into) : m_into(into) {}

  void Add(const sxPlainEntry &entry) {
    if (++m_into.m_count > m_into.m_index.MaxEntries()) return;  // they are only counted
    const sxIssuerId *id = nullptr;
    if (m_into.m_isIndirect) {
      m_into.StartRun(entry);
      id = m_into.IdAt(m_into.m_runs.empty() ? nullptr : &m_into.m_runs.back());
      if (id == nullptr) return;  // nobody can ask for it
    }
    const sxAsnDigits number = sxAsnDigitsOf(entry.serial);
    const uint64_t hash = sxSerialHash(number, id);
    m_into.m_index.Prefetch(hash);
    m_waiting[m_numWaiting++] = {hash, number, m_into.Offset(entry.whole.data()), id};
    if (m_numWaiting == kBatch || id != nullptr) Enter();
  }
  void Pass(const sxPlainEntry &entry) {
    if (m_into.m_isIndirect) m_into.StartRun(entry);
  }

  void Enter() {
    for (const Waiting *w = m_waiting; w < m_waiting + m_numWaiting; ++w) {
      const auto isIt = [this, w](uint32_t offset) { return m_into.IsAt(offset, w->number, w->id); };
      const uint32_t *const same = m_into.m_index.FindOrEnter(w->hash, w->offset, isIt);
      if (same != nullptr) Decide(same, w->offset);
      if (same == nullptr) ++m_into.m_numEntered;
    }
    m_numWaiting = 0;
  }

 private:
  struct Waiting {
    uint64_t hash;
    sxAsnDigits number;
    uint32_t offset;
    const sxIssuerId *id;
  };

  // One number, two entries: the graver one is found. How grave the one in the table is stays known, as reading it
  // anew for each that follows could take very long.
  void Decide(const uint32_t *slot, uint32_t offset) {
    const uint32_t known = m_into.m_index.OffsetOf(slot);
    const auto [at, isNew] = m_gravities.try_emplace(known, kRevoked);
    if (isNew) at->second = At(known);
    if (at->second == kRevoked) return;
    const Gravity other = At(offset);
    if (other <= at->second) return;
    m_into.m_index.Replace(slot, offset);
    m_gravities[offset] = other;
  }

  Gravity At(uint32_t offset) const {
    sxPlainEntry entry;
    return m_into.ReadAt(offset, &entry) ? GravityOf(entry, m_into.m_isIndirect) : kRevoked;
  }

  sxRevokedEntries &m_into;
  Waiting m_waiting[kBatch];
  size_t m_numWaiting = 0;
  std::map<uint32_t, Gravity> m_gravities;  // of entries whose number came again
};

void sxRevokedEntries::Start(sxOctetView octets, sxOctetView entries, size_t numEntries, size_t maxOffset) {
  m_octets = octets;
  m_runs.clear();
  m_count = m_numEntered = 0;
  m_first = entries.empty() ? 0 : Offset(entries.data());
  m_end = m_first + static_cast<uint32_t>(entries.size());
  m_index.Reset(numEntries, maxOffset);
}

// All are mostly as long as the first one, which tells how many there are. Where that is wrong, so many that the table
// is too small or much too large, they are entered once more.
bool sxRevokedEntries::Read(sxOctetView octets, sxOctetView entries) {
  sxDerReader each(entries, kCrlLenOctets);
  sxPlainEntry entry;
  m_hasCritical = false;
  if (!entries.empty() && !sxTakePlainEntry(each, &entry)) return false;
  const size_t guess = entries.empty() ? 0 : entries.size() / entry.whole.size() + kBatch;
  Start(octets, entries, guess, octets.size());
  Indexer indexer(*this);
  each = sxDerReader(entries, kCrlLenOctets);
  while (!each.AtEnd()) {
    if (!sxTakePlainEntry(each, &entry)) return false;
    if (!entry.extensions.empty() && !sxArePlainExtensions(entry.extensions, &m_hasCritical)) return false;
    indexer.Add(entry);
  }
  indexer.Enter();
  m_runs.shrink_to_fit();
  if (m_count > guess || guess > m_count + m_count / 8 + kBatch) Index(octets, entries, m_count, octets.size());
  return true;
}

void sxRevokedEntries::Index(sxOctetView octets, sxOctetView entries, size_t numEntries, size_t maxOffset) {
  Start(octets, entries, numEntries, maxOffset);
  Indexer indexer(*this);
  sxPlainEntry entry;
  sxDerElement element;
  for (sxDerReader each(entries, kCrlLenOctets); !each.AtEnd();) {
    if (!each.Take(&element) || !sxReadPlainEntry(element, &entry)) break;  // never: they were read before
    if (element.tag == kDerSequence) {
      indexer.Add(entry);
    } else {
      indexer.Pass(entry);
    }
  }
  indexer.Enter();
  m_runs.shrink_to_fit();
}

void sxRevokedEntries::Grow(sxOctetView octets, const sxPlainEntry &entry) {
  m_octets = octets;
  m_end = static_cast<uint32_t>(octets.size());
  if (m_first == 0) m_first = Offset(entry.whole.data());
  Indexer indexer(*this);
  indexer.Add(entry);
  indexer.Enter();
}

// RFC 5280 5.3.3: an issuer holds until another one comes.
void sxRevokedEntries::StartRun(const sxPlainEntry &entry) {
  if (entry.extensions.empty()) return;
  sxEntryExtensions said;
  sxReadEntryExtensions(entry.extensions, true, &said);
  if (!said.hasIssuer) return;
  const std::optional<sxIssuerId> id = said.issuer.empty() ? std::nullopt : sxIssuerIdOf(said.issuer);
  if (!m_runs.empty() && id && m_runs.back().id == id) return;
  const uint32_t name = said.issuer.empty() ? 0 : Offset(said.issuer.data());
  m_runs.push_back({Offset(entry.whole.data()), name, static_cast<uint32_t>(said.issuer.size()), id});
}

const sxRevokedEntries::Run *sxRevokedEntries::RunOf(uint32_t offset) const {
  const auto next = std::upper_bound(m_runs.begin(), m_runs.end(), offset,
                                     [](uint32_t wanted, const Run &run) { return wanted < run.first; });
  return next == m_runs.begin() ? nullptr : &*(next - 1);
}

const sxIssuerId *sxRevokedEntries::IdAt(const Run *run) const {
  const std::optional<sxIssuerId> &id = run == nullptr ? m_own : run->id;
  return id ? &*id : nullptr;
}

bool sxRevokedEntries::IsAt(uint32_t offset, const sxAsnDigits &number, const sxIssuerId *id) const {
  sxPlainEntry entry;
  if (!ReadAt(offset, &entry) || !sxSameDigits(sxAsnDigitsOf(entry.serial), number)) return false;
  if (id == nullptr) return true;
  const sxIssuerId *const own = IdAt(RunOf(offset));
  return own != nullptr && *own == *id;
}

// Whatever a file that is mapped has become, nothing beyond the entries is read.
bool sxRevokedEntries::ReadAt(uint32_t offset, sxPlainEntry *entry) const {
  if (offset < m_first || offset >= m_end) return false;
  sxDerReader reader(m_octets.subspan(offset, m_end - offset), kCrlLenOctets);
  return sxTakePlainEntry(reader, entry);
}

uint32_t sxRevokedEntries::OffsetOf(const sxDN *issuer, const sxAsnDigits &number) const {
  std::optional<sxIssuerId> id;
  if (m_isIndirect) {
    id = issuer == nullptr ? m_own : sxIssuerIdOf(*issuer);
    if (!id) return 0;
  }
  return OffsetOf(id ? &*id : nullptr, number);
}

uint32_t sxRevokedEntries::OffsetOf(const sxIssuerId *issuer, const sxAsnDigits &number) const {
  const uint32_t *const slot =
      m_index.Find(sxSerialHash(number, issuer), [&](uint32_t offset) { return IsAt(offset, number, issuer); });
  return slot == nullptr ? 0 : m_index.OffsetOf(slot);
}

bool sxRevokedEntries::Find(const sxDN *issuer, const sxAsnDigits &number, sxRevokedEntry *entry) const {
  const uint32_t offset = OffsetOf(issuer, number);
  if (offset == 0) return false;
  sxPlainEntry plain;
  if (entry != nullptr && ReadAt(offset, &plain)) Describe(plain, entry);
  return true;
}

bool sxRevokedEntries::Next(sxRevokedEntry *entry) const {
  const uint64_t place = entry->place == 0 ? m_first : entry->place;
  if (place < m_first || place >= m_end) return false;
  sxDerReader each(m_octets.subspan(static_cast<size_t>(place), m_end - static_cast<size_t>(place)), kCrlLenOctets);
  sxDerElement skipped;
  while (!each.AtEnd() && !each.NextIs(kDerSequence)) {
    if (!each.Take(&skipped)) return false;
  }
  sxPlainEntry plain;
  if (!sxTakePlainEntry(each, &plain)) return false;
  Describe(plain, entry);
  return true;
}

void sxRevokedEntries::Describe(const sxPlainEntry &plain, sxRevokedEntry *entry) const {
  *entry = sxRevokedEntry();
  entry->serial = plain.serial.data();
  entry->serialLen = sxLen(plain.serial);
  entry->revokedSec = sxTimeSeconds(plain.date);
  entry->place = uint64_t{Offset(plain.whole.data())} + plain.whole.size();
  if (!plain.extensions.empty()) {
    sxEntryExtensions said;
    sxReadEntryExtensions(plain.extensions, m_isIndirect, &said);
    entry->reason = said.reason;
    entry->hasInvalidityDate = said.invalidity.tag != 0;
    if (entry->hasInvalidityDate) entry->invaliditySec = sxTimeSeconds(said.invalidity);
    if (!said.unknownCritical.empty()) entry->unknownCritical = said.unknownCritical.data();
    entry->unknownCriticalLen = sxLen(said.unknownCritical);
  }
  const Run *const run = m_isIndirect ? RunOf(Offset(plain.whole.data())) : nullptr;
  if (run == nullptr) return;
  entry->isIssuerUnreadable = !run->id;
  if (run->nameLen == 0) return;
  entry->certIssuer = m_octets.data() + run->name;
  entry->certIssuerLen = static_cast<int>(run->nameLen);
}
