#include "trust/revocation/crlSource.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <utility>

#include "kxcert/cert/sxDN.h"
#include "kxcert/platform/clock.h"
#include "kxcert/platform/log.h"
#include "kxcert/store/Cert_Cache_DB.h"
#include "kxcert/store/CrlDB.h"
#include "platform/background.h"
#include "platform/fetcher_imp.h"
#include "platform/owned.h"
#include "trust/nameText.h"

namespace {

constexpr char kTopic[] = "revocation";
constexpr size_t kMaxCrlsOfPlace = 32;            // that one answer holds
constexpr size_t kMaxOctetsVerified = 256 << 20;  // for one question: whoever answers chooses how often that is tried

using CertPtr = std::shared_ptr<const sxCert>;

// RFC 4516: a directory name goes to the servers that the fetcher is configured with.
std::string DirectoryUrl(const sxDN &name, sxStatusSource kind) {
  const char *text = name.GetStr();
  if (text == nullptr) return {};
  std::string url = "ldap:///";
  for (; *text != '\0'; ++text) {
    const auto octet = static_cast<unsigned char>(*text);
    const bool isPlain = (octet >= '0' && octet <= '9') || (octet >= 'A' && octet <= 'Z') ||
                         (octet >= 'a' && octet <= 'z') || octet == '=' || octet == ',' || octet == '-' || octet == '.';
    char escaped[4] = {*text, '\0'};
    if (!isPlain) std::snprintf(escaped, sizeof escaped, "%%%02X", octet);
    url += escaped;
  }
  return url +
         (kind == sxStatusSource::kDeltaCrl ? "?deltaRevocationList;binary" : "?certificateRevocationList;binary");
}

std::string UrlOf(const sxGeneralName &place, sxStatusSource kind) {
  if (place.GetType() == sxGN_dn && place.GetDN() != nullptr) return DirectoryUrl(*place.GetDN(), kind);
  if (place.GetType() != sxGN_uri) return {};
  return sxTextOf(place.GetStr());
}

// One behind the other, as a directory may hold several of one name.
std::vector<std::shared_ptr<const HeldCrl>> DecodeAll(sxOctetView octets) {
  std::vector<std::shared_ptr<const HeldCrl>> found;
  const auto take = [&found](sxOctetView one) {
    if (sxCRL *crl = sxCRL_Decode(one.data(), sxLen(one))) found.push_back(std::make_shared<HeldCrl>(crl));
  };
  constexpr size_t kAllLenOctets = 4;
  sxDerReader reader(octets, kAllLenOctets);
  for (sxDerElement element; !reader.AtEnd() && found.size() < kMaxCrlsOfPlace;) {
    if (!reader.Take(&element) || element.tag != kDerSequence) {
      if (found.empty()) take(octets);  // PEM, or an encoding that is not plain
      break;
    }
    take(element.whole);
  }
  return found;
}

long NowOfDatabases() { return static_cast<long>(std::min<int64_t>(kxClock_Now(), INT32_MAX)); }  // no expiry is later

// As issuers of certificates are found: what is not on the path may be in the database of intermediates.
CertPtr StoredNamed(const sxDN &name) {
  long expiry = 0;
  CertPtr stored(g_IntermediateCA_db.Get(name, NowOfDatabases(), &expiry), sxFreeBy<sxCert_Free>());
  // Whoever writes to the folder may have put it under another one's key.
  const bool isNamed = stored != nullptr && stored->Subject() != nullptr && stored->Subject()->Equal(name);
  return isNamed ? stored : nullptr;
}

CrlAnswer Failed(sxValidationRC code, std::string reason) {
  CrlAnswer answer;
  answer.code = code;
  answer.reason = std::move(reason);
  return answer;
}

}  // namespace

class CrlSource::Job {
 public:
  Job(CrlSource &source, std::string name, CrlNeed need)
      : m_source(source), m_name(std::move(name)), m_need(std::move(need)) {}

  void ReadDisk();
  /// @return false: it was not begun, and never will be
  bool Fetch(const std::shared_ptr<Job> &self);
  void Take(const kxFetchAnswer &answer);
  void VerifyUnread();

  bool Verify(const HeldCrl &crl);
  bool IsFrom(const HeldCrl &crl, const sxCert &signer);
  bool HasUsable(const CrlSet *set);
  bool IsWantedNow(const HeldCrl &crl) const;
  bool IsYetToCome(const HeldCrl &crl) const;
  bool IsKnown(const kxFetchAnswer &answer);
  CrlAnswer Keep(std::vector<std::shared_ptr<const HeldCrl>> crls, sxStatusOrigin origin,
                 const kxFetchVersion &version);
  void StoreOnDisk(const CrlSet &set) const;

