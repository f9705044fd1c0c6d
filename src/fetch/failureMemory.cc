#include "fetch/failureMemory.h"

#include <algorithm>
#include <utility>

const FailureMemory::Failure *FailureMemory::Find(const std::string &key, int64_t nowMs) {
  const auto known = m_byKey.find(key);
  if (known == m_byKey.end()) return nullptr;
  m_entries.splice(m_entries.begin(), m_entries, known->second);
  const Failure &failure = known->second->failure;
  return nowMs < failure.untilMs ? &failure : nullptr;
}

void FailureMemory::Add(const std::string &key, Failure failure, int64_t nowMs) {
  auto known = m_byKey.find(key);
  if (known == m_byKey.end()) {
    m_entries.push_front({key, {}, 0});
    known = m_byKey.emplace(key, m_entries.begin()).first;
  }
  Entry &entry = *known->second;
  const bool isWithin = entry.pauseMs != 0 && nowMs < entry.failure.untilMs;
  const bool isLongAgo = nowMs - entry.failure.untilMs > m_longestPauseMs;
  if (!isWithin) {
    entry.pauseMs = entry.pauseMs == 0 || isLongAgo ? m_firstPauseMs : std::min(2 * entry.pauseMs, m_longestPauseMs);
    entry.failure = std::move(failure);
    entry.failure.untilMs = nowMs + entry.pauseMs;
  }
  while (m_entries.size() > m_maxFailures) {
    m_byKey.erase(m_entries.back().key);
    m_entries.pop_back();
  }
}

void FailureMemory::Forget(const std::string &key) {
  const auto known = m_byKey.find(key);
  if (known == m_byKey.end()) return;
  m_entries.erase(known->second);
  m_byKey.erase(known);
}
