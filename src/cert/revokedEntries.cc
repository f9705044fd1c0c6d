#include "revokedEntries.h"

#include <algorithm>

#include "asn1/integerDigits.h"
#include "kxcert/platform/random.h"

namespace {

constexpr size_t kMinTable = 16;
constexpr int kMaxReserve = 1 << 20;  // a hint makes no larger allocation than this many entries

// A polynomial of the octets modulo the prime 2^31 - 1, at a point that the process draws. Who chooses
// the numbers of a CRL cannot choose which of them meet in the table: for two of n octets the odds are n
// in 2^31, whatever they are.
size_t Polynomial(const sxAsnDigits &number) {
  constexpr uint64_t kPrime = 0x7FFFFFFF;
  static const uint64_t point = [] {
    uint32_t drawn = 0;
    sxrand_gen(reinterpret_cast<unsigned char *>(&drawn), sizeof drawn);
    return kPrime / 2 + drawn % (kPrime / 2);  // large, so that small numbers are spread as well
  }();
  uint64_t value = static_cast<uint64_t>(number.len) * 2 + (number.negative ? 1 : 0);  // as lengths and signs differ
  for (int i = 0; i < number.len; ++i) value = (value * point + number.octets[i]) % kPrime;
  return static_cast<size_t>(value * point % kPrime);
}

// Equal numbers (sxAsnInt::intEquiv) have equal hashes, however they are stored.
size_t HashOf(const sxAsnInt &number) {
  sxAsnDigitArea area;
  return Polynomial(sxAsnDigitsOf(number, area));
}

}  // namespace

void sxRevokedEntries::Reserve(int num) {
  if (num > 0) m_entries.reserve(static_cast<size_t>(std::min(num, kMaxReserve)));
}

bool sxRevokedEntries::Add(const sxAsnInt &serial, int64_t revokedSec) {
  if (FindSlot(serial) != nullptr) return false;
  if ((m_entries.size() + 1) * 2 > m_table.size()) Rebuild(std::max(kMinTable, m_table.size() * 2));
  m_entries.push_back({{serial, revokedSec}, false});
  Enter(m_entries.size() - 1);
  return true;
}

bool sxRevokedEntries::Remove(const sxAsnInt &serial) {
  Slot *slot = FindSlot(serial);
  if (slot == nullptr) return false;
  slot->isHole = true;
  ++m_numHoles;
  if (m_numHoles * 2 > m_entries.size()) Rebuild(m_table.size());
  return true;
}

const sxRevokedEntry *sxRevokedEntries::Find(const sxAsnInt &serial) const { return FindSlot(serial); }

const sxRevokedEntry *sxRevokedEntries::Next(const sxRevokedEntry *prev) const {
  const Slot *slot = prev == nullptr ? m_entries.data() : static_cast<const Slot *>(prev) + 1;
  const Slot *const end = m_entries.data() + m_entries.size();
  while (slot < end && slot->isHole) ++slot;
  return slot < end ? slot : nullptr;
}

sxRevokedEntries::Slot *sxRevokedEntries::FindSlot(const sxAsnInt &serial) const {
  if (m_table.empty()) return nullptr;
  const size_t mask = m_table.size() - 1;
  for (size_t i = HashOf(serial) & mask; m_table[i] != 0; i = (i + 1) & mask) {
    const Slot &slot = m_entries[m_table[i] - 1];
    if (!slot.isHole && slot.serial.intEquiv(serial)) return const_cast<Slot *>(&slot);
  }
  return nullptr;
}

void sxRevokedEntries::Rebuild(size_t numSlots) {
  std::erase_if(m_entries, [](const Slot &slot) { return slot.isHole; });
  m_numHoles = 0;
  m_table.assign(numSlots, 0);
  for (size_t i = 0; i < m_entries.size(); ++i) Enter(i);
}

void sxRevokedEntries::Enter(size_t index) {
  const size_t mask = m_table.size() - 1;
  size_t i = HashOf(m_entries[index].serial) & mask;
  while (m_table[i] != 0) i = (i + 1) & mask;
  m_table[i] = static_cast<uint32_t>(index + 1);
}