  CrlSource &m_source;
  const std::string m_name;  // under which others join
  const CrlNeed m_need;
  sxRevocationSettings m_settings;
  std::string m_rootName;
  int m_crlTo = sxCrlTo_memoryAndDisk;
  bool m_mayFetch = true;
  size_t m_maxLen = 0;
  std::shared_ptr<const RevocationPath> m_path;  // whose certificates may have signed it; or
  std::vector<CertPtr> m_signers;                // who signed what is held
  std::shared_ptr<const CrlSet> m_found;         // on disk
  size_t m_octetsVerified = 0;
  const std::chrono::steady_clock::time_point m_begun = std::chrono::steady_clock::now();
};

bool CrlSource::Job::Verify(const HeldCrl &crl) {
  const sxDN *const issuer = crl.Crl().Issuer();
  if (issuer == nullptr) return false;
  if (m_path == nullptr) {
    return std::ranges::any_of(m_signers, [&](const CertPtr &signer) { return IsFrom(crl, *signer); });
  }
  const auto isFrom = [&](const sxCert *signer) { return IsFrom(crl, *signer); };
  const auto isFromPools = [&](const RevocationPath::Signer &signer) { return IsFrom(crl, *signer.cert); };
  if (std::ranges::any_of(m_path->Named(*issuer, m_need.level), isFrom) ||
      std::ranges::any_of(m_path->OfPool(*issuer, m_need.level), isFromPools)) {
    return true;
  }
  const CertPtr stored = StoredNamed(*issuer);
  return stored != nullptr && m_path->LevelAbove(*stored, m_need.level).has_value() && IsFrom(crl, *stored);
}

bool CrlSource::Job::IsFrom(const HeldCrl &crl, const sxCert &signer) {
  if (crl.IsFrom(signer) == HeldCrl::Known::kNotAsked) {
    m_octetsVerified += crl.Crl().BufLen();
    if (m_octetsVerified > kMaxOctetsVerified) return false;
  }
  return crl.Verify(signer);
}

// Something that this path's certificates signed, of the time that is asked about.
bool CrlSource::Job::HasUsable(const CrlSet *set) {
  return set != nullptr && std::ranges::any_of(set->crls, [this](const std::shared_ptr<const HeldCrl> &crl) {
           return (m_path == nullptr || IsWantedNow(*crl)) && Verify(*crl);
         });
}

// Nor does one that is not valid yet take the place of one that is.
bool CrlSource::Job::IsYetToCome(const HeldCrl &crl) const {
  const int64_t nowSec = m_path != nullptr ? std::max(m_path->NowSec(), kxClock_Now()) : kxClock_Now();
  const bool counts = m_path == nullptr || m_path->Params().Check_this_upd();
  return counts && crl.Crl().ThisUpdate() > nowSec + sxCertValidate_GetDefaultGracePeriod();
}

// One that is past its nextUpdate is of use only where nothing newer is to be had.
bool CrlSource::Job::IsWantedNow(const HeldCrl &crl) const {
  return !crl.Crl().HasNextUpdate() || m_path->NowSec() < crl.Crl().NextUpdate() || !m_path->Params().Check_next_upd();
}

void CrlSource::Job::ReadDisk() {
  if (m_crlTo == sxCrlTo_memory) return;
  long expiry = 0;
  sxCRL *const read = sxCRLCache_db().Get(m_need.place, m_rootName.c_str(), NowOfDatabases(), &expiry);
  if (read == nullptr) return;
  const auto crl = std::make_shared<HeldCrl>(read);
  const CrlAnswer answer = Keep({crl}, sxStatusOrigin::kDisk, {});
  if (answer.code == sxValidation_OK && IsWantedNow(*crl)) m_found = answer.set;
}

CrlAnswer CrlSource::Job::Keep(std::vector<std::shared_ptr<const HeldCrl>> crls, sxStatusOrigin origin,
                               const kxFetchVersion &version) {
  if (crls.empty()) return Failed(sxValidation_noValidCRL, "what came is no CRL");
  std::erase_if(crls, [this](const std::shared_ptr<const HeldCrl> &crl) { return !Verify(*crl); });
  if (crls.empty()) {
    ++m_source.m_numRefused;
    return Failed(sxValidation_noValidCRL, "nobody who is trusted here signed what came");
  }
  if (std::erase_if(crls, [this](const std::shared_ptr<const HeldCrl> &crl) { return IsYetToCome(*crl); }) > 0 &&
      crls.empty()) {
    ++m_source.m_numRefused;
    return Failed(sxValidation_crlNotYetValid, "what came is not valid yet");
  }
  const auto set = std::make_shared<CrlSet>();
  set->crls = std::move(crls);
  set->origin = origin;
  set->place = m_need.place;
  set->rootName = m_rootName;
  set->crlTo = m_crlTo;
  set->kind = m_need.kind;
  set->version = version;
  set->obtainedSec = kxClock_Now();
  const CrlMemory::PutResult put = m_source.m_memory.Put(m_need.key, set);
  if (put.set == nullptr) {
    ++m_source.m_numRefused;
    tderrorFunc(kTopic, 2, 0, "%s: %s: %s", "CrlSource", sxPlaceText(m_need.place).c_str(), put.refusal);
    return Failed(put.code, put.refusal);
  }
  if (origin == sxStatusOrigin::kNetwork) StoreOnDisk(*set);
  CrlAnswer answer;
  answer.origin = origin;
  answer.set = put.set;
  return answer;
}

