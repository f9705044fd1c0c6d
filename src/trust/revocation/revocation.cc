// The process's revocation checking: what is held, and the ways in.
#include "kxcert/trust/revocation.h"

#include <array>
#include <memory>
#include <utility>

#include "kxcert/cert/sxCRLs.h"
#include "kxcert/platform/clock.h"
#include "kxcert/platform/eventEnv.h"
#include "kxcert/platform/log.h"
#include "kxcert/trust/ocsp.h"
#include "platform/eventEnv_imp.h"
#include "trust/revocation/statusRun.h"
#include "trust/statusCodes.h"

namespace {

constexpr char kTopic[] = "revocation";
constexpr int64_t kLatelySec = 86400;  // what was not used for longer is not asked for anew
constexpr int64_t kMinLeadSec = 60;    // before nextUpdate
constexpr int64_t kMaxLeadSec = 86400;
constexpr int64_t kMaxRefreshes = 24;  // within that time

// Of what many threads do at once: each counts on a line of memory that hardly anyone else writes.
class SpreadCounter {
 public:
  void Add() {
    static std::atomic<size_t> numThreads{0};
    static thread_local const size_t place = numThreads++ % kNumParts;
    m_parts[place].count.fetch_add(1, std::memory_order_relaxed);
  }
  uint64_t Sum() const {
    uint64_t sum = 0;
    for (const Part &part : m_parts) sum += part.count.load(std::memory_order_relaxed);
    return sum;
  }

 private:
  static constexpr size_t kNumParts = 16;
  struct alignas(64) Part {
    std::atomic<uint64_t> count{0};
  };
  std::array<Part, kNumParts> m_parts;
};

struct Revocation {
  CrlMemory memory;
  CrlSource source{memory};
  SpreadCounter hits;
  SpreadCounter misses;
  std::atomic<bool> isInstalled{false};
};

Revocation &TheRevocation() {
  static auto *const revocation = new Revocation;  // answers may come while static objects go
  return *revocation;
}

bool IsWhole(const sxCerts &chain) {
  for (int level = 0; level <= chain.Top(); ++level) {
    const sxCert *const cert = chain.Get(level);
    if (cert == nullptr || cert->OK() == 0) return false;
  }
  return chain.Top() >= 0;
}

bool IsAnswerable(const sxRevocationQuestion &question) {
  return question.root != nullptr && question.chain != nullptr && question.timeoutMs >= 1 && IsWhole(*question.chain);
}

std::shared_ptr<StatusRun> NewRun(std::shared_ptr<kxEventLoop> loop, std::shared_ptr<const RevocationPath> path,
                                  bool wantsEvidence, sxRevocationDone done) {
  Revocation &own = TheRevocation();
  return std::make_shared<StatusRun>(std::move(loop), std::move(path), own.memory, own.source, wantsEvidence,
                                     std::move(done));
}

// What memory alone says. @return false: more is needed
bool AnswerAtOnce(const RevocationPath &path, bool wantsEvidence, sxRevocationVerdict *verdict) {
  Revocation &own = TheRevocation();
  StatusNeeds needs;
  ChainStatus status = JudgeChain(path, own.memory, {}, own.source.Settings(), wantsEvidence, &needs);
  const bool isDone = !status.isPending || status.verdict.code == sxValidation_revoked;
  (isDone ? own.hits : own.misses).Add();
  if (isDone) *verdict = std::move(status.verdict);
  return isDone;
}

int AskLater(sxd_env *env, std::shared_ptr<const RevocationPath> path, bool wantsEvidence, int timeoutMs,
             sxRevocationDone done) {
  const std::shared_ptr<StatusRun> run = NewRun(env->Loop(), std::move(path), wantsEvidence, std::move(done));
  return env->Post(0, [run, timeoutMs] { run->Begin(timeoutMs); });
}

void AskAndWait(std::shared_ptr<const RevocationPath> path, bool wantsEvidence, int timeoutMs,
                sxRevocationVerdict *verdict) {
  const std::unique_ptr<sxd_env, decltype(&sxd_env_destroy)> env(sxd_env_create(), sxd_env_destroy);
  verdict->code = sxValidation_unknownStatus;
  if (env == nullptr) return;
  bool isDone = false;
  const auto done = [&](const sxRevocationVerdict &answer) {
    isDone = true;
    *verdict = answer;
    sxd_env_stop(env.get());
  };
  if (AskLater(env.get(), std::move(path), wantsEvidence, timeoutMs, done) != 0) return;
  while (!isDone && sxd_env_run(env.get()) == 0) continue;
}

// As sxCertValidate_SetRevocationFunc wants it.
sxValidationRC CheckHook(sxd_env *env, sxRootCA *root, sxCerts &chain, const ValidateParams &params,
                         sxValidationCallback callback, void *opaque, int timeoutMs, int &level) {
  if (root == nullptr || !IsWhole(chain)) return sxValidation_unknownStatus;
  sxRevocationVerdict verdict;
  if (!AnswerAtOnce(RevocationPath(*root, chain, params), false, &verdict)) {
    sxRevocationQuestion question;
    question.root = root;
    question.chain = &chain;
    question.params = params;
    const std::shared_ptr<const RevocationPath> path = RevocationPath::Hold(question);
    if (env != nullptr && callback != nullptr) {
      const auto done = [callback, opaque](const sxRevocationVerdict &answer) {
        callback(answer.code, sxValidationRC_GetString(answer.code), answer.level, -1, opaque);
      };
      return AskLater(env, path, false, timeoutMs, done) == 0 ? sxValidation_async : sxValidation_unknownStatus;
    }
    AskAndWait(path, false, timeoutMs, &verdict);
  }
  if (verdict.code != sxValidation_OK) level = verdict.level;
  return verdict.code;
}

// When a CRL is asked for anew: a part of its life before its end, and not all at the same moment.
int64_t RefreshTimeOf(const sxCRL &crl, const CrlMemory::Used &used) {
  if (!crl.HasNextUpdate()) return used.set->obtainedSec + TheRevocation().source.Settings().undatedSec / 2;
  const int64_t lifeSec = std::max<int64_t>(crl.NextUpdate() - crl.ThisUpdate(), 0);
  const int64_t leadSec = std::clamp(lifeSec / 4, kMinLeadSec, kMaxLeadSec);
  const auto spread = static_cast<int64_t>(std::hash<std::string>()(used.key) % 1000);
  const int64_t refreshSec = crl.NextUpdate() - leadSec + leadSec / 2 * spread / 1000;
  return std::max(refreshSec, used.set->obtainedSec + leadSec / kMaxRefreshes);  // what came anew may be no newer
}

// The first of those whose time goes on; the others may have been given up by who issued them.
int64_t RefreshTime(const CrlMemory::Used &used, int64_t nowSec) {
  int64_t first = INT64_MAX, last = INT64_MIN;
  for (const std::shared_ptr<const HeldCrl> &crl : used.set->crls) {
    const int64_t sec = RefreshTimeOf(crl->Crl(), used);
    const bool goesOn = !crl->Crl().HasNextUpdate() || crl->Crl().NextUpdate() > nowSec;
    if (goesOn) first = std::min(first, sec);
    last = std::max(last, sec);
  }
  return first != INT64_MAX ? first : last;
}

int PushAll(const sxCRLs &crls, CrlMemory::Bringer bringer) {
  int numTaken = 0;
  for (int i = 0; i <= crls.Top(); ++i) {
    const sxCRL *const given = crls.Get(i);
    if (given == nullptr || given->OK() == 0) continue;
    // A copy: the caller's is counted and may go at any time.
    sxCRL *const copy = sxCRL_Decode(given->GetBuf(), static_cast<int>(given->BufLen()));
    const bool isTaken = copy != nullptr && TheRevocation().memory.Push(std::make_shared<HeldCrl>(copy), bringer);
    numTaken += isTaken ? 1 : 0;
  }
  return numTaken;
}

}  // namespace

