// The verdict about one named certificate.
#include "kxcert/trust/chainJudge.h"

#include <algorithm>
#include <memory>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

#include "kxcert/cert/sxDN.h"
#include "kxcert/keys/sxPubKey.h"
#include "kxcert/platform/log.h"
#include "kxcert/trust/fixChain.h"
#include "kxcert/trust/sxRootCA.h"
#include "trust/certPool.h"
#include "trust/rules.h"
#include "trust/sharedRef.h"
#include "trust/sxKeyHolder_imp.h"

namespace {

constexpr int kMaxText = 16384;  // three names of 4096 octets fit
// Of one issuer: all that was ever on the path, verified or by name, and as many again as may fail.
constexpr size_t kMaxCandidates = 2 * (kMaxChainLevels + kMaxDetours);

using RootRef = SharedRef<sxRootCA>;
using CertRef = SharedRef<sxCert>;

RootRef FindRoot(sxKeyHolder &holder, const sxDN *name) {
  return name != nullptr ? RootRef::Adopt(holder.RootCA_Lookup_Save(*name)) : RootRef();
}

void AddReference(sxCerts &path, sxCert *cert) {
  sxSaveSigned(cert);
  path.Add(cert);
}

std::string_view OctetsOf(const sxCert &cert) { return {reinterpret_cast<const char *>(cert.GetBuf()), cert.BufLen()}; }

bool VerifiesItself(const sxCert &cert) { return sxTrust_IsSelfIssued(cert) && cert.VerifySig(cert.PubKey()) == 0; }

// What the end entity has in common with a root of its name.
enum class Likeness { kNone, kKey, kOctets };

Likeness LikenessOf(const sxCert &cert, const sxCert &rootCert) {
  if (cert == rootCert) return Likeness::kOctets;
  return sxPubKey_Equal(cert.PubKey(), rootCert.PubKey()) == 1 ? Likeness::kKey : Likeness::kNone;
}

Likeness LikenessOf(const sxCert &cert, const sxRootCA &root) {
  Likeness most = root.Cert() != nullptr ? LikenessOf(cert, *root.Cert()) : Likeness::kNone;
  const sxCerts *others = root.AdditionalCerts();
  for (int i = 0; others != nullptr && i < others->Slots(); ++i) {
    if (others->Get(i) != nullptr) most = std::max(most, LikenessOf(cert, *others->Get(i)));
  }
  return most;
}

// Looks for the path: depth first, each certificate on it once, so that neither loops nor crowds of
// namesakes make it long.
class PathSearch {
 public:
  /// @param question  has an end entity and a holder
  PathSearch(const sxChainQuestion &question, int64_t now)
      : m_holder(*question.holder), m_pool(question.pool, now), m_endEntity(*question.endEntity) {}

  /// Sets the verdict's path and root.
  void Run(sxChainVerdict &verdict) {
    Search();
    verdict.path.Swap(m_path);
    verdict.root = m_root.Release();
  }

 private:
  void Search() {
    AddReference(m_path, &m_endEntity);
    m_tried.insert(OctetsOf(m_endEntity));
    RootRef namesake = FindRoot(m_holder, m_endEntity.Subject());
    const Likeness likeness = namesake ? LikenessOf(m_endEntity, *namesake) : Likeness::kNone;
    if (likeness == Likeness::kKey) return;
    if (likeness == Likeness::kOctets) {
      if (!EndInRoot()) m_root = std::move(namesake);  // one that signed itself stands there twice
      return;
    }
    if (Climb() || Repair()) return;
    const sxCerts verified = m_longest;
    while (!m_root && GoOnByName()) Climb();
    if (!m_root) m_path = verified;
  }

  sxCert &Top() const { return *m_path.Get(m_path.Top()); }
  bool MayGoOn() const { return m_path.Count() < kMaxChainLevels && !VerifiesItself(Top()); }

  // From the top of the path to a root, over signatures that verify. Without one the path is as before.
  bool Climb() {
    if (m_root || EndInRoot()) return true;
    if (MayGoOn() && ClimbOn()) return true;
    if (m_path.Count() > m_longest.Count()) m_longest = m_path;
    return false;
  }

  bool ClimbOn() {
    const sxCert &subject = Top();
    for (sxCert *issuer : IssuersOf(subject)) {
      if (m_numDetours > kMaxDetours) return false;
      if (m_tried.contains(OctetsOf(*issuer))) continue;
      if (subject.VerifySig(issuer->PubKey()) == 0) {
        Push(issuer);
        if (Climb()) return true;
        m_path.Del(m_path.Top());
      }
      ++m_numDetours;
    }
    return false;
  }

  bool EndInRoot() {
    RootRef found = FindRoot(m_holder, Top().Issuer());
    sxCert *signer = sxTrust_SignerOf(found.get(), Top());
    if (signer == nullptr) return false;
    AddReference(m_path, signer);
    m_root = std::move(found);
    return true;
  }

  void Push(sxCert *issuer) {
    m_tried.insert(OctetsOf(*issuer));
    AddReference(m_path, issuer);
  }

  std::vector<sxCert *> IssuersOf(const sxCert &cert) {
    std::vector<sxCert *> issuers = m_pool.IssuersOf(cert, kMaxCandidates);
    CertRef cached =
        CertRef::Adopt(cert.Issuer() != nullptr ? m_holder.GetIntermediateCA_Save(*cert.Issuer()) : nullptr);
    if (cached) {
      issuers.push_back(cached.get());
      m_cached.push_back(std::move(cached));
    }
    return issuers;
  }

