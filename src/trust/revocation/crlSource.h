/// @file
/// CrlSource: obtains the CRLs that are not at hand, from disk or by fetching, and puts what verifies into memory.
#ifndef KXCERT_SRC_TRUST_REVOCATION_CRLSOURCE_H_
#define KXCERT_SRC_TRUST_REVOCATION_CRLSOURCE_H_

#include <atomic>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/guarded.h"
#include "trust/revocation/crlJudge.h"
#include "trust/revocation/crlMemory.h"

/// All work is done on the background's thread. However many ask for the same place at a time, it is read and fetched
/// once. Lives as long as the process.
class CrlSource {
 public:
  explicit CrlSource(CrlMemory &memory) : m_memory(memory) { SetSettings({}); }

  void SetSettings(const sxRevocationSettings &settings);
  const sxRevocationSettings &Settings() const { return *m_settings.load(std::memory_order_acquire); }

  using Done = std::function<void(const CrlAnswer &answer)>;
  /// @param done  called once on the background's thread, or at once when there is none any more
  void Obtain(const std::shared_ptr<const RevocationPath> &path, const CrlNeed &need, Done done);
  /// Fetches a set that is in memory anew.
  void Refresh(const CrlMemory::Used &used);

  uint64_t NumFetches() const { return m_numFetches; }
  uint64_t NumRefused() const { return m_numRefused; }

 private:
  class Job;
  // Who waits for what somebody else asked for.
  struct Waiter {
    std::shared_ptr<const RevocationPath> path;
    CrlNeed need;
    Done done;
  };
  void Obtain(Waiter &&waiter, bool alone);
  void Start(const std::shared_ptr<Job> &job);
  void Work(const std::shared_ptr<Job> &job);
  void Finish(Job &job, const CrlAnswer &answer);

  CrlMemory &m_memory;
  std::atomic<uint64_t> m_numFetches{0};
  std::atomic<uint64_t> m_numRefused{0};
  std::atomic<const sxRevocationSettings *> m_settings{nullptr};
  mutable sxMutex m_mutex;
  // Whoever judges reads them without a lock, so that those of before stay.
  std::list<sxRevocationSettings> m_allSettings GUARDED_BY(m_mutex);
  std::map<std::string, std::vector<Waiter>> m_underWay GUARDED_BY(m_mutex);  // by what is asked for
};

#endif
