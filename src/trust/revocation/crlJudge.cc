#include "trust/revocation/crlJudge.h"

#include <algorithm>

#include "cert/serialText.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/asn1/sxAsnInt.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/platform/clock.h"
#include "platform/owned.h"
#include "trust/nameText.h"
#include "trust/statusCodes.h"

namespace {

// CRLs up to this size are verified where they are judged, this many: that takes about a millisecond.
constexpr unsigned int kMaxLenVerifiedAtOnce = 65536;
constexpr int kMaxVerifiedAtOnce = 2;
constexpr size_t kMaxAskedAtOnce = 4;  // places, for one question: a peer's certificates name them
constexpr size_t kMaxDeltaPlaces = 8;
constexpr char kExpired[] = "it has expired";
constexpr int kMaxRounds = 9;  // a CRL for each reason, and one more

// Grace periods are the library's where the parameters say nothing: the process's before, none after.
int64_t StartGrace(const ValidateParams &params) {
  const int grace = params.Crl_start_grace();
  return grace == kGraceDefault ? int64_t{sxCertValidate_GetDefaultGracePeriod()} : grace;
}
int64_t EndGrace(const ValidateParams &params) { return std::max(params.Crl_end_grace(), 0); }

std::string NameOf(CrlFrom from, const CrlPlace &place) {
  return from == CrlFrom::kAnywhere ? place.key : place.key + (from == CrlFrom::kDisk ? "\ndisk" : "\nnetwork");
}

}  // namespace

// RFC 5280, 6.3.3: point after point, until all reasons are covered or it is revoked; then what is at hand of the
// issuer without any point.
CertStatus CrlJudge::Judge(const sxCert &cert, int level) {
  m_cert = &cert;
  m_level = level;
  m_covered = 0;
  m_isRevoked = m_isPending = false;
  m_code = sxValidation_unknownStatus;
  m_points = CrlPointsOf(cert, m_path.Root());
  if (!m_points->isReadable) m_code = sxValidation_noValidCRL;
  for (const CrlPoint &point : m_points->points) {
    if (!m_isRevoked && m_covered != kAllReasons) Cover(point, false);
  }
  if (!m_isRevoked && m_covered != kAllReasons) Cover(ImpliedPoint(cert, m_path.Root()), true);
  if (m_isRevoked) return {CertStatus::kRevoked, sxValidation_revoked};
  if (m_isPending) return {CertStatus::kPending, m_code};
  return m_covered == kAllReasons ? CertStatus{CertStatus::kGood, sxValidation_OK}
                                  : CertStatus{CertStatus::kUnknown, m_code};
}

template <class Use>
void CrlJudge::ForEachAt(const CrlPlace &place, SeenSets *seen, const Use &use) const {
  const std::shared_ptr<const CrlSet> &set = seen->emplace_back(m_memory.Find(place.key));
  const CrlAnswer *const answer = set == nullptr || set->crls.empty() ? LastAnswerOf(place) : nullptr;
  if (answer != nullptr && answer->set != nullptr) seen->back() = answer->set;
  for (size_t i = 0; set != nullptr && i < set->crls.size(); ++i) {
    // Counted with the set, which is this thread's own: the CRL's own count is one for all threads.
    use(Candidate{{set, set->crls[i].get()}, set->origin, &place, IsFresh(set->crls[i]->Crl(), set.get())});
  }
}

