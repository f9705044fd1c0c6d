#include "trust/revocation/crlMemory.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <utility>

#include "kxcert/cert/sxDN.h"
#include "kxcert/cert/sxGeneralName.h"
#include "kxcert/platform/clock.h"
#include "trust/nameText.h"
#include "trust/revocation/crlScope.h"

namespace {

constexpr size_t kMaxOfPeers = 64;
constexpr size_t kPeersPart = 8, kProgramsPart = 2;  // of all octets
constexpr size_t kMaxOfPlace = 32;

bool SameOctets(const HeldCrl &a, const HeldCrl &b) {
  return sxEqual({a.Crl().GetBuf(), a.Crl().BufLen()}, {b.Crl().GetBuf(), b.Crl().BufLen()});
}

// Of two keys of a CA each has its own.
bool IsOfSeries(const HeldCrl &a, const HeldCrl &b) {
  const sxOctetView x = a.SignerKey(), y = b.SignerKey();
  return SameSeries(a.Crl(), b.Crl()) && (x.empty() || y.empty() || sxEqual(x, y));
}

int64_t NowMs() {
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
  return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

uint64_t NextGeneration() {
  static std::atomic<uint64_t> last{0};
  return ++last;
}

size_t NumOctetsOf(const CrlSet &set) {
  size_t sum = 0;
  for (const auto &crl : set.crls) sum += crl->NumOctets();
  return sum;
}

}  // namespace

// What a thread looked up last. As long as the generation is the same nothing was replaced.
struct CrlMemory::LastUsed {
  struct Look {
    uint64_t generation = 0;
    std::string key;
    // Around the slot that all threads share, so that counting is this thread's alone.
    std::shared_ptr<const std::shared_ptr<const Slot>> slot;
  };
  static constexpr size_t kNumLooks = 8;
  std::array<Look, kNumLooks> looks;
  size_t next = 0;
};

std::string CrlMemory::KeyOf(const sxGeneralName &place, std::string_view rootName) {
  return std::to_string(place.GetType()) + ":" + sxTextOf(place.GetStr()) + "\n" + std::string(rootName);
}

void CrlMemory::SetBounds(size_t maxCrls, size_t maxOctets) {
  const sxWriteLock lock(m_mutex);
  m_maxCrls = maxCrls;
  m_maxOctets = maxOctets;
  MakeRoom({});
}

std::shared_ptr<const CrlMemory::Slot> CrlMemory::Share(const std::string &key) const {
  const sxReadLock lock(m_mutex);
  const auto found = m_slots.find(key);
  return found == m_slots.end() ? nullptr : found->second;
}

std::shared_ptr<const CrlSet> CrlMemory::Find(const std::string &key) const {
  static thread_local LastUsed last;
  const uint64_t generation = m_generation.load(std::memory_order_acquire);
  auto look = std::ranges::find_if(
      last.looks, [&](const LastUsed::Look &known) { return known.slot != nullptr && known.key == key; });
  if (look == last.looks.end()) {
    look = last.looks.begin() + static_cast<ptrdiff_t>(last.next);
    last.next = (last.next + 1) % LastUsed::kNumLooks;
    *look = {};
  }
  if (look->slot == nullptr || look->generation != generation) {
    auto slot = std::make_shared<const std::shared_ptr<const Slot>>(Share(key));
    *look = {generation, key, std::move(slot)};
  }
  const std::shared_ptr<const Slot> &slot = *look->slot;
  if (slot == nullptr) return nullptr;
  const int64_t nowSec = kxClock_Now();
  if (slot->usedSec.load(std::memory_order_relaxed) != nowSec) slot->usedSec = nowSec;
  const int64_t nowMs = NowMs();
  if (slot->usedMs.load(std::memory_order_relaxed) != nowMs) slot->usedMs = nowMs;
  return {look->slot, slot->set.get()};
}

CrlMemory::PutResult CrlMemory::Put(const std::string &key, const std::shared_ptr<const CrlSet> &set) {
  const sxWriteLock lock(m_mutex);
  size_t numOctets = NumOctetsOf(*set);
  if (numOctets > m_maxOctets) return {nullptr, sxValidation_crlTooBig, "it is larger than what can be held"};
  const auto slot = m_slots.find(key);
  const std::vector<std::shared_ptr<const HeldCrl>> none;
  const auto &held = slot != m_slots.end() ? slot->second->set->crls : none;
  const auto merged = std::make_shared<CrlSet>(*set);
  std::erase_if(merged->crls, [&held](const std::shared_ptr<const HeldCrl> &crl) {
    return std::ranges::any_of(held, [&crl](const std::shared_ptr<const HeldCrl> &known) {
      return IsOfSeries(*crl, *known) && !IsNewer(crl->Crl(), known->Crl()) && !SameOctets(*crl, *known);
    });
  });
  if (merged->crls.empty()) return {nullptr, sxValidation_noValidCRL, "it is older than the one that is held"};
  const std::vector<std::shared_ptr<const HeldCrl>> taken = merged->crls;
  for (const std::shared_ptr<const HeldCrl> &known : held) {
    const auto isIts = [&known](const std::shared_ptr<const HeldCrl> &crl) { return IsOfSeries(*crl, *known); };
    if (std::ranges::any_of(taken, isIts)) continue;
    numOctets += known->NumOctets();
    if (merged->crls.size() < kMaxOfPlace && numOctets <= m_maxOctets) merged->crls.push_back(known);
  }
  Replace(key, merged);
  MakeRoom(key);
  return {merged};
}

void CrlMemory::NoteAbsent(const std::string &key) {
  const sxWriteLock lock(m_mutex);
  if (m_slots.contains(key)) return;
  Replace(key, std::make_shared<CrlSet>());
  MakeRoom(key);
}

std::shared_ptr<const CrlSet> CrlMemory::Renew(const std::string &key, const CrlSet &asKnown) {
  const sxWriteLock lock(m_mutex);
  const auto held = m_slots.find(key);
  if (held == m_slots.end()) return nullptr;
  const auto renewed = std::make_shared<CrlSet>(*held->second->set);
  renewed->version = asKnown.version;
  renewed->obtainedSec = asKnown.obtainedSec;
  Replace(key, renewed);
  return renewed;
}

void CrlMemory::Replace(const std::string &key, const std::shared_ptr<const CrlSet> &set) {
  const auto slot = std::make_shared<Slot>();
  slot->set = set;
  slot->numOctets = NumOctetsOf(*set);
  slot->usedSec = kxClock_Now();
  slot->usedMs = NowMs();
  if (const auto held = m_slots.find(key); held != m_slots.end()) Drop(held);
  m_numOctets += slot->numOctets;
  m_slots[key] = slot;
  m_generation = NextGeneration();
}

void CrlMemory::Drop(Slots::iterator slot) {
  m_numOctets -= slot->second->numOctets;
  m_slots.erase(slot);
  m_generation = NextGeneration();
}

void CrlMemory::MakeRoom(const std::string &but) {
  while (m_slots.size() > m_maxCrls || m_numOctets > m_maxOctets) {
    auto oldest = m_slots.end();
    for (auto slot = m_slots.begin(); slot != m_slots.end(); ++slot) {
      if (slot->first == but) continue;
      if (oldest == m_slots.end() || slot->second->usedMs < oldest->second->usedMs) oldest = slot;
    }
    if (oldest == m_slots.end()) return;
    Drop(oldest);
  }
}

bool CrlMemory::Push(const std::shared_ptr<const HeldCrl> &crl, Bringer bringer) {
  const sxWriteLock lock(m_mutex);
  const PushedList none;
  const PushedList &held = m_pushed != nullptr ? *m_pushed : none;
  const auto isIt = [&crl](const std::shared_ptr<const HeldCrl> &known) { return SameOctets(*known, *crl); };
  if (std::ranges::any_of(held.ofProgram, isIt)) return true;
  const bool isPeers = bringer == Bringer::kPeer;
  if (isPeers && std::ranges::any_of(held.ofPeers, isIt)) return true;
  const size_t numOctets = held.numOctetsOfProgram + crl->NumOctets();
  if (!isPeers && (held.ofProgram.size() >= m_maxCrls || numOctets > m_maxOctets / kProgramsPart)) return false;
  auto list = std::make_shared<PushedList>(held);
  if (isPeers) {
    list->ofPeers.insert(list->ofPeers.begin(), crl);
    list->numOctetsOfPeers += crl->NumOctets();
    LimitPeers(*list);
  } else {
    list->ofProgram.push_back(crl);
    list->numOctetsOfProgram = numOctets;
  }
  m_pushed = std::move(list);
  m_pushedGeneration = NextGeneration();
  return true;
}

// What nobody has verified goes before what somebody has, the oldest first; and the newest last, as it is asked about.
void CrlMemory::LimitPeers(PushedList &list) const {
  std::vector<std::shared_ptr<const HeldCrl>> &crls = list.ofPeers;
  while (crls.size() > kMaxOfPeers || list.numOctetsOfPeers > m_maxOctets / kPeersPart) {
    size_t leaving = crls.size() - 1;
    while (leaving > 0 && !crls[leaving]->Signer().empty()) --leaving;
    if (leaving == 0) leaving = crls.size() - 1;
    list.numOctetsOfPeers -= crls[leaving]->NumOctets();
    crls.erase(crls.begin() + static_cast<ptrdiff_t>(leaving));
  }
}

void CrlMemory::Forget(const HeldCrl &crl) {
  const sxWriteLock lock(m_mutex);
  if (m_pushed == nullptr || !crl.Signer().empty()) return;
  auto list = std::make_shared<PushedList>(*m_pushed);
  const auto isIt = [&crl](const std::shared_ptr<const HeldCrl> &held) { return held.get() == &crl; };
  if (std::erase_if(list->ofPeers, isIt) == 0) return;
  list->numOctetsOfPeers -= crl.NumOctets();
  m_pushed = std::move(list);
  m_pushedGeneration = NextGeneration();
}

// As Find: what each thread saw last is its own.
std::vector<std::shared_ptr<const HeldCrl>> CrlMemory::PushedBy(const sxDN &issuer) const {
  struct Seen {
    uint64_t generation = 0;
    std::shared_ptr<const std::shared_ptr<const PushedList>> list;
  };
  static thread_local Seen seen;
  std::vector<std::shared_ptr<const HeldCrl>> found;
  const uint64_t generation = m_pushedGeneration.load(std::memory_order_acquire);
  if (generation == 0) return found;
  if (seen.generation != generation) {
    const sxReadLock lock(m_mutex);
    seen = {generation, std::make_shared<const std::shared_ptr<const PushedList>>(m_pushed)};
  }
  if (*seen.list == nullptr) return found;
  for (const auto *const crls : {&(*seen.list)->ofProgram, &(*seen.list)->ofPeers}) {
    for (const std::shared_ptr<const HeldCrl> &crl : *crls) {
      const sxDN *const own = crl->Crl().Issuer();
      if (own != nullptr && own->Equal(issuer)) found.emplace_back(seen.list, crl.get());
    }
  }
  return found;
}

std::vector<CrlMemory::Used> CrlMemory::All() const {
  std::vector<Used> all;
  const sxReadLock lock(m_mutex);
  for (const auto &[key, slot] : m_slots) {
    if (!slot->set->crls.empty()) all.push_back({key, slot->set, slot->usedSec});
  }
  return all;
}

void CrlMemory::Clear() {
  const sxWriteLock lock(m_mutex);
  m_slots.clear();
  m_pushed = nullptr;
  m_numOctets = 0;
  m_generation = m_pushedGeneration = NextGeneration();
}

size_t CrlMemory::NumCrls() const {
  const sxReadLock lock(m_mutex);
  return m_slots.size() + (m_pushed != nullptr ? m_pushed->ofProgram.size() + m_pushed->ofPeers.size() : 0);
}

size_t CrlMemory::NumOctets() const {
  const sxReadLock lock(m_mutex);
  return m_numOctets + (m_pushed != nullptr ? m_pushed->numOctetsOfProgram + m_pushed->numOctetsOfPeers : 0);
}