// Others asked for it at the same time, or it did not change although the server does not say so.
bool CrlSource::Job::IsKnown(const kxFetchAnswer &answer) {
  const std::shared_ptr<const CrlSet> held = m_source.m_memory.Find(m_need.key);
  if (held == nullptr) return false;
  const auto isIt = [&](const std::shared_ptr<const HeldCrl> &crl) {
    return sxEqual({crl->Crl().GetBuf(), crl->Crl().BufLen()}, {answer.octets, answer.len}) && Verify(*crl);
  };
  return std::ranges::any_of(held->crls, isIt);
}

// A record has room for one.
void CrlSource::Job::StoreOnDisk(const CrlSet &set) const {
  const bool isOfDirectory = m_need.kind == sxStatusSource::kDeltaCrl && m_need.place.GetType() == sxGN_dn;
  if (m_crlTo == sxCrlTo_memory || set.crls.size() != 1 || isOfDirectory) return;
  const sxCRL &crl = set.crls[0]->Crl();
  if (crl.IsDelta() != (m_need.kind == sxStatusSource::kDeltaCrl)) return;  // what is there may do better
  const int64_t until = crl.HasNextUpdate() ? crl.NextUpdate() : set.obtainedSec + m_settings.undatedSec;
  const int64_t expirySec = std::min<int64_t>(until + m_settings.diskKeepSec, INT32_MAX);
  sxCRLCache_db().Store(m_need.place, m_rootName.c_str(), &crl, static_cast<long>(expirySec));  // failures are traced
}

bool CrlSource::Job::Fetch(const std::shared_ptr<Job> &self) {
  kxFetchRequest request;
  request.url = UrlOf(m_need.place, m_need.kind);
  if (!m_mayFetch || m_crlTo == sxCrlTo_neverFetched || !kxFetcher_IsSet() || !kxFetch_IsUrl(request.url)) return false;
  request.limits = {m_maxLen, m_settings.fetchTimeoutMs};
  const std::shared_ptr<const CrlSet> held = m_source.m_memory.Find(m_need.key);
  if (HasUsable(held.get())) request.known = held->version;
  const auto done = [self](const kxFetchAnswer &answer) { self->Take(answer); };
  if (kxFetch_StartOn(kxBackground_Loop(), std::move(request), done, nullptr) != kxFetch_OK) return false;
  ++m_source.m_numFetches;
  return true;
}

void CrlSource::Job::Take(const kxFetchAnswer &fetched) {
  CrlAnswer answer;
  const bool isSame = fetched.result == kxFetch_unchanged || (fetched.result == kxFetch_OK && IsKnown(fetched));
  if (isSame) {
    CrlSet asKnown;
    asKnown.version = fetched.version;
    asKnown.obtainedSec = kxClock_Now();
    answer.set = m_source.m_memory.Renew(m_need.key, asKnown);
  } else if (fetched.result == kxFetch_OK) {
    answer = Keep(DecodeAll({fetched.octets, fetched.len}), sxStatusOrigin::kNetwork, fetched.version);
  } else {
    const bool isTooBig = fetched.result == kxFetch_tooLong;
    answer = Failed(isTooBig ? sxValidation_crlTooBig : sxValidation_crlFetchFailed,
                    fetched.reason.empty() ? (isTooBig ? "larger than is allowed" : "not fetched") : fetched.reason);
  }
  answer.origin = sxStatusOrigin::kNetwork;
  m_source.Finish(*this, answer);
}

void CrlSource::Job::VerifyUnread() {
  const bool isVerified = Verify(*m_need.unread);
  if (!isVerified) m_source.m_memory.Forget(*m_need.unread);
  m_source.Finish(*this, isVerified ? CrlAnswer() : Failed(sxValidation_noValidCRL, "nobody who is trusted here"));
}

void CrlSource::SetSettings(const sxRevocationSettings &settings) {
  const sxLock lock(m_mutex);
  m_allSettings.push_back(settings);
  m_settings = &m_allSettings.back();
}

void CrlSource::Obtain(const std::shared_ptr<const RevocationPath> &path, const CrlNeed &need, Done done) {
  Obtain({path, need, std::move(done)}, false);
}

