#include "threadEnd.h"

#include <atomic>
#include <cstdlib>

namespace {

std::atomic<bool> g_processEnds{false};
thread_local bool t_ends = false;  // has no destructor, so it can be read to the last

// Objects of a thread go before those of the process when main returns.
struct ThreadWatch {
  ~ThreadWatch() { t_ends = true; }
  bool watching = false;
};
thread_local ThreadWatch t_watch;

}  // namespace

void kxThread_WatchEnd() {
  t_watch.watching = true;
  // Somebody else's thread may call exit.
  [[maybe_unused]] static const int once = std::atexit([] { g_processEnds = true; });
}

bool kxThread_IsEnding() { return t_ends || g_processEnds; }
