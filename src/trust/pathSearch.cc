#include "trust/pathSearch.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <tuple>

#include "kxcert/cert/sxDN.h"
#include "kxcert/cert/sxGeneralName.h"
#include "kxcert/store/Cert_Cache_DB.h"
#include "kxcert/trust/sxRootCA.h"
#include "platform/owned.h"
#include "store/expiringRecords.h"
#include "trust/rules.h"
#include "trust/strict/strictTable.h"
#include "trust/sxKeyHolder_imp.h"

namespace {

constexpr int kMaxText = 16384;             // three names of 4096 octets fit
constexpr size_t kMaxCandidates = 1 << 14;  // namesakes of one issuer that are looked at, in each pool

constexpr int kMaxAttempts = 2;  // at a record that could not be read, but now can

constexpr char kAtRoot[] = "a trusted root";
constexpr char kByNames[] = "a trusted root by names alone: not every signature verifies";
constexpr char kImitation[] = "it has a trusted root's name and key, but not its octets";
constexpr char kTooLong[] = "too many levels";
constexpr char kOwnRoot[] = "it signed itself and is no trusted root";
constexpr char kNoIssuer[] = "no certificate has the issuer's name";
constexpr char kOnlyNamesakes[] = "no certificate with the issuer's name signed it";
constexpr char kUnsupported[] = "its signature algorithm is not supported, so nobody knows who signed it";
constexpr char kLoop[] = "its issuers are on the path already";
constexpr char kBound[] = "the search ended here";

bool IsOwnFault(std::string_view rule) {
  for (int i = 0; i < StrictRuleCount(); ++i) {
    if (rule == StrictRuleAt(i).name) return StrictRuleAt(i).isOwn;
  }
  return false;
}

// What no other path can change: all above is in order, and the end entity is not, or nobody is there to
// ask about revocation.
bool IsFinal(const sxTriedPath &path) {
  if (path.level < 0) return true;
  if (path.rule != nullptr) return path.level == 0 && IsOwnFault(path.rule);
  const auto isOf = [&path](const Rule &rule) { return rule.code == path.code; };
  return path.level == 0 && std::ranges::any_of(CertificateRules(), isOf);
}

// Smaller is better. What was tried first is better among equals.
auto RankOf(const sxTriedPath &path) {
  const bool isRefusedByAll = path.code != sxValidation_OK && path.rule == nullptr;
  return std::tuple(path.root == nullptr, isRefusedByAll, path.root == nullptr ? -path.level : path.level);
}

bool HasSameCerts(const sxCerts &a, const sxCerts &b) {
  if (a.Top() != b.Top()) return false;
  for (int i = 0; i <= a.Top(); ++i) {
    if (!(*a.Get(i) == *b.Get(i))) return false;
  }
  return true;
}

using KeyText = sxOwned<char, std::free>;

// Of a look-up without an answer. A name that has no key is nobody's; what is good was stored meanwhile, or the step
// that failed does so no more.
sxStoreState WhyNotFound(Cert_Cache_DB &db, const sxDN &name, int64_t nowSec) {
  const KeyText key(db.Key(name));
  if (key == nullptr) return sxStoreState::kGone;
  void *block = nullptr;
  errno = 0;
  const int len = db.FDB()->Get(key.get(), &block);
  if (len < 0) return errno == ENOENT ? sxStoreState::kGone : sxStoreState::kUnreadable;
  sxExpiringRecord record;
  if (!record.Set(block, len)) return sxStoreState::kTooShort;
  if (record.expirySec <= nowSec) return sxStoreState::kExpired;
  const auto cert = SharedRef<sxCert>::Adopt(sxCert_Decode(record.value, record.valueLen));
  return cert ? sxStoreState::kGood : sxStoreState::kNotDecoded;
}

}  // namespace

// One certificate of one trusted root.
struct PathSearch::Anchor {
  SharedRef<sxRootCA> root;
  sxCert *cert;  // lent by the root
};

PathSearch::PathSearch(const sxChainQuestion &question, const ValidateParams &params)
    : m_question(question),
      m_params(params),
      m_now(params.Time()),
      m_heldHolder(question.holder),
      m_holder(*question.holder->GetP()),
      m_endEntity(*question.endEntity),
      m_deadline(std::chrono::steady_clock::now() + std::chrono::milliseconds(question.revocationTimeoutMs)) {
  m_pools.emplace_back(question.pool, m_now);
}

PathSearch::~PathSearch() = default;