// Of what is at hand for a point the newest counts, so that an old CRL which somebody brought displaces none. CRLs of
// some reasons are taken one after the other, as a directory may hold several. Where a signer alone publishes about
// itself, nobody is asked: nothing there could count.
void CrlJudge::Cover(const CrlPoint &point, bool isImplied) {
  const sxGeneralName *const named = point.point.crlIssuer.GetFirstOfType(sxGN_dn);
  const sxDN &publisher = named != nullptr ? *named->GetDN() : *m_cert->Issuer();
  const bool isOwn = m_isOfSigner && m_cert->Subject() != nullptr && m_cert->Subject()->Equal(publisher) &&
                     !publisher.Equal(*m_cert->Issuer());
  for (int round = 0; round < kMaxRounds && !m_isRevoked && m_covered != kAllReasons; ++round) {
    m_isTold = round > 0;
    m_isWaiting = false;
    Found found;
    for (const Candidate &pushed : PushedBy(publisher, false)) { LookAt(pushed, point.point, &found); }
    SeenSets seen;
    for (const CrlPlace &place : point.places) {
      ForEachAt(place, &seen, [&](const Candidate &candidate) { LookAt(candidate, point.point, &found); });
    }
    if (round == 0) TellFailures(point.places, sxStatusSource::kCrl);
    const bool mayAsk = !isImplied && !isOwn && round == 0 && !found.best.from.isFresh;
    if (mayAsk && AskAny(point.places, sxStatusSource::kCrl, seen)) break;
    const bool isBrought = found.best.signer != nullptr && found.best.from.place == nullptr;
    if (isBrought && !isImplied && AskDisk(point.places, seen)) break;
    if (m_isWaiting) break;  // it may be a newer one
    const bool isLate = found.best.signer == nullptr;
    if (!Take(isLate ? found.late : found.best, isLate)) break;
  }
  m_isTold = false;
}

// Asks for the first of the places of one thing that was not asked yet. @return it has to be waited for
bool CrlJudge::AskAny(const std::vector<CrlPlace> &places, sxStatusSource kind, const SeenSets &seen) {
  for (size_t i = 0; i < places.size(); ++i) {
    if (Ask(places[i], kind, seen[i])) return true;
  }
  return false;
}

std::vector<CrlJudge::Candidate> CrlJudge::PushedBy(const sxDN &issuer, bool isDelta) const {
  std::vector<Candidate> found;
  for (const std::shared_ptr<const HeldCrl> &crl : m_memory.PushedBy(issuer)) {
    if (crl->Crl().IsDelta() != isDelta) continue;
    found.push_back({crl, sxStatusOrigin::kCaller, nullptr, IsFresh(crl->Crl(), nullptr)});
  }
  return found;
}

// What is on disk, and does not do, keeps nobody from fetching.
// @return it has to be waited for
bool CrlJudge::Ask(const CrlPlace &place, sxStatusSource kind, const std::shared_ptr<const CrlSet> &seen) {
  if (AskFrom(CrlFrom::kAnywhere, place, kind, seen)) return true;
  const CrlAnswer &answer = *AnswerOf(CrlFrom::kAnywhere, place);
  const bool isOfDisk = answer.code == sxValidation_OK && answer.origin == sxStatusOrigin::kDisk;
  return isOfDisk && AskFrom(CrlFrom::kNetwork, place, kind, seen);
}

bool CrlJudge::AskFrom(CrlFrom from, const CrlPlace &place, sxStatusSource kind,
                       const std::shared_ptr<const CrlSet> &seen) {
  const CrlAnswer *const answer = AnswerOf(from, place);
  if (answer == nullptr) {
    const auto isPlace = [](const CrlNeed &need) { return need.unread == nullptr; };
    const auto isOnItsWay = [](const auto &known) { return !known.second.isDone; };
    const auto numAsked = std::ranges::count_if(*m_needs, isPlace) + std::ranges::count_if(m_answers, isOnItsWay);
    const std::string name = NameOf(from, place);
    const auto isIt = [&name](const CrlNeed &need) { return need.name == name; };
    const bool mayAsk = static_cast<size_t>(numAsked) < kMaxAskedAtOnce && std::ranges::none_of(*m_needs, isIt);
    if (mayAsk) m_needs->push_back({name, place.key, place.name, kind, m_level, seen, nullptr, from});
    return m_isPending = true;
  }
  if (!answer->isDone) return m_isPending = true;
  if (answer->code == sxValidation_OK) return false;  // what came was looked at
  if (kind == sxStatusSource::kCrl) m_code = sxWorseStatus(m_code, answer->code);
  return false;
}

