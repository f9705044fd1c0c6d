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
constexpr size_t kMaxCrlsOfPlace = 32;  // that one answer holds

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

  bool Verify(const HeldCrl &crl) const;
  bool IsWantedNow(const HeldCrl &crl) const;
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
  CertPtr m_signer;                              // who signed what is held
  bool m_foundOnDisk = false;
  const std::chrono::steady_clock::time_point m_begun = std::chrono::steady_clock::now();
};

bool CrlSource::Job::Verify(const HeldCrl &crl) const {
  if (m_signer != nullptr) return crl.Verify(*m_signer);
  const sxDN *const issuer = crl.Crl().Issuer();
  if (issuer == nullptr) return false;
  const std::vector<RevocationPath::Signer> named = m_path->Named(*issuer, m_need.level);
  if (std::ranges::any_of(named, [&](const RevocationPath::Signer &signer) { return crl.Verify(*signer.cert); })) {
    return true;
  }
  const CertPtr stored = StoredNamed(*issuer);
  return stored != nullptr && m_path->LevelAbove(*stored, m_need.level).has_value() && crl.Verify(*stored);
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
  m_foundOnDisk = Keep({crl}, sxStatusOrigin::kDisk, {}).code == sxValidation_OK && IsWantedNow(*crl);
}

CrlAnswer CrlSource::Job::Keep(std::vector<std::shared_ptr<const HeldCrl>> crls, sxStatusOrigin origin,
                               const kxFetchVersion &version) {
  if (crls.empty()) return Failed(sxValidation_noValidCRL, "what came is no CRL");
  std::erase_if(crls, [this](const std::shared_ptr<const HeldCrl> &crl) { return !Verify(*crl); });
  if (crls.empty()) {
    ++m_source.m_numRefused;
    return Failed(sxValidation_noValidCRL, "nobody who is trusted here signed what came");
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
  if (const char *refusal = m_source.m_memory.Put(m_need.key, set)) {
    ++m_source.m_numRefused;
    tderrorFunc(kTopic, 2, 0, "%s: %s: %s", "CrlSource", sxPlaceText(m_need.place).c_str(), refusal);
    return Failed(sxValidation_noValidCRL, refusal);
  }
  if (origin == sxStatusOrigin::kNetwork) StoreOnDisk(*set);
  CrlAnswer answer;
  answer.origin = origin;
  return answer;
}

// A record has room for one.
void CrlSource::Job::StoreOnDisk(const CrlSet &set) const {
  if (m_crlTo == sxCrlTo_memory || set.crls.size() != 1) return;
  const sxCRL &crl = set.crls[0]->Crl();
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
  if (held != nullptr) request.known = held->version;
  const auto done = [self](const kxFetchAnswer &answer) { self->Take(answer); };
  if (kxFetch_StartOn(kxBackground_Loop(), std::move(request), done, nullptr) != kxFetch_OK) return false;
  ++m_source.m_numFetches;
  return true;
}

void CrlSource::Job::Take(const kxFetchAnswer &fetched) {
  CrlAnswer answer;
  if (fetched.result == kxFetch_unchanged) {
    CrlSet asKnown;
    asKnown.version = fetched.version;
    asKnown.obtainedSec = kxClock_Now();
    m_source.m_memory.Renew(m_need.key, asKnown);
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
  Verify(*m_need.unread);
  m_source.Finish(*this, CrlAnswer());
}

void CrlSource::SetSettings(const sxRevocationSettings &settings) {
  const sxLock lock(m_mutex);
  m_allSettings.push_back(settings);
  m_settings = &m_allSettings.back();
}

void CrlSource::Obtain(const std::shared_ptr<const RevocationPath> &path, const CrlNeed &need, Done done) {
  const int crlTo = path->Root().CrlTo();
  const std::string name = need.key + "\n" + std::to_string(crlTo) + (path->MayFetch() ? " fetch" : " stay");
  const auto job = std::make_shared<Job>(*this, name, need);
  job->m_path = path;
  job->m_rootName = path->Root().Name() != nullptr ? path->Root().Name() : "";
  job->m_crlTo = crlTo;
  job->m_mayFetch = path->MayFetch();
  job->m_settings = Settings();
  job->m_maxLen = job->m_settings.maxFetchedLen;
  const int maxLen = path->Params().CRL_size_validation();
  if (maxLen > 0) job->m_maxLen = std::min(job->m_maxLen, static_cast<size_t>(maxLen));
  {
    const sxLock lock(m_mutex);
    std::vector<Done> &waiting = m_underWay[name];
    waiting.push_back(std::move(done));
    if (waiting.size() > 1) return;
  }
  Start(job);
}

void CrlSource::Start(const std::shared_ptr<Job> &job) {
  const auto work = [this, job] {
    if (job->m_need.unread != nullptr) return job->VerifyUnread();
    // It may have come between the judging and now, for somebody else.
    const std::shared_ptr<const CrlSet> held = m_memory.Find(job->m_need.key);
    if (held != nullptr && held != job->m_need.seen) {
      CrlAnswer answer;
      answer.origin = held->origin;
      return Finish(*job, answer);
    }
    job->ReadDisk();
    if (job->m_foundOnDisk) {
      CrlAnswer answer;
      answer.origin = sxStatusOrigin::kDisk;
      return Finish(*job, answer);
    }
    if (!job->Fetch(job)) Finish(*job, Failed(sxValidation_crlNotRetrieved, "not at hand, and not to be fetched"));
  };
  if (!kxBackground_Post(work)) Finish(*job, Failed(sxValidation_crlFetchFailed, "the process ends"));
}

void CrlSource::Finish(Job &job, const CrlAnswer &answer) {
  CrlAnswer told = answer;
  told.isDone = true;
  told.costMs =
      std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - job.m_begun).count();
  std::vector<Done> waiting;
  {
    const sxLock lock(m_mutex);
    const auto own = m_underWay.find(job.m_name);
    if (own == m_underWay.end()) return;
    waiting.swap(own->second);
    m_underWay.erase(own);
  }
  for (const Done &done : waiting) done(told);
}

void CrlSource::Refresh(const CrlMemory::Used &used) {
  const sxOctetView signer = used.set->crls[0]->Signer();
  sxCert *const cert = sxCert_Decode(signer.data(), sxLen(signer));
  if (cert == nullptr) return;
  const auto job = std::make_shared<Job>(*this, "refresh " + used.key,
                                         CrlNeed{used.key, used.set->place, used.set->kind, 0, used.set, nullptr});
  job->m_signer = CertPtr(cert, sxFreeBy<sxCert_Free>());
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
