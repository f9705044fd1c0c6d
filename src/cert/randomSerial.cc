#include "randomSerial.h"

#include <pthread.h>

#include <algorithm>
#include <atomic>

#include "kxcert/platform/random.h"

namespace {

std::atomic<unsigned> g_numForks{0};  // between the first process and this one

// libcrypto's generator takes as long for one number as for many (and a tenth of a P-256 signature for either), so that
// each thread draws several. They are no secret; but no number may be used twice, by a child of a fork neither.
struct Drawn {
  static constexpr size_t kNumAtOnce = 16;
  unsigned char octets[kNumAtOnce][kRandomSerialLen];
  size_t numLeft;
  unsigned numForks;  // when they were drawn
};

bool IsForkWatched() {
  static const bool isWatched = pthread_atfork(nullptr, nullptr, [] { ++g_numForks; }) == 0;
  return isWatched;
}

bool Draw(Drawn *drawn) {
  drawn->numForks = g_numForks;
  drawn->numLeft = sxrand_gen(drawn->octets[0], sizeof drawn->octets) == 0 ? Drawn::kNumAtOnce : 0;
  return drawn->numLeft > 0;
}

}  // namespace

bool sxDrawSerial(unsigned char (&serial)[kRandomSerialLen]) {
  thread_local Drawn drawn = {};
  if (!IsForkWatched()) {
    if (sxrand_gen(serial, kRandomSerialLen) != 0) return false;
  } else {
    if (drawn.numForks != g_numForks) drawn.numLeft = 0;
    if (drawn.numLeft == 0 && !Draw(&drawn)) return false;
    std::ranges::copy(drawn.octets[--drawn.numLeft], serial);
  }
  serial[0] = static_cast<unsigned char>((serial[0] & 0x3F) | 0x40);
  return true;
}