// Somebody brought what counts; the disk may have what was issued since. Memory knows where it has nothing.
bool CrlJudge::AskDisk(const std::vector<CrlPlace> &places, const SeenSets &seen) {
  if (m_path.Root().CrlTo() == sxCrlTo_memory) return false;
  for (size_t i = 0; i < places.size(); ++i) {
    if (seen[i] != nullptr || AnswerOf(CrlFrom::kAnywhere, places[i]) != nullptr) continue;
    const CrlAnswer *const answer = AnswerOf(CrlFrom::kDisk, places[i]);
    if (answer != nullptr && answer->isDone) continue;
    return AskFrom(CrlFrom::kDisk, places[i], sxStatusSource::kCrl, nullptr);
  }
  return false;
}

const CrlAnswer *CrlJudge::AnswerOf(CrlFrom from, const CrlPlace &place) const {
  if (m_answers.empty()) return nullptr;
  const auto known = m_answers.find(NameOf(from, place));
  return known != m_answers.end() ? &known->second : nullptr;
}

const CrlAnswer *CrlJudge::LastAnswerOf(const CrlPlace &place) const {
  for (const CrlFrom from : {CrlFrom::kNetwork, CrlFrom::kAnywhere, CrlFrom::kDisk}) {
    if (const CrlAnswer *answer = AnswerOf(from, place)) return answer;
  }
  return nullptr;
}

// What was asked for in vain, also where another place had it.
void CrlJudge::TellFailures(const std::vector<CrlPlace> &places, sxStatusSource kind) {
  if (m_evidence == nullptr || m_answers.empty()) return;
  for (const CrlPlace &place : places) {
    const CrlAnswer *const last = LastAnswerOf(place);
    if (last == nullptr || !last->isDone || last->code == sxValidation_OK) continue;
    const CrlAnswer &answer = *last;
    sxRevocationEvidence &said = m_evidence->emplace_back();
    said.level = m_level;
    said.source = kind;
    said.origin = answer.origin;
    said.where = sxPlaceText(place.name);
    said.outcome = answer.reason;
    said.costMs = answer.costMs;
  }
}

bool CrlJudge::IsFresh(const sxCRL &crl, const CrlSet *set) const {
  if (crl.HasNextUpdate()) return m_path.NowSec() < crl.NextUpdate() || !m_path.Params().Check_next_upd();
  return set == nullptr || kxClock_Now() < set->obtainedSec + m_settings.undatedSec;
}

const char *CrlJudge::TimeMisfit(const sxCRL &crl, sxValidationRC *code) const {
  const ValidateParams &params = m_path.Params();
  const int64_t nowSec = m_path.NowSec();
  *code = sxValidation_noValidCRL;
  if (crl.ThisUpdate() == kCrlTimeUnreadable) return "its thisUpdate cannot be read";
  if (crl.HasNextUpdate() && crl.NextUpdate() == kCrlTimeUnreadable) return "its nextUpdate cannot be read";
  *code = sxValidation_crlNotYetValid;
  if (params.Check_this_upd() && nowSec < crl.ThisUpdate() - StartGrace(params)) return "it is not valid yet";
  *code = sxValidation_crlExpired;
  const bool isLate = crl.HasNextUpdate() && nowSec > crl.NextUpdate() + EndGrace(params);
  return params.Check_next_upd() && isLate ? kExpired : nullptr;
}

// Whose key verifies it: nearly always the issuer's of the certificate.
const sxCert *CrlJudge::SignerOf(const Candidate &candidate, const sxCert *wanted, const char **why) {
  *why = "nobody who is trusted here signed it";
  if (wanted != nullptr) return TrySigner(candidate, *wanted, why);
  const sxCert *const issuer = m_path.IssuerOf(m_level);
  if (issuer != nullptr && TrySigner(candidate, *issuer, why) != nullptr) return issuer;
  const sxDN &name = *candidate.crl->Crl().Issuer();
  for (const sxCert *signer : m_path.Named(name, m_level)) {
    if (TrySigner(candidate, *signer, why) != nullptr) return signer;
  }
  if (const sxCert *known = KnownSigner(*candidate.crl, name, why)) return known;
  // Certificates of the pool would have to be verified as well.
  if (m_path.HasPool()) VerifyLater(candidate, why);
  return nullptr;
}

