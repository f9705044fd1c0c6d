/// @file
/// PathSearch: follows the paths from one certificate to the roots of a holder, and has each judged.
#ifndef KXCERT_SRC_TRUST_PATHSEARCH_H_
#define KXCERT_SRC_TRUST_PATHSEARCH_H_

#include <array>
#include <chrono>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "kxcert/keys/sxPubKey.h"
#include "kxcert/trust/chainJudge.h"
#include "trust/certPool.h"
#include "trust/sharedRef.h"

class sxKeyHolder_imp;

/// Depth first, as chainJudge.h says. One object answers one question.
class PathSearch {
 public:
  /// @param question  has an end entity that is OK and a holder
  /// @param params    the question's, with the time
  PathSearch(const sxChainQuestion &question, const ValidateParams &params);
  ~PathSearch();

  void Run();

  std::vector<sxTriedPath> &Tried() { return m_tried; }
  /// Which of them the verdict is about; there is one after Run.
  size_t Best() const;
  sxSearchBound Bound() const { return m_bound; }
  std::vector<sxFailedLookup> &FailedLookups() { return m_failedLookups; }

 private:
  struct Anchor;

  void Search();
  bool StandsAsRoot(bool &isImitation);
  bool Climb();
  bool TryAnchors(const sxCert &subject, bool &goesOn);
  bool TryIssuers(const sxCert &subject, bool &goesOn);
  const char *WhyDead(const sxCert &top);
  void AskForSubCAs();
  void SearchByNames();
  bool StepByName();

  bool Judge(const Anchor &anchor);
  bool JudgeAlone(const Anchor &anchor);
  bool Keep(sxTriedPath &&path);
  void AskRevocation(sxTriedPath &path);
  void JudgeStrictly(sxTriedPath &path);
  bool EndDead(const char *ended);
  bool Stop(bool goesOn);
  bool MayEndOneMore();
  const sxTriedPath *LongestDeadEnd() const;

  bool Verifies(const sxCert &subject, const sxCert &issuer);
  bool VerifiesItself(const sxCert &cert);
  std::vector<Anchor> AnchorsNamed(const sxDN *name, const sxCert *subject);
  const std::vector<sxCert *> &IssuersOf(const sxCert &cert);
  SharedRef<sxCert> StoredIssuer(const sxDN &name);
  void TellFailure(const sxDN &name, sxStoreState state);

  sxCert &Top() const { return *m_path.Get(m_path.Top()); }
  bool IsOnPath(const sxCert &cert) const;
  void Push(sxCert *cert);
  void Pop();
  void SetPath(const sxCerts &path);

  using KeyHash = std::array<unsigned char, kPublicKeyHashLen>;
  using Identity = std::pair<uint64_t, KeyHash>;  // of the name, and of the key
  static Identity IdentityOf(const sxCert &cert);

  const sxChainQuestion &m_question;
  const ValidateParams &m_params;
  const int64_t m_now;
  const SharedRef<sxKeyHolder> m_heldHolder;  // what is asked may drop the caller's reference
  sxKeyHolder_imp &m_holder;
  sxCert &m_endEntity;
  std::vector<CertPool> m_pools;  // the question's, and what the callback brought
  sxCerts m_path;
  std::multiset<Identity> m_onPath;  // of the CAs
  std::map<std::pair<const sxCert *, KeyHash>, bool> m_verified;
  std::map<const sxCert *, std::vector<sxCert *>> m_issuers;
  std::map<const sxCert *, std::vector<sxCert *>> m_signers;  // those of them that signed it, or were on the path
  bool m_cutIssuers = false;                                  // there were more than are looked at
  std::vector<SharedRef<sxCert>> m_held;                      // what pointers above may point to
  sxCerts m_fetched;                                          // likewise
  std::vector<sxTriedPath> m_tried;
  int m_numEnded = 0;
  int m_numLookups = 0;
  const std::chrono::steady_clock::time_point m_deadline;  // of asking for revocation
  std::vector<sxFailedLookup> m_failedLookups;
  sxSearchBound m_bound = sxSearchBound::kNone;
  bool m_reachedRoot = false;
  bool m_goesByName = false;  // links of the path were not verified
  sxCerts m_longest;          // of the paths by names
};

#endif
