#include "pkxlPatience.h"

#include <algorithm>

PkxlPatience::Use PkxlPatience::Begin(int64_t nowMs) {
  const sxLock lock(m_mutex);
  if (m_suspected && (m_tried || nowMs < m_untilMs)) return {false, m_era, nowMs};
  m_tried = m_suspected;
  return {true, m_era, nowMs};
}

void PkxlPatience::Ended(const Use &use, bool trouble, int64_t nowMs) {
  const sxLock lock(m_mutex);
  if (use.era != m_era) return;
  const bool again = m_suspected || (m_whileMs != 0 && use.beganMs - m_untilMs <= m_whileMs);
  m_suspected = trouble;
  m_tried = false;
  if (!trouble) return;
  ++m_era;
  m_whileMs = again ? std::min(2 * m_whileMs, kLongestMs) : kShortestMs;
  m_untilMs = nowMs + m_whileMs;
}

void PkxlPatience::Forget() {
  const sxLock lock(m_mutex);
  ++m_era;
  m_suspected = m_tried = false;
  m_whileMs = m_untilMs = 0;
}