// Who verified it before, on a path that had more certificates, when this path's issued that one as well.
const sxCert *CrlJudge::KnownSigner(const HeldCrl &crl, const sxDN &name, const char **why) {
  const sxOctetView octets = crl.Signer();
  if (octets.empty()) return nullptr;
  const auto isIt = [octets](const auto &known) { return sxEqual({known->GetBuf(), known->BufLen()}, octets); };
  auto cert = std::ranges::find_if(m_known, isIt);
  if (cert == m_known.end()) {
    std::shared_ptr<const sxCert> read(sxCert_Decode(octets.data(), sxLen(octets)), sxFreeBy<sxCert_Free>());
    if (read == nullptr) return nullptr;
    cert = m_known.insert(m_known.end(), std::move(read));
  }
  if ((*cert)->Subject() == nullptr || !(*cert)->Subject()->Equal(name)) return nullptr;
  const std::optional<int> above = m_path.LevelAbove(**cert, m_level);
  return above.has_value() && IsSignerGood({cert->get(), *above}, why) ? cert->get() : nullptr;
}

// RFC 5280, 6.3.3 (f): the path of who signed a CRL has to be valid, so the signer must not be revoked. The path's own
// are judged at their levels. Another one is believed when its issuer's CRL says that it is good, or when nothing is
// published about it but what it signed itself; the CRLs that say so are signed by the path's own.
bool CrlJudge::IsSignerGood(const RevocationPath::Signer &signer, const char **why) {
  if (signer.level == RevocationPath::kOfPath) return true;
  if (m_isOfSigner) return false;
  const auto [known, isNew] = m_signers.try_emplace(signer.cert);
  CertStatus &status = known->second;
  if (isNew) {
    CrlJudge judge(m_path, m_memory, m_answers, m_settings, m_needs, nullptr);
    judge.m_isOfSigner = true;
    status = judge.Judge(*signer.cert, signer.level);
  }
  if (status.state == CertStatus::kGood) return true;
  if (status.state == CertStatus::kUnknown && status.code == sxValidation_unknownStatus) return true;
  if (status.state == CertStatus::kPending) m_isPending = m_isWaiting = true;
  *why = status.state == CertStatus::kRevoked ? "the certificate of who signed it was revoked"
                                              : "whether the certificate of who signed it was revoked is not known";
  return false;
}

const sxCert *CrlJudge::TrySigner(const Candidate &candidate, const sxCert &signer, const char **why) {
  const HeldCrl &crl = *candidate.crl;
  const HeldCrl::Known known = crl.IsFrom(signer);
  if (known != HeldCrl::Known::kNotAsked) return known == HeldCrl::Known::kYes ? &signer : nullptr;
  if (signer.Subject() == nullptr || !signer.Subject()->Equal(*crl.Crl().Issuer())) return nullptr;
  if (crl.Crl().BufLen() <= kMaxLenVerifiedAtOnce && m_numVerified < kMaxVerifiedAtOnce) {
    ++m_numVerified;
    return crl.Verify(signer) ? &signer : nullptr;
  }
  VerifyLater(candidate, why);
  return nullptr;
}

void CrlJudge::VerifyLater(const Candidate &candidate, const char **why) {
  const std::string name =
      "verify " + std::to_string(reinterpret_cast<uintptr_t>(candidate.crl.get())) + " " + std::to_string(m_level);
  const auto asked = m_answers.find(name);
  if (asked != m_answers.end() && asked->second.isDone) return;
  const auto isIt = [&name](const CrlNeed &need) { return need.name == name; };
  if (asked == m_answers.end() && std::ranges::none_of(*m_needs, isIt)) {
    m_needs->push_back({name, {}, {}, sxStatusSource::kCrl, m_level, nullptr, candidate.crl});
  }
  *why = "its signature is still being verified";
  m_isPending = m_isWaiting = true;
}

