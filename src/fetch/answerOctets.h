/// @file
/// The octets of an answer while they come in, and the room that all answers have together.
#ifndef KXCERT_SRC_FETCH_ANSWEROCTETS_H_
#define KXCERT_SRC_FETCH_ANSWEROCTETS_H_

#include <cstddef>
#include <memory>

/// Octets of answers that are being received, of all transfers together. One thread.
class AnswerRoom {
 public:
  explicit AnswerRoom(size_t maxLen) : m_left(maxLen) {}
  /// @return false: there is no room for so many, and nothing was taken
  bool Take(size_t len) {
    if (len > m_left) return false;
    m_left -= len;
    return true;
  }
  void GiveBack(size_t len) { m_left += len; }
  size_t Left() const { return m_left; }

 private:
  size_t m_left;
};

/// Why a transfer fails that finds none.
constexpr char kNoRoomForAnswer[] = "all answers that are being received are too long together";

/// They stand there once: what grows is moved by the system, not copied, and what is complete is handed on as it is.
class AnswerOctets {
 public:
  enum class Outcome { kFits, kNoRoom, kNoMemory };

  /// @param room  outlives it
  explicit AnswerOctets(AnswerRoom &room) : m_room(room) {}
  ~AnswerOctets();
  AnswerOctets(const AnswerOctets &) = delete;
  AnswerOctets &operator=(const AnswerOctets &) = delete;

  /// @param wholeLen  what there will be as far as anyone knows; only a hint
  Outcome Append(const char *octets, size_t len, size_t wholeLen = 0);
  size_t Len() const { return m_len; }
  /// Hands them on; there are none here any more, and they take no room. Null only without memory.
  std::shared_ptr<const unsigned char> Release();

 private:
  bool Grow(size_t len);

  AnswerRoom &m_room;
  unsigned char *m_octets = nullptr;
  size_t m_len = 0, m_capacity = 0;
};

#endif
