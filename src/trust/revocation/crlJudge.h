/// @file
/// CrlJudge: what the CRLs that are at hand say of a certificate, and which ones would have to be obtained.
///
/// It reads memory and nothing else, and takes no time: whoever asks obtains what is needed and asks again, until
/// nothing is needed any more.
#ifndef KXCERT_SRC_TRUST_REVOCATION_CRLJUDGE_H_
#define KXCERT_SRC_TRUST_REVOCATION_CRLJUDGE_H_

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "kxcert/cert/sxGeneralName.h"
#include "trust/revocation/crlMemory.h"
#include "trust/revocation/crlPlaces.h"
#include "trust/revocation/crlScope.h"
#include "trust/revocation/revocationPath.h"

/// Where something may be obtained from.
enum class CrlFrom {
  kAnywhere,  ///< from disk, and where that has nothing in its time, fetched
  kDisk,
  kNetwork,
};

/// Something that is not at hand.
struct CrlNeed {
  std::string name;                       ///< of the answer
  std::string key;                        ///< of CrlMemory
  sxGeneralName place;                    ///< where it stands on disk and is fetched from
  sxStatusSource kind;                    ///< a CRL, or one that updates another
  int level;                              ///< of the certificate that it is needed for
  std::shared_ptr<const CrlSet> seen;     ///< that memory has, and that does not do; null: none
  std::shared_ptr<const HeldCrl> unread;  ///< it is at hand, and its signature has to be verified where it takes long
  CrlFrom from = CrlFrom::kAnywhere;
};

/// What became of a need.
struct CrlAnswer {
  bool isDone = false;                    ///< false: on its way
  sxValidationRC code = sxValidation_OK;  ///< else why it is not to be had
  std::string reason;                     ///< for people
  sxStatusOrigin origin = sxStatusOrigin::kNone;
  int64_t costMs = 0;
  std::shared_ptr<const CrlSet> set;  ///< what came, also when memory has let go of it
};
using CrlAnswers = std::map<std::string, CrlAnswer>;  ///< by the name of the need

struct CertStatus {
  enum State { kGood, kRevoked, kUnknown, kPending };
  State state = kUnknown;
  sxValidationRC code = sxValidation_unknownStatus;  ///< of kRevoked and kUnknown
  bool isSaid = false;                               ///< of kUnknown: it is what a responder said
};

class CrlJudge {
 public:
  /// All lent. @param evidence  null: none is wanted
  CrlJudge(const RevocationPath &path, const CrlMemory &memory, const CrlAnswers &answers,
           const sxRevocationSettings &settings, std::vector<CrlNeed> *needs,
           std::vector<sxRevocationEvidence> *evidence)
      : m_path(path),
        m_memory(memory),
        m_answers(answers),
        m_settings(settings),
        m_needs(needs),
        m_evidence(evidence) {}

  /// @param cert  the path's at that level, or one of the same issuer
  CertStatus Judge(const sxCert &cert, int level);

 private:
  struct Candidate {
    std::shared_ptr<const HeldCrl> crl;
    sxStatusOrigin origin = sxStatusOrigin::kNone;
    const CrlPlace *place = nullptr;  // null: the caller brought it
    bool isFresh = false;
  };
  using SeenSets = std::vector<std::shared_ptr<const CrlSet>>;  // of places, in their order
  struct Usable {
    Candidate from;
    const sxCert *signer = nullptr;
    ReasonMask reasons = 0;
  };

  struct Found {
    Usable best;
    Usable late;  // past its nextUpdate: of use with an update that is not (RFC 5280, 5.2.4)
  };

  void Cover(const CrlPoint &point, bool isImplied);
  /// @param seen  gets what memory had there, or null
  template <class Use>
  void ForEachAt(const CrlPlace &place, SeenSets *seen, const Use &use) const;
  std::vector<Candidate> PushedBy(const sxDN &issuer, bool isDelta) const;
  void LookAt(const Candidate &candidate, const sxDistPoint &point, Found *found);
  void TellLate(const Usable &usable);
  void Keep(const Usable &usable, Found *found, bool isLate);
  std::vector<CrlPlace> DeltaPlaces(const sxCRL &crl) const;
  bool FindDelta(const Usable &base, const std::vector<CrlPlace> &places, Usable *best);
  bool Take(const Usable &usable, bool isLate);
  void TakeDelta(const Candidate &candidate, const Usable &base, Usable *best);
  const sxCert *SignerOf(const Candidate &candidate, const sxCert *wanted, const char **why);
  bool IsSignerGood(const RevocationPath::Signer &signer, const char **why);
  const sxCert *KnownSigner(const HeldCrl &crl, const sxDN &name, const char **why);
  const sxCert *TrySigner(const Candidate &candidate, const sxCert &signer, const char **why);
  bool Ask(const CrlPlace &place, sxStatusSource kind, const std::shared_ptr<const CrlSet> &seen);
  bool AskFrom(CrlFrom from, const CrlPlace &place, sxStatusSource kind, const std::shared_ptr<const CrlSet> &seen);
  bool AskDisk(const std::vector<CrlPlace> &places, const SeenSets &seen);
  const CrlAnswer *AnswerOf(CrlFrom from, const CrlPlace &place) const;
  const CrlAnswer *LastAnswerOf(const CrlPlace &place) const;
  void VerifyLater(const Candidate &candidate, const char **why);
  void TellFailures(const std::vector<CrlPlace> &places, sxStatusSource kind);
  bool AskAny(const std::vector<CrlPlace> &places, sxStatusSource kind, const SeenSets &seen);
  const char *TimeMisfit(const sxCRL &crl, sxValidationRC *code) const;
  bool IsFresh(const sxCRL &crl, const CrlSet *set) const;
  void Refuse(const Candidate &candidate, sxStatusSource kind, sxValidationRC code, const std::string &why);
  void Say(const Usable &usable, sxStatusSource kind, const sxRevokedEntry *entry);
  sxRevocationEvidence Describe(const Candidate &candidate, sxStatusSource kind) const;

  const RevocationPath &m_path;
  const CrlMemory &m_memory;
  const CrlAnswers &m_answers;
  const sxRevocationSettings &m_settings;
  std::vector<CrlNeed> *const m_needs;
  std::vector<sxRevocationEvidence> *const m_evidence;

  bool m_isWaiting = false;                            // for the signature of one that was just looked at
  bool m_isOfSigner = false;                           // what is judged signed a CRL itself
  std::vector<std::shared_ptr<const sxCert>> m_known;  // of KnownSigner
  std::map<const sxCert *, CertStatus> m_signers;      // that are not of the path, and were judged

  int m_numVerified = 0;

  // Of the certificate that is judged.
  const sxCert *m_cert = nullptr;
  std::shared_ptr<const CrlPoints> m_points;
  int m_level = 0;
  ReasonMask m_covered = 0;
  bool m_isRevoked = false;
  bool m_isPending = false;
  bool m_isTold = false;  // what is refused was refused before
  sxValidationRC m_code = sxValidation_unknownStatus;
};

#endif