void PathSearch::Run() {
  sxSaveSigned(&m_endEntity);
  m_path.Add(&m_endEntity);
  Search();
  // A path that is not valid may be so because an issuer was not looked at.
  const bool isValid = m_tried[Best()].root != nullptr && m_tried[Best()].code == sxValidation_OK;
  if (m_cutIssuers && m_bound == sxSearchBound::kNone && !isValid) m_bound = sxSearchBound::kVerifications;
}

size_t PathSearch::Best() const {
  const auto best = std::ranges::min_element(m_tried, {}, RankOf);
  return static_cast<size_t>(best - m_tried.begin());
}

void PathSearch::Search() {
  bool isImitation = false;
  if (StandsAsRoot(isImitation)) return;
  if (isImitation) {
    EndDead(kImitation);
    return;
  }
  if (Climb() || m_reachedRoot) return;
  AskForSubCAs();
  if (!m_reachedRoot && m_bound == sxSearchBound::kNone) SearchByNames();
}

// Whether the end entity is a root's certificate, octet for octet. If so, it was judged.
bool PathSearch::StandsAsRoot(bool &isImitation) {
  bool isRoot = false;
  for (const Anchor &anchor : AnchorsNamed(m_endEntity.Subject(), nullptr)) {
    isRoot |= *anchor.cert == m_endEntity;
    isImitation |= sxPubKey_Equal(anchor.cert->PubKey(), m_endEntity.PubKey()) == 1;
  }
  if (!isRoot) return false;
  bool isSigned = false;
  if (TryAnchors(m_endEntity, isSigned)) return true;
  if (isSigned && VerifiesItself(m_endEntity)) return true;  // it stands there twice, as its own issuer
  for (const Anchor &anchor : AnchorsNamed(m_endEntity.Subject(), nullptr)) {
    if (*anchor.cert == m_endEntity && JudgeAlone(anchor)) return true;
  }
  return true;
}

// Follows every path on from the top. @return the search is over
bool PathSearch::Climb() {
  const sxCert &top = Top();
  bool goesOn = false;
  if (TryAnchors(top, goesOn)) return true;
  if (m_path.Count() >= kMaxChainLevels) return goesOn ? false : EndDead(kTooLong);
  if (VerifiesItself(top)) return goesOn ? false : EndDead(kOwnRoot);
  if (TryIssuers(top, goesOn)) return true;
  return goesOn ? false : EndDead(WhyDead(top));
}

bool PathSearch::TryAnchors(const sxCert &subject, bool &goesOn) {
  const bool isEndEntity = m_path.Count() == 1;  // which may be a root itself, and its own issuer
  for (const Anchor &anchor : AnchorsNamed(subject.Issuer(), &subject)) {
    if ((!isEndEntity && IsOnPath(*anchor.cert)) || !Verifies(subject, *anchor.cert)) continue;
    goesOn = true;
    if (Judge(anchor)) return true;
  }
  return m_bound != sxSearchBound::kNone && Stop(goesOn);
}

bool PathSearch::TryIssuers(const sxCert &subject, bool &goesOn) {
  const std::vector<Anchor> anchors = AnchorsNamed(subject.Issuer(), &subject);
  // What a root's own certificate leads to is that root, which was tried.
  const auto isRootAgain = [&](const sxCert &cert) {
    return sxTrust_IsSelfIssued(cert) && VerifiesItself(cert) &&
           std::ranges::any_of(anchors, [&](const Anchor &a) { return IdentityOf(*a.cert) == IdentityOf(cert); });
  };
  // A crowd of namesakes is gone through once for each subject; later those are left that signed it.
  const auto known = m_signers.find(&subject);
  const std::vector<sxCert *> candidates = known != m_signers.end() ? known->second : IssuersOf(subject);
  std::vector<sxCert *> signers;
  for (sxCert *issuer : candidates) {
    const bool isOnPath = IsOnPath(*issuer);
    const bool signedIt = isOnPath || Verifies(subject, *issuer);
    if (signedIt) signers.push_back(issuer);
    if (isOnPath || !signedIt || isRootAgain(*issuer)) {
      if (m_bound != sxSearchBound::kNone) return Stop(goesOn);
      continue;
    }
    goesOn = true;
    Push(issuer);
    const bool isOver = Climb();
    Pop();
    if (isOver) return true;
  }
  m_signers[&subject] = std::move(signers);
  return false;
}