void CrlJudge::LookAt(const Candidate &candidate, const sxDistPoint &point, Found *found) {
  const sxCRL &crl = candidate.crl->Crl();
  const sxStatusSource kind = sxStatusSource::kCrl;
  if (crl.IsDelta()) return Refuse(candidate, kind, sxValidation_noValidCRL, "it only updates another CRL");
  // Nothing that it says of itself counts before somebody who may has signed it.
  if (const char *misfit = CrlIssuerMisfit(crl, *m_cert, point)) {
    return Refuse(candidate, kind, sxValidation_noValidCRL, misfit);
  }
  const int maxLen = m_path.Params().CRL_size_validation();
  if (maxLen > 0 && crl.BufLen() > static_cast<unsigned int>(maxLen)) {
    const bool isAnyones = candidate.place == nullptr && candidate.crl->Signer().empty();
    return Refuse(candidate, kind, isAnyones ? sxValidation_noValidCRL : sxValidation_crlTooBig,
                  "it is larger than the parameters allow");
  }
  const char *why = nullptr;
  const sxCert *const signer = SignerOf(candidate, nullptr, &why);
  if (signer == nullptr && m_isOfSigner && candidate.crl->IsFrom(*m_cert) == HeldCrl::Known::kYes) return;
  if (signer == nullptr) return Refuse(candidate, kind, sxValidation_noValidCRL, why);
  const CrlFit fit = FitCrl(crl, *m_cert, point);
  if (fit.misfit != nullptr) return Refuse(candidate, kind, sxValidation_noValidCRL, fit.misfit);
  if ((fit.reasons & ~m_covered) == 0) return;  // (e)
  sxValidationRC code = sxValidation_OK;
  const char *const misfit = TimeMisfit(crl, &code);
  const bool isLate = misfit != nullptr && code == sxValidation_crlExpired && m_settings.useDeltas;
  if (misfit != nullptr && !isLate) return Refuse(candidate, kind, code, misfit);
  Keep({candidate, signer, fit.reasons}, found, isLate);
}

// The newest of its kind.
void CrlJudge::Keep(const Usable &usable, Found *found, bool isLate) {
  Usable &best = isLate ? found->late : found->best;
  const Candidate &candidate = usable.from;
  const bool isBetter = best.signer == nullptr || (candidate.isFresh && !best.from.isFresh) ||
                        (candidate.isFresh == best.from.isFresh && IsOlder(best.from.crl->Crl(), candidate.crl->Crl()));
  if (isLate) TellLate(isBetter ? best : usable);
  if (isBetter) best = usable;
}

void CrlJudge::TellLate(const Usable &usable) {
  if (usable.signer != nullptr) Refuse(usable.from, sxStatusSource::kCrl, sxValidation_crlExpired, kExpired);
}

// Where updates of a CRL are: as the certificate says, and as it says itself (RFC 5280, 4.2.1.15 and 5.2.6).
std::vector<CrlPlace> CrlJudge::DeltaPlaces(const sxCRL &crl) const {
  std::vector<CrlPlace> places = m_points->deltas;
  const sxExtGN *const own = crl.FreshestCRL();
  for (int i = 0; own != nullptr && i < own->Names().Count(); ++i) {
    CrlPlace place = CrlPlaceOf(*own->Names().Get(i), m_path.Root(), true);
    const auto isIt = [&place](const CrlPlace &known) { return known.key == place.key; };
    if (std::ranges::none_of(places, isIt)) places.push_back(std::move(place));
  }
  if (places.size() > kMaxDeltaPlaces) places.resize(kMaxDeltaPlaces);
  return places;
}

// @return false: one has to be waited for
bool CrlJudge::FindDelta(const Usable &base, const std::vector<CrlPlace> &places, Usable *best) {
  for (const Candidate &pushed : PushedBy(*base.from.crl->Crl().Issuer(), true)) TakeDelta(pushed, base, best);
  SeenSets seen;
  for (const CrlPlace &place : places) {
    ForEachAt(place, &seen, [&](const Candidate &candidate) { TakeDelta(candidate, base, best); });
  }
  TellFailures(places, sxStatusSource::kDeltaCrl);
  return best->from.isFresh || !AskAny(places, sxStatusSource::kDeltaCrl, seen);
}

