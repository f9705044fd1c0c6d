#include "trust/revocation/crlMemory.h"

#include <algorithm>
#include <array>
#include <utility>

#include "kxcert/cert/sxDN.h"
#include "kxcert/cert/sxGeneralName.h"
#include "kxcert/platform/clock.h"
#include "trust/nameText.h"
#include "trust/revocation/crlScope.h"

namespace {

constexpr size_t kMaxPushed = 64;
constexpr size_t kPushedPart = 4;  // of all octets

bool IsRollBack(const CrlSet &set, const CrlSet &held) {
  for (const auto &crl : set.crls) {
    for (const auto &known : held.crls) {
      if (SameSeries(crl->Crl(), known->Crl()) && IsOlder(crl->Crl(), known->Crl())) return true;
    }
  }
  return false;
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
  return {look->slot, slot->set.get()};
}

const char *CrlMemory::Put(const std::string &key, const std::shared_ptr<const CrlSet> &set) {
  const sxWriteLock lock(m_mutex);
  const auto held = m_slots.find(key);
  if (held != m_slots.end() && IsRollBack(*set, *held->second->set)) return "it is older than the one that is held";
  if (NumOctetsOf(*set) > m_maxOctets) return "it is too large to be held";
  Replace(key, set);
  MakeRoom(key);
  return nullptr;
}

void CrlMemory::Renew(const std::string &key, const CrlSet &asKnown) {
  const sxWriteLock lock(m_mutex);
  const auto held = m_slots.find(key);
  if (held == m_slots.end()) return;
  const auto renewed = std::make_shared<CrlSet>(*held->second->set);
  renewed->version = asKnown.version;
  renewed->obtainedSec = asKnown.obtainedSec;
  Replace(key, renewed);
}

void CrlMemory::Replace(const std::string &key, const std::shared_ptr<const CrlSet> &set) {
  const auto slot = std::make_shared<Slot>();
  slot->set = set;
  slot->numOctets = NumOctetsOf(*set);
  slot->usedSec = kxClock_Now();
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
      if (oldest == m_slots.end() || slot->second->usedSec < oldest->second->usedSec) oldest = slot;
    }
    if (oldest == m_slots.end()) return;
    Drop(oldest);
  }
}

void CrlMemory::Push(const std::shared_ptr<const HeldCrl> &crl) {
  const sxWriteLock lock(m_mutex);
  const size_t maxOctets = m_maxOctets / kPushedPart;
  if (crl->NumOctets() > maxOctets) return;
  const sxOctetView octets(crl->Crl().GetBuf(), crl->Crl().BufLen());
  auto list = std::make_shared<PushedList>(PushedList{{crl}, crl->NumOctets()});
  for (size_t i = 0; m_pushed != nullptr && i < m_pushed->crls.size() && list->crls.size() < kMaxPushed; ++i) {
    const std::shared_ptr<const HeldCrl> &held = m_pushed->crls[i];
    const bool isIt = sxEqual({held->Crl().GetBuf(), held->Crl().BufLen()}, octets);
    if (isIt || list->numOctets + held->NumOctets() > maxOctets) continue;
    list->crls.push_back(held);
    list->numOctets += held->NumOctets();
  }
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
  for (const std::shared_ptr<const HeldCrl> &crl : (*seen.list)->crls) {
    const sxDN *const own = crl->Crl().Issuer();
    if (own != nullptr && own->Equal(issuer)) found.emplace_back(seen.list, crl.get());
  }
  return found;
}

std::vector<CrlMemory::Used> CrlMemory::All() const {
  std::vector<Used> all;
  const sxReadLock lock(m_mutex);
  for (const auto &[key, slot] : m_slots) all.push_back({key, slot->set, slot->usedSec});
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
  return m_slots.size() + (m_pushed != nullptr ? m_pushed->crls.size() : 0);
}

size_t CrlMemory::NumOctets() const {
  const sxReadLock lock(m_mutex);
  return m_numOctets + (m_pushed != nullptr ? m_pushed->numOctets : 0);
}