const char *PathSearch::WhyDead(const sxCert &top) {
  // The end entity counts whether it was sent once more or not.
  const bool isNamed = top.Issuer() != nullptr && top.Issuer()->Equal(*m_endEntity.Subject());
  if (!isNamed && IssuersOf(top).empty() && AnchorsNamed(top.Issuer(), nullptr).empty()) return kNoIssuer;
  if (!sxIsSignatureSupported(top)) return kUnsupported;
  const bool isLoop =
      (isNamed && Verifies(top, m_endEntity)) ||
      std::ranges::any_of(m_signers[&top], [&](sxCert *cert) { return IsOnPath(*cert) && Verifies(top, *cert); });
  return isLoop ? kLoop : kOnlyNamesakes;
}

// What the callback adds goes into a pool, as if it had been sent.
void PathSearch::AskForSubCAs() {
  const sxTriedPath *longest = LongestDeadEnd();
  if (longest == nullptr || m_bound != sxSearchBound::kNone) return;
  if (longest->level == 0 && sxTrust_IsSelfIssued(m_endEntity)) return;  // there is nothing to ask for
  m_fetched = longest->certs;
  if (!sxTrust_AddSubCAs(m_fetched)) return;
  m_pools.emplace_back(&m_fetched, m_now);
  m_issuers.clear();
  m_signers.clear();
  Climb();
}

// Goes on from the longest dead end to the first namesake of the missing issuer, so that the checks can say what
// is wrong; ends with the first root.
void PathSearch::SearchByNames() {
  const sxTriedPath *longest = LongestDeadEnd();
  if (longest == nullptr) return;
  sxCerts way = longest->certs;
  m_goesByName = true;
  do {
    SetPath(way);
    m_longest.ClearAll();
    if (m_path.Count() >= kMaxChainLevels || VerifiesItself(Top()) || !StepByName()) return;
    way = m_longest;
  } while (way.Count() > 0);
}

// @return there is more to do, from m_longest
bool PathSearch::StepByName() {
  for (sxCert *issuer : IssuersOf(Top())) {
    if (IsOnPath(*issuer)) continue;
    for (const Anchor &anchor : AnchorsNamed(issuer->Subject(), nullptr)) {
      if (IdentityOf(*anchor.cert) != IdentityOf(*issuer)) continue;
      Judge(anchor);
      return false;
    }
    Push(issuer);
    return !Climb();
  }
  return false;
}

// The path as it stands, and the root's certificate above. @return the search is over
bool PathSearch::Judge(const Anchor &anchor) {
  sxTriedPath path;
  path.certs = m_path;
  path.root = anchor.root.get();
  path.ended = m_goesByName ? kByNames : kAtRoot;
  sxSaveSigned(anchor.cert);
  path.certs.Add(anchor.cert);
  path.certs.Keep(anchor.root.get());
  return Keep(std::move(path)) || m_goesByName;
}

bool PathSearch::JudgeAlone(const Anchor &anchor) {
  sxTriedPath path;
  path.certs = m_path;
  path.root = anchor.root.get();
  path.ended = kAtRoot;
  path.certs.Keep(anchor.root.get());
  return Keep(std::move(path));
}

bool PathSearch::EndDead(const char *ended) {
  if (m_goesByName) {
    if (m_path.Count() > m_longest.Count()) m_longest = m_path;
    return !MayEndOneMore();
  }
  sxTriedPath path;
  path.certs = m_path;
  path.ended = ended;
  return Keep(std::move(path));
}

bool PathSearch::MayEndOneMore() {
  if (m_numEnded == kMaxJudgePaths && m_bound == sxSearchBound::kNone) m_bound = sxSearchBound::kPaths;
  return m_numEnded++ < kMaxJudgePaths;
}

// A bound was reached at the top. What was followed so far is told.
bool PathSearch::Stop(bool goesOn) {
  if (!goesOn) EndDead(kBound);
  return true;
}

