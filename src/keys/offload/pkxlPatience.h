// How long a service that gave trouble is left alone.
#ifndef KXCERT_SRC_KEYS_OFFLOAD_PKXLPATIENCE_H_
#define KXCERT_SRC_KEYS_OFFLOAD_PKXLPATIENCE_H_

#include <cstdint>

#include "platform/guarded.h"

// A second after the first trouble. Then one use tries alone, so that a slow service holds up one and not all;
// when that ends in trouble, or trouble comes again as soon as the while was long, the next while is twice as long.
// Times are milliseconds of any clock that only goes forward. Any thread.
class PkxlPatience {
 public:
  static constexpr int64_t kShortestMs = 1000;
  static constexpr int64_t kLongestMs = 5 * 60 * 1000;

  // What one use of the service was begun with.
  struct Use {
    bool allowed;
    uint64_t era;  // uses that began before a trouble say nothing about the time after it
    int64_t beganMs;
  };

  /// When allowed, Ended must follow.
  Use Begin(int64_t nowMs);
  void Ended(const Use &use, bool trouble, int64_t nowMs);
  void Forget();

 private:
  sxMutex m_mutex;
  uint64_t m_era GUARDED_BY(m_mutex) = 0;
  bool m_suspected GUARDED_BY(m_mutex) = false;  // from a trouble until a use ends well
  bool m_tried GUARDED_BY(m_mutex) = false;      // while suspected: one is at it
  int64_t m_whileMs GUARDED_BY(m_mutex) = 0;
  int64_t m_untilMs GUARDED_BY(m_mutex) = 0;
};

#endif