int sxRevocation_Install(const sxRevocationSettings &settings) {
  if (sxPKobj::UseMutex() != 0) return -1;
  Revocation &own = TheRevocation();
  own.source.SetSettings(settings);
  own.memory.SetBounds(settings.maxCrls, settings.maxCrlOctets);
  sxCertValidate_SetPushCRLsFunc([](sxCRLs &crls, int) { PushAll(crls, CrlMemory::Bringer::kPeer); });
  sxCertValidate_SetRevocationFunc(CheckHook);
  own.isInstalled = true;
  return 0;
}

void sxRevocation_Remove() {
  TheRevocation().isInstalled = false;
  sxCertValidate_SetRevocationFunc(nullptr);
  sxCertValidate_SetPushCRLsFunc(nullptr);
  TheRevocation().memory.Clear();
  sxOcspMemory_Clear();
}

bool sxRevocation_IsInstalled() { return TheRevocation().isInstalled; }

const char *sxStatusSource_GetString(sxStatusSource source) {
  switch (source) {
    case sxStatusSource::kCrl: return "CRL";
    case sxStatusSource::kDeltaCrl: return "delta CRL";
    case sxStatusSource::kOcsp: return "OCSP";
    default: return "no source";
  }
}

bool sxRevocation_IsUnknown(int code) {
  return code != sxValidation_revoked && sxIsStatusCode(static_cast<sxValidationRC>(code));
}

sxValidationRC sxRevocation_Check(const sxRevocationQuestion &question, sxRevocationVerdict &verdict) {
  sxRevocationVerdict result;
  if (IsAnswerable(question)) {
    if (!AnswerAtOnce(RevocationPath(question), question.wantsEvidence, &result)) {
      AskAndWait(RevocationPath::Hold(question), question.wantsEvidence, question.timeoutMs, &result);
    }
  } else {
    tderrorFunc(kTopic, 1, 0, "%s: no root or no chain", "sxRevocation_Check");
  }
  verdict = std::move(result);
  return verdict.code;
}

int sxRevocation_CheckA(sxd_env *env, const sxRevocationQuestion &question, sxRevocationDone done) {
  if (env == nullptr || done == nullptr || !IsAnswerable(question)) return -1;
  return AskLater(env, RevocationPath::Hold(question), question.wantsEvidence, question.timeoutMs, std::move(done));
}

int sxRevocation_Push(const sxCRLs &crls, int) { return PushAll(crls, CrlMemory::Bringer::kProgram); }

void sxRevocation_Prefetch(void *) {
  Revocation &own = TheRevocation();
  const int64_t nowSec = kxClock_Now();
  for (const CrlMemory::Used &used : own.memory.All()) {
    const bool isWanted = nowSec - used.usedSec < kLatelySec && used.set->crlTo != sxCrlTo_neverFetched;
    if (isWanted && nowSec >= RefreshTime(used, nowSec)) own.source.Refresh(used);
  }
}

sxRevocationStats sxRevocation_Stats() {
  Revocation &own = TheRevocation();
  return {own.hits.Sum(),          own.misses.Sum(),     own.source.NumFetches(),
          own.source.NumRefused(), own.memory.NumCrls(), own.memory.NumOctets()};
}
