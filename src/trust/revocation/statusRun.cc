#include "trust/revocation/statusRun.h"

#include <utility>

#include "kxcert/platform/eventEnv.h"

StatusRun::StatusRun(std::shared_ptr<kxEventLoop> loop, std::shared_ptr<const RevocationPath> path, CrlMemory &memory,
                     CrlSource &source, bool wantsEvidence, sxRevocationDone done)
    : m_loop(std::move(loop)),
      m_path(std::move(path)),
      m_memory(memory),
      m_source(source),
      m_wantsEvidence(wantsEvidence),
      m_done(std::move(done)) {}

void StatusRun::Begin(int timeoutMs) {
  m_self = shared_from_this();
  m_timeoutMs = timeoutMs;
  m_loop->AddClient(weak_from_this());
  const std::weak_ptr<StatusRun> weak = weak_from_this();
  m_loop->Post(timeoutMs, [weak] {
    if (const std::shared_ptr<StatusRun> late = weak.lock()) late->EndLate();
  });
  Step();
}

void StatusRun::EnvironmentGone() {
  m_done = nullptr;
  m_tasks.clear();
  m_self.reset();
}

void StatusRun::Step() {
  m_isStepDue = false;
  if (m_done == nullptr) return;
  StatusNeeds needs;
  ChainStatus status = JudgeChain(*m_path, m_memory, m_known, m_source.Settings(), m_wantsEvidence, &needs);
  if (!status.isPending || status.verdict.code == sxValidation_revoked) return Answer(status.verdict);
  Need(needs);
}

void StatusRun::Need(const StatusNeeds &needs) {
  const std::shared_ptr<kxEventLoop> loop = m_loop;
  const std::weak_ptr<StatusRun> weak = weak_from_this();
  for (const CrlNeed &need : needs.crls) {
    if (!m_known.crls.try_emplace(need.name).second) continue;  // two certificates need the same one
    m_source.Obtain(m_path, need, [loop, weak, name = need.name](const CrlAnswer &answer) {
      loop->Post(0, [weak, name, answer] {
        if (const std::shared_ptr<StatusRun> self = weak.lock()) self->Took(name, answer);
      });
    });
  }
  for (const int level : needs.ocspLevels) AskOcsp(level);
}

void StatusRun::AskOcsp(int level) {
  if (!m_known.ocsp.try_emplace(level).second) return;
  sxOcspAsk ask;
  ask.cert = const_cast<sxCert *>(&m_path->Cert(level));  // both are only read
  ask.issuer = const_cast<sxCert *>(m_path->IssuerOf(level));
  ask.responders = sxOcsp_RespondersOf(m_path->Cert(level), &m_path->Root());
  ask.policy = m_source.Settings().ocsp;
  if (m_path->Params().HasTime()) ask.timeSec = m_path->NowSec();
  ask.timeoutMs = m_timeoutMs;
  const std::weak_ptr<StatusRun> weak = weak_from_this();
  const auto done = [weak, level](const sxOcspOutcome &outcome) {
    const std::shared_ptr<StatusRun> self = weak.lock();
    if (self == nullptr) return;
    self->m_known.ocsp[level] = std::make_shared<sxOcspOutcome>(outcome);
    self->StepSoon();
  };
  std::shared_ptr<sxOcspTask> task;
  const sxOcspResult begun = sxOcsp_Ask(m_loop->Env(), ask, done, &task);
  if (begun == sxOcsp_good) return m_tasks.push_back(std::move(task));
  auto failed = std::make_shared<sxOcspOutcome>();
  failed->answer.result = begun;
  m_known.ocsp[level] = std::move(failed);
  StepSoon();
}

void StatusRun::Took(const std::string &name, const CrlAnswer &answer) {
  m_known.crls[name] = answer;
  StepSoon();
}

// Once for all answers that are there by then.
void StatusRun::StepSoon() {
  if (std::exchange(m_isStepDue, true)) return;
  const std::weak_ptr<StatusRun> weak = weak_from_this();
  m_loop->Post(0, [weak] {
    if (const std::shared_ptr<StatusRun> self = weak.lock()) self->Step();
  });
}

// What did not come counts as not fetched; what goes on without this question still comes into memory. Another source
// of the same certificate may be at hand; what it needs in turn, nobody waits for.
void StatusRun::EndLate() {
  ChainStatus status;
  StatusNeeds needs;
  do {
    for (const CrlNeed &need : needs.crls) m_known.crls.try_emplace(need.name);
    for (const int level : needs.ocspLevels) m_known.ocsp.try_emplace(level);
    GiveUp();
    needs = {};
    status = JudgeChain(*m_path, m_memory, m_known, m_source.Settings(), m_wantsEvidence, &needs);
  } while (needs.Any());
  Answer(status.verdict);
}

void StatusRun::GiveUp() {
  for (auto &[key, answer] : m_known.crls) {
    if (answer.isDone) continue;
    answer.isDone = true;
    answer.code = sxValidation_crlFetchFailed;
    answer.reason = "no answer within the time limit";
    answer.costMs = m_timeoutMs;
  }
  const auto late = std::make_shared<sxOcspOutcome>();
  late->answer.result = sxOcsp_timedOut;
  for (auto &[level, outcome] : m_known.ocsp) {
    if (outcome == nullptr) outcome = late;
  }
}

void StatusRun::Answer(const sxRevocationVerdict &verdict) {
  const std::shared_ptr<StatusRun> self = std::exchange(m_self, nullptr);
  for (const std::shared_ptr<sxOcspTask> &task : std::exchange(m_tasks, {})) task->Cancel();
  const sxRevocationDone done = std::exchange(m_done, nullptr);
  if (done != nullptr) done(verdict);
}