// Judges and remembers it. @return the search is over
bool PathSearch::Keep(sxTriedPath &&path) {
  for (const sxTriedPath &known : m_tried) {  // the callback's answer lets all be followed once more
    if (known.root == path.root && HasSameCerts(known.certs, path.certs)) return m_bound != sxSearchBound::kNone;
  }
  if (!MayEndOneMore()) return true;
  std::vector<char> text(kMaxText);
  if (path.root != nullptr) {
    m_reachedRoot = true;
    // What the search followed was verified; what it followed by names was not.
    const int flags =
        m_goesByName ? m_question.flags | sxValidate_signatures : m_question.flags & ~sxValidate_signatures;
    const bool asksHere = (flags & sxValidate_revocation) != 0 && sxRevocation_IsInstalled();
    sxCerts shown = path.certs;  // a revocation function may change what it is given
    path.code = sxCert_ValCerts(path.root, &shown, nullptr, nullptr, m_params, text.data(), kMaxText, &path.level,
                                nullptr, nullptr, asksHere ? flags & ~sxValidate_revocation : flags);
    if (path.code == sxValidation_OK && asksHere) AskRevocation(path);
    if (path.code == sxValidation_async) path.code = sxValidation_unknownStatus;  // nobody is there to be called back
  } else {
    path.level = path.certs.Top();
  }
  sxCert_ValErrToStr(&path.certs, path.code, path.code == sxValidation_OK ? -1 : path.level, text.data(), kMaxText);
  path.text = text.data();
  if (path.root != nullptr && path.code == sxValidation_OK) JudgeStrictly(path);
  m_tried.push_back(std::move(path));
  return m_tried.back().root != nullptr && IsFinal(m_tried.back());
}

// Of the library's own checking the verdict tells what it looked at.
void PathSearch::AskRevocation(sxTriedPath &path) {
  const auto left =
      std::chrono::duration_cast<std::chrono::milliseconds>(m_deadline - std::chrono::steady_clock::now());
  sxRevocationQuestion question;
  question.root = path.root;
  question.chain = &path.certs;
  question.pool = m_question.pool;
  question.params = m_params;
  question.mayFetch = m_question.mayFetch && left.count() > 0;
  question.timeoutMs = static_cast<int>(std::max<int64_t>(left.count(), 1));
  question.ocspResponses = m_question.ocspResponses;
  question.wantsEvidence = m_question.wantsFindings;
  sxRevocationVerdict verdict;
  path.code = sxRevocation_Check(question, verdict);
  if (path.code != sxValidation_OK) path.level = verdict.level;
  path.evidence.swap(verdict.evidence);
}

void PathSearch::JudgeStrictly(sxTriedPath &path) {
  if (m_question.strict.deciding == 0) return;
  StrictPath strict(path.certs, true, m_params, m_question.strict);
  StrictFailure failure = FirstStrictFailure(strict, m_question.strict.deciding);
  if (failure.rule == nullptr) return;
  path.code = failure.rule->code;
  path.level = failure.level;
  path.rule = failure.rule->name;
  path.text = sxStrictText(path.certs, path.code, path.level, path.rule, std::move(failure.facts)).c_str();
}

const sxTriedPath *PathSearch::LongestDeadEnd() const {
  const sxTriedPath *longest = nullptr;
  for (const sxTriedPath &path : m_tried) {
    if (path.root == nullptr && (longest == nullptr || path.level > longest->level)) longest = &path;
  }
  return longest;
}

// Whether the signature verifies; each with each key once.
bool PathSearch::Verifies(const sxCert &subject, const sxCert &issuer) {
  if (issuer.PubKey() == nullptr || issuer.PubKey()->PublicKeyHash() == nullptr) return false;
  const auto key = std::pair(&subject, IdentityOf(issuer).second);
  if (const auto known = m_verified.find(key); known != m_verified.end()) return known->second;
  if (m_verified.size() == kMaxJudgeVerifications) {
    m_bound = sxSearchBound::kVerifications;
    return false;
  }
  return m_verified[key] = subject.VerifySig(issuer.PubKey()) == 0;
}

bool PathSearch::VerifiesItself(const sxCert &cert) { return sxTrust_IsSelfIssued(cert) && Verifies(cert, cert); }

// In the order in which they are tried.
std::vector<PathSearch::Anchor> PathSearch::AnchorsNamed(const sxDN *name, const sxCert *subject) {
  std::vector<Anchor> anchors;
  if (name == nullptr) return anchors;
  for (const SharedRef<sxRootCA> &root : m_holder.RootRefs(*name)) {
    if (root->Cert() != nullptr) anchors.push_back({SharedRef<sxRootCA>(root.get()), root->Cert()});
    const sxCerts *others = root->AdditionalCerts();
    for (int i = 0; others != nullptr && i < others->Slots(); ++i) {
      if (others->Get(i) != nullptr) anchors.push_back({SharedRef<sxRootCA>(root.get()), others->Get(i)});
    }
  }
  const auto rank = [this, subject](const Anchor &anchor) {
    const size_t wanted = subject != nullptr ? sxKeyIdHash(subject->AuthorityKeyId()) : 0;
    const bool isWanted = wanted != 0 && sxKeyIdHash(anchor.cert->SubjectKeyId()) == wanted;
    const char *title = anchor.root->Name();
    return std::tuple(!isWanted, sxIsOutOfDate(*anchor.cert, m_now), sxOctetsOf(*anchor.cert),
                      std::string_view(title != nullptr ? title : ""));
  };
  std::ranges::stable_sort(anchors, {}, rank);
  return anchors;
}