// Those join who trust the same certificates above, whatever else they brought along, and allow as much.
void CrlSource::Obtain(Waiter &&waiter, bool alone) {
  const std::shared_ptr<const RevocationPath> path = waiter.path;
  const CrlNeed need = waiter.need;
  const int crlTo = path->Root().CrlTo();
  const sxRevocationSettings settings = Settings();
  const int maxLen = path->Params().CRL_size_validation();
  const size_t most =
      maxLen > 0 ? std::min(settings.maxFetchedLen, static_cast<size_t>(maxLen)) : settings.maxFetchedLen;
  std::string name = need.name + "\n" + std::to_string(crlTo) + (path->MayFetch() ? " fetch " : " stay ") +
                     std::to_string(most) + " " + std::to_string(path->Params().HasTime() ? path->NowSec() : 0) + " " +
                     path->AboveId(need.level);
  if (alone) name += " " + std::to_string(reinterpret_cast<uintptr_t>(path.get()));
  const auto job = std::make_shared<Job>(*this, name, need);
  job->m_path = path;
  job->m_rootName = path->Root().Name() != nullptr ? path->Root().Name() : "";
  job->m_crlTo = crlTo;
  job->m_mayFetch = path->MayFetch() && need.from != CrlFrom::kDisk;
  job->m_settings = settings;
  job->m_maxLen = most;
  {
    const sxLock lock(m_mutex);
    std::vector<Waiter> &waiting = m_underWay[name];
    waiting.push_back(std::move(waiter));
    if (waiting.size() > 1) return;
  }
  Start(job);
}

void CrlSource::Start(const std::shared_ptr<Job> &job) {
  if (!kxBackground_Post([this, job] { Work(job); })) {
    Finish(*job, Failed(sxValidation_crlFetchFailed, "the process ends"));
  }
}

void CrlSource::Work(const std::shared_ptr<Job> &job) {
  const CrlNeed &need = job->m_need;
  if (need.unread != nullptr) return job->VerifyUnread();
  // It may have come between the judging and now, for somebody else.
  std::shared_ptr<const CrlSet> found = m_memory.Find(need.key);
  if (found == need.seen || !job->HasUsable(found.get())) {
    if (need.from != CrlFrom::kNetwork) job->ReadDisk();
    found = job->m_found;
  }
  if (found != nullptr) {
    CrlAnswer answer;
    answer.origin = found->origin;
    answer.set = found;
    return Finish(*job, answer);
  }
  if (job->Fetch(job)) return;
  if (need.from == CrlFrom::kDisk) m_memory.NoteAbsent(need.key);
  Finish(*job, Failed(sxValidation_crlNotRetrieved, "not at hand, and not to be fetched"));
}

// What one question's certificates cannot verify, another one's may.
void CrlSource::Finish(Job &job, const CrlAnswer &answer) {
  CrlAnswer told = answer;
  told.isDone = true;
  told.costMs =
      std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - job.m_begun).count();
  std::vector<Waiter> waiting;
  {
    const sxLock lock(m_mutex);
    const auto own = m_underWay.find(job.m_name);
    if (own == m_underWay.end()) return;
    waiting.swap(own->second);
    m_underWay.erase(own);
  }
  for (Waiter &waiter : waiting) {
    const bool isAnothers = &waiter != waiting.data() && told.code == sxValidation_noValidCRL && waiter.path->HasPool();
    if (isAnothers) {
      Obtain(std::move(waiter), true);
    } else if (waiter.done != nullptr) {
      waiter.done(told);
    }
  }
}

void CrlSource::Refresh(const CrlMemory::Used &used) {
  const auto job = std::make_shared<Job>(*this, "refresh " + used.key,
                                         CrlNeed{"", used.key, used.set->place, used.set->kind, 0, used.set, nullptr});
  for (const std::shared_ptr<const HeldCrl> &crl : used.set->crls) {
    const sxOctetView signer = crl->Signer();
    CertPtr cert(sxCert_Decode(signer.data(), sxLen(signer)), sxFreeBy<sxCert_Free>());
    if (cert != nullptr) job->m_signers.push_back(std::move(cert));
  }
  if (job->m_signers.empty()) return;
  job->m_rootName = used.set->rootName;
  job->m_crlTo = used.set->crlTo;
  job->m_settings = Settings();
  job->m_maxLen = job->m_settings.maxFetchedLen;
  {
    const sxLock lock(m_mutex);
    if (!m_underWay.try_emplace(job->m_name).second) return;
  }
  const auto work = [this, job] {
    if (!job->Fetch(job)) Finish(*job, Failed(sxValidation_crlNotRetrieved, "not to be fetched"));
  };
  if (!kxBackground_Post(work)) Finish(*job, CrlAnswer());
}