  // With the holder's own chains and the sub-CAs of the callback. Nobody has verified these.
  bool Repair() {
    sxCerts repaired = m_longest;
    RootRef found(sxCert_FixChain(&repaired, m_holder));  // which the chain keeps
    const sxCert *first = repaired.Get(0);
    // An own key's root is trusted for that key; here counts what the holder trusts now.
    if (!found || !IsHolders(*found) || first == nullptr || !(*first == m_endEntity)) return false;
    m_path.Swap(repaired);
    m_root = std::move(found);
    return true;
  }

  bool IsHolders(const sxRootCA &root) {
    const sxDN *name = root.DN();
    return name != nullptr &&
           (FindRoot(m_holder, name) == &root || RootRef::To([this, name] { return m_holder.CAByDN(name); }) == &root);
  }

  // Puts the first namesake of the missing issuer on the path, so that the checks can say what is wrong.
  bool GoOnByName() {
    m_path = m_longest;
    if (!MayGoOn()) return false;
    for (sxCert *issuer : IssuersOf(Top())) {
      if (m_tried.contains(OctetsOf(*issuer))) continue;
      RootRef found = FindRoot(m_holder, issuer->Subject());
      if (sxTrust_IsTrustedCA(found.get(), *issuer)) {
        issuer = found->Cert();
        m_root = std::move(found);
      }
      Push(issuer);
      return true;
    }
    return false;
  }

  sxKeyHolder &m_holder;
  const CertPool m_pool;
  sxCert &m_endEntity;
  sxCerts m_path;
  RootRef m_root;  // the path's last certificate is one of this root's; null: no trust
  std::vector<CertRef> m_cached;
  std::set<std::string_view> m_tried;  // octets of what was on the path once
  sxCerts m_longest;
  int m_numDetours = 0;
};

void Validate(const sxChainQuestion &question, const ValidateParams &params, sxChainVerdict &verdict) {
  std::vector<char> text(kMaxText);
  if (verdict.root == nullptr) {
    verdict.code = sxValidation_notTrusted;
    verdict.level = verdict.path.Top();
    sxCert_ValErrToStr(&verdict.path, verdict.code, verdict.level, text.data(), kMaxText);
    tderrorFunc("CERT", 3, 0, "sxJudgeChain: %s", text.data());
  } else {
    // Always the signatures: a repaired path, or one by names, has some that nobody has verified.
    verdict.code = sxCert_ValCerts(verdict.root, &verdict.path, nullptr, nullptr, params, text.data(), kMaxText,
                                   &verdict.level, nullptr, nullptr, question.flags | sxValidate_signatures);
    if (verdict.code == sxValidation_async) {  // nobody is there to be called back
      verdict.code = sxValidation_unknownStatus;
      sxCert_ValErrToStr(&verdict.path, verdict.code, verdict.level, text.data(), kMaxText);
    }
  }
  verdict.text = verdict.code == sxValidation_OK ? sxValidationRC_GetString(sxValidation_OK) : text.data();
}

sxFinding RevocationFinding(int flags, const sxChainVerdict &verdict) {
  sxFinding finding{verdict.code, 0, "revocation", "RFC 5280, 6.3", sxFindingResult::kPassed, nullptr, {}, nullptr};
  const bool isAsked = (flags & sxValidate_revocation) != 0;
  if (!isAsked || (verdict.code != sxValidation_OK && RuleOf(verdict.code) != nullptr)) {
    finding.code = sxValidation_unknownStatus;
    finding.result = sxFindingResult::kNotChecked;
    finding.reason = isAsked ? "another rule failed before" : "nobody asked for it";
  } else if (verdict.code != sxValidation_OK) {
    finding.result = sxFindingResult::kFailed;
    finding.level = verdict.level;
    finding.advice = "Ask the CA for the certificate's status.";
  }
  return finding;
}

}  // namespace

sxChainVerdict::~sxChainVerdict() { sxFreePKobj(root); }

sxValidationRC sxJudgeChain(const sxChainQuestion &question, sxChainVerdict &verdict) {
  sxChainVerdict result;  // the question may refer to what the verdict holds
  if (question.endEntity == nullptr || question.endEntity->OK() == 0 || question.holder == nullptr) {
    tderrorFunc("CERT", 1, 0, "%s", "sxJudgeChain: no end entity that is OK, or no key holder");
    result.text = sxValidationRC_GetString(result.code);
  } else {
    ValidateParams params(question.params);
    // One time for all that follows.
    params.Set_time(question.time != kPresentTime ? question.time : params.Time());
    PathSearch(question, params.Time()).Run(result);
    Validate(question, params, result);
    if (question.wantsFindings) {
      result.findings = sxFindAll(result.path, result.root, params, question.flags | sxValidate_signatures);
      result.findings.push_back(RevocationFinding(question.flags, result));
    }
  }
  verdict.path.Swap(result.path);
  std::swap(verdict.root, result.root);
  verdict.code = result.code;
  verdict.level = result.level;
  verdict.text = result.text;
  verdict.findings.swap(result.findings);
  return verdict.code;
}