const std::vector<sxCert *> &PathSearch::IssuersOf(const sxCert &cert) {
  const auto [entry, isNew] = m_issuers.try_emplace(&cert);
  std::vector<sxCert *> &issuers = entry->second;
  if (!isNew || cert.Issuer() == nullptr) return issuers;
  for (const CertPool &pool : m_pools) {
    const std::vector<sxCert *> found = pool.IssuersOf(cert, kMaxCandidates);
    m_cutIssuers |= found.size() == kMaxCandidates;
    issuers.insert(issuers.end(), found.begin(), found.end());
  }
  for (SharedRef<sxCert> &own : m_holder.IntermediateRefs(*cert.Issuer())) {
    issuers.push_back(own.get());
    m_held.push_back(std::move(own));
  }
  if (SharedRef<sxCert> stored = StoredIssuer(*cert.Issuer())) {
    issuers.push_back(stored.get());
    m_held.push_back(std::move(stored));
  }
  std::set<std::string_view> seen;
  std::erase_if(issuers, [&seen](const sxCert *issuer) { return !seen.insert(sxOctetsOf(*issuer)).second; });
  return issuers;
}

SharedRef<sxCert> PathSearch::StoredIssuer(const sxDN &name) {
  if (m_question.intermediates == nullptr || m_numLookups == kMaxJudgeLookups) return {};
  ++m_numLookups;
  const auto now = static_cast<long>(std::clamp<int64_t>(m_now, LONG_MIN, LONG_MAX));
  sxStoreState state = sxStoreState::kGood;
  for (int attempt = 0; attempt < kMaxAttempts && state == sxStoreState::kGood; ++attempt) {
    long expiry = 0;
    auto stored = SharedRef<sxCert>::Adopt(m_question.intermediates->Get(name, now, &expiry));
    // Whoever writes to the folder may have put it under another one's key.
    if (stored && stored->Subject() != nullptr && stored->Subject()->Equal(name)) return stored;
    state = stored ? sxStoreState::kOtherKey : WhyNotFound(*m_question.intermediates, name, m_now);
  }
  TellFailure(name, state == sxStoreState::kGood ? sxStoreState::kUnreadable : state);
  return {};
}

void PathSearch::TellFailure(const sxDN &name, sxStoreState state) {
  if (state == sxStoreState::kGone || state == sxStoreState::kExpired) return;
  const KeyText key(m_question.intermediates->Key(name));
  const auto isThis = [&key](const sxFailedLookup &known) { return std::strcmp(known.key.getstr(), key.get()) == 0; };
  if (key == nullptr || std::ranges::any_of(m_failedLookups, isThis)) return;
  m_failedLookups.push_back({sxString(name.GetStr()), sxString(key.get()), state});
}

PathSearch::Identity PathSearch::IdentityOf(const sxCert &cert) {
  Identity identity{cert.Subject() != nullptr ? cert.Subject()->Hash() : 0, {}};
  const unsigned char *hash = cert.PubKey() != nullptr ? cert.PubKey()->PublicKeyHash() : nullptr;
  if (hash != nullptr) std::memcpy(identity.second.data(), hash, identity.second.size());
  return identity;
}

// A name and key that are there again lead nowhere that the first one does not. The end entity's may come
// again: it is the one certificate that cannot be left out.
bool PathSearch::IsOnPath(const sxCert &cert) const {
  return cert == m_endEntity || m_onPath.contains(IdentityOf(cert));
}

void PathSearch::Push(sxCert *cert) {
  m_onPath.insert(IdentityOf(*cert));
  sxSaveSigned(cert);
  m_path.Add(cert);
}

void PathSearch::Pop() {
  m_onPath.erase(m_onPath.find(IdentityOf(Top())));
  m_path.Del(m_path.Top());
}

void PathSearch::SetPath(const sxCerts &path) {
  while (m_path.Count() > 1) Pop();
  for (int i = 1; i <= path.Top(); ++i) Push(path.Get(i));
}
