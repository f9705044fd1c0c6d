#include "fetch/answerOctets.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

AnswerOctets::~AnswerOctets() {
  m_room.GiveBack(m_len);
  std::free(m_octets);
}

bool AnswerOctets::Grow(size_t len) {
  void *const larger = std::realloc(m_octets, std::max<size_t>(len, 1));
  if (larger == nullptr) return false;
  m_octets = static_cast<unsigned char *>(larger);
  m_capacity = len;
  return true;
}

AnswerOctets::Outcome AnswerOctets::Append(const char *octets, size_t len, size_t wholeLen) {
  if (!m_room.Take(len)) return Outcome::kNoRoom;
  const size_t needed = m_len + len;
  const size_t hint = std::max(m_capacity + m_capacity / 2, std::min(wholeLen, m_len + m_room.Left()));
  if (needed > m_capacity && !Grow(std::max(needed, hint)) && !Grow(needed)) {
    m_room.GiveBack(len);
    return Outcome::kNoMemory;
  }
  if (len != 0) std::memcpy(m_octets + m_len, octets, len);
  m_len = needed;
  return Outcome::kFits;
}

std::shared_ptr<const unsigned char> AnswerOctets::Release() {
  Grow(m_len);  // or it stays as long as it is
  m_room.GiveBack(std::exchange(m_len, 0));
  m_capacity = 0;
  return {std::exchange(m_octets, nullptr),
          [](const unsigned char *all) { std::free(const_cast<unsigned char *>(all)); }};
}
