/// @file
/// StatusRun: one question on its way from what is at hand to its answer.
#ifndef KXCERT_SRC_TRUST_REVOCATION_STATUSRUN_H_
#define KXCERT_SRC_TRUST_REVOCATION_STATUSRUN_H_

#include <memory>
#include <vector>

#include "platform/eventEnv_imp.h"
#include "trust/revocation/chainStatus.h"
#include "trust/revocation/crlSource.h"

/// Judges, obtains what is needed, and judges again, until nothing is needed or the time is over. Everything happens
/// on the loop's thread; what it waits for is obtained elsewhere. It lives until it answered or the environment goes.
class StatusRun final : public kxEventClient, public std::enable_shared_from_this<StatusRun> {
 public:
  StatusRun(std::shared_ptr<kxEventLoop> loop, std::shared_ptr<const RevocationPath> path, CrlMemory &memory,
            CrlSource &source, bool wantsEvidence, sxRevocationDone done);

  /// On the loop's thread. The answer never comes within this.
  void Begin(int timeoutMs);
  void EnvironmentGone() override;

 private:
  void Step();
  void StepSoon();
  void Need(const StatusNeeds &needs);
  void AskOcsp(int level);
  void Took(const std::string &name, const CrlAnswer &answer);
  void EndLate();
  void GiveUp();
  void Answer(const sxRevocationVerdict &verdict);

  const std::shared_ptr<kxEventLoop> m_loop;
  const std::shared_ptr<const RevocationPath> m_path;
  CrlMemory &m_memory;
  CrlSource &m_source;
  const bool m_wantsEvidence;
  sxRevocationDone m_done;  // null once it was called or dropped
  StatusKnown m_known;
  std::vector<std::shared_ptr<sxOcspTask>> m_tasks;
  std::shared_ptr<StatusRun> m_self;  // while an answer is owed
  int m_timeoutMs = 0;
  bool m_isStepDue = false;
};

#endif
