/// @file
/// What failed, and until when it is not asked again.
#ifndef KXCERT_SRC_FETCH_FAILUREMEMORY_H_
#define KXCERT_SRC_FETCH_FAILUREMEMORY_H_

#include <cstddef>
#include <cstdint>
#include <list>
#include <map>
#include <string>

#include "kxcert/platform/fetcher.h"

/// Bounded; the one that was asked for longest ago goes first. One thread. Times are milliseconds of a clock that
/// never goes back, whatever its start.
class FailureMemory {
 public:
  struct Failure {
    kxFetchResult result = kxFetch_failed;
    std::string reason;
    size_t maxLen = 0;    ///< that was allowed; with a larger limit what is too long may be asked for
    int64_t untilMs = 0;  ///< it is not asked before
  };

  FailureMemory(int firstPauseMs, int longestPauseMs, size_t maxFailures)
      : m_firstPauseMs(firstPauseMs), m_longestPauseMs(longestPauseMs), m_maxFailures(maxFailures) {}

  /// @return null when it may be asked now; lent until the next change
  const Failure *Find(const std::string &key, int64_t nowMs);
  /// What was asked side by side and fails within the pause of the first makes the pause no longer.
  /// @param failure  its time is set here
  void Add(const std::string &key, Failure failure, int64_t nowMs);
  void Forget(const std::string &key);
  size_t Count() const { return m_entries.size(); }

 private:
  struct Entry {
    std::string key;
    Failure failure;
    int64_t pauseMs = 0;
  };
  using Entries = std::list<Entry>;  // the last one asked for first

  const int64_t m_firstPauseMs, m_longestPauseMs;
  const size_t m_maxFailures;
  Entries m_entries;
  std::map<std::string, Entries::iterator> m_byKey;
};

#endif