// RFC 5280, 6.3.3 (i) to (l). That an update is not to be had takes nothing from a CRL that is in its time.
// @return false: there is none, it waits for its update, or is late and has none
bool CrlJudge::Take(const Usable &usable, bool isLate) {
  if (usable.signer == nullptr) return false;
  Usable delta;
  std::vector<CrlPlace> places;
  if (m_settings.useDeltas) places = DeltaPlaces(usable.from.crl->Crl());
  if (m_settings.useDeltas && (!FindDelta(usable, places, &delta) || m_isWaiting)) return false;
  if (isLate && delta.signer == nullptr) return TellLate(usable), false;
  sxRevokedEntry entry, update;
  const bool isUpdated = delta.signer != nullptr && delta.from.crl->Crl().FindEntry(*m_cert, &update);
  if (delta.signer != nullptr) Say(delta, sxStatusSource::kDeltaCrl, isUpdated ? &update : nullptr);
  const bool isListed = usable.from.crl->Crl().FindEntry(*m_cert, &entry);
  Say(usable, sxStatusSource::kCrl, isListed ? &entry : nullptr);
  if (isUpdated) entry = update;
  m_isRevoked = m_isRevoked || ((isListed || isUpdated) && entry.reason != sxCrlReason_removeFromCRL);
  m_covered |= usable.reasons;
  return true;
}

void CrlJudge::TakeDelta(const Candidate &candidate, const Usable &base, Usable *best) {
  const sxCRL &crl = candidate.crl->Crl();
  const sxStatusSource kind = sxStatusSource::kDeltaCrl;
  sxValidationRC ignored = sxValidation_OK;
  const char *misfit = DeltaMisfit(crl, base.from.crl->Crl());
  if (misfit == nullptr) misfit = TimeMisfit(crl, &ignored);
  const sxCert *signer = nullptr;
  if (misfit == nullptr) signer = SignerOf(candidate, base.signer, &misfit);
  if (signer == nullptr) return Refuse(candidate, kind, sxValidation_OK, misfit);
  const bool isBetter = best->signer == nullptr || CompareNumbers(crl.Number(), best->from.crl->Crl().Number()) > 0;
  if (isBetter) *best = {candidate, signer, base.reasons};
}

sxRevocationEvidence CrlJudge::Describe(const Candidate &candidate, sxStatusSource kind) const {
  const sxCRL &crl = candidate.crl->Crl();
  sxRevocationEvidence said;
  said.level = m_level;
  said.source = kind;
  said.origin = candidate.place == nullptr ? sxStatusOrigin::kCaller : sxStatusOrigin::kMemory;
  said.thisUpdateSec = crl.ThisUpdate();
  if (crl.HasNextUpdate()) said.nextUpdateSec = crl.NextUpdate();
  if (crl.Number() != nullptr) said.number = sxSerialText(*crl.Number());
  if (candidate.place == nullptr) return said;
  said.where = sxPlaceText(candidate.place->name);
  const CrlAnswer *const answer = LastAnswerOf(*candidate.place);
  if (answer == nullptr) return said;
  said.origin = candidate.origin;  // it came for this question, or nothing newer did
  if (answer->isDone && answer->code == sxValidation_OK) said.costMs = answer->costMs;
  return said;
}

// @param code  sxValidation_OK: it only would have said more
void CrlJudge::Refuse(const Candidate &candidate, sxStatusSource kind, sxValidationRC code, const std::string &why) {
  if (code != sxValidation_OK) m_code = sxWorseStatus(m_code, code);
  if (m_evidence == nullptr || m_isTold) return;
  m_evidence->push_back(Describe(candidate, kind));
  m_evidence->back().outcome = why;
}

void CrlJudge::Say(const Usable &usable, sxStatusSource kind, const sxRevokedEntry *entry) {
  if (m_evidence == nullptr) return;
  sxRevocationEvidence said = Describe(usable.from, kind);
  said.says = true;
  said.signer = sxNameText(usable.signer->Subject(), "");
  const bool isRemoved = entry != nullptr && entry->reason == sxCrlReason_removeFromCRL;
  said.outcome = entry == nullptr ? "good" : isRemoved ? "not on hold any more" : "revoked";
  if (entry != nullptr && !isRemoved) {
    said.revokedSec = entry->revokedSec;
    const char *const reason = sxCrlReasonText(entry->reason);
    said.reason = reason != nullptr ? reason : "";
  }
  m_evidence->push_back(std::move(said));
}
