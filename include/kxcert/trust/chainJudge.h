/// @file
/// The verdict about one certificate: is there a path from it to a trusted root, and is the path valid?
///
/// This is the call for a program that has a peer's certificate in hand. It judges the certificate that
/// is named and no other; sxKeyHolder::IsChainTrusted chooses by itself what its answer is about.
///
/// A question only reads what it names, so that any number of threads may ask about the same objects as
/// long as sxKeyHolder.h lets them look up. A verdict is a value of one thread.
#ifndef KXCERT_TRUST_CHAINJUDGE_H_
#define KXCERT_TRUST_CHAINJUDGE_H_

#include <cstdint>
#include <vector>

#include "kxcert/cert/sxCerts.h"
#include "kxcert/foundation/sxString.h"
#include "kxcert/store/storeFolder.h"
#include "kxcert/trust/ValidateParams.h"
#include "kxcert/trust/revocation.h"
#include "kxcert/trust/strictRules.h"
#include "kxcert/trust/sxFinding.h"
#include "kxcert/trust/sxValidation.h"

class Cert_Cache_DB;
class sxKeyHolder;
class sxRootCA;

/// What one question may cost, whatever is in the pool: signatures that are verified on the search, the
/// same one with the same key counted once, ...
constexpr int kMaxJudgeVerifications = 256;
/// ... and paths that are followed to their end, dead ends among them.
constexpr int kMaxJudgePaths = 64;
/// Names that one question looks up in a database; beyond that it goes on without.
constexpr int kMaxJudgeLookups = 256;

enum class sxSearchBound { kNone, kVerifications, kPaths };

/// Everything is borrowed for the call. Members may be added at the end.
struct sxChainQuestion {
  sxCert *endEntity = nullptr;  ///< the certificate that is judged
  /// Where issuers are taken from: any order, holes, copies and strangers do no harm, and the end entity
  /// may be among them. Null: none. The verdict does not depend on the order.
  const sxCerts *pool = nullptr;
  /// The roots that are trusted; its intermediates and the chains of its own keys are tried as well.
  sxKeyHolder *holder = nullptr;
  ValidateParams params;
  /// sxValidationFlags. What is left out is not checked. Where sxValidate_revocation stands without a
  /// revocation function the code is -965.
  int flags = sxValidate_all;
  /// Seconds since 1970-01-01 00:00 UTC that dates are compared with. kPresentTime: what @c params
  /// say, which is the clock's unless set.
  int64_t time = kPresentTime;
  bool wantsFindings = false;  ///< a verdict alone is cheaper
  /// Where issuers are taken from that neither pool nor holder have: the certificate that is stored under the
  /// issuer's name, unless the time of the question has reached its expiry. Read on the caller's thread. Null: none.
  Cert_Cache_DB *intermediates = nullptr;
  /// Revocation, where sxRevocation_Install was called (revocation.h) and the flags ask for it: OCSP responses that
  /// the peer brought (CRLs are pushed before), whether anything is fetched, and the time for all paths together.
  const sxOcspResponses *ocspResponses = nullptr;
  bool mayFetch = true;
  int revocationTimeoutMs = kRevocationTimeoutMs;
  /// Rules beyond those of sxValidation.h; which critical extensions count as known with them stands in strictRules.h.
  sxStrictQuestion strict = {};
};

/// A path that was followed to its end. A value; copies share the certificates.
struct sxTriedPath {
  sxCerts certs;  ///< the end entity first; with a root, its certificate last
  /// That the path ends in, lent: it lives as long as @c certs. Null for a dead end.
  sxRootCA *root = nullptr;
  sxValidationRC code = sxValidation_notTrusted;
  int level = -1;                              ///< as sxCert_ValCerts says; the top of a dead end
  sxString text;                               ///< the code's text; when it failed, the facts as well, a line each
  const char *ended = nullptr;                 ///< static: why it goes no further
  const char *rule = nullptr;                  ///< static: the strict rule that decided, when it was one
  std::vector<sxRevocationEvidence> evidence;  ///< what was looked at for revocation, when it came to that
};

/// A record of the question's database that could be of no use although it has the name that was looked up. A path may
/// be missing for it.
struct sxFailedLookup {
  sxString name;  ///< of the issuer, as text
  sxString key;   ///< of the record
  /// kUnreadable: what it holds is not known (rights, a disk that fails). Else kTooShort, kNotDecoded or kOtherKey.
  sxStoreState state;
};

/// Members may be added at the end.
struct KXCERT_EXPORT sxChainVerdict {
  sxChainVerdict() = default;
  sxChainVerdict(const sxChainVerdict &) = delete;
  sxChainVerdict &operator=(const sxChainVerdict &) = delete;
  ~sxChainVerdict();

  /// All of it as a JSON object on one line; the same verdict gives the same octets. Names are anyone's:
  /// they are escaped, and control characters never leave.
  ///
  ///     code, name, text   the code, its enumerator without "sxValidation_", its text
  ///     level              the certificate that decided, or null
  ///     message            the member text: the code's text and the facts, a line each
  ///     endEntity          subject, issuer, serial, notBefore and notAfter (seconds), sha256; or null
  ///     root               name and sha256, or null
  ///     path               of these, the end entity first
  ///     findings           rule, source, outcome, reason, code, name, text, level, facts (label, value), advice
  ///     revocation         level, source, origin, where, outcome, says, thisUpdate, nextUpdate, revokedAt (seconds, or
  ///                        null), number, signer, reason, costMs
  ///     tried              path (subject, sha256), root, code, name, text, level, message, ended
  ///     judged             which one of those "path" is, or null
  ///     rule               the strict rule that decided, or null
  ///     policies           object identifiers in dots
  ///     bound              what ended the search, or null
  sxString Json() const;

  sxValidationRC code = sxValidation_badInput;
  int level = -1;            ///< of the path: where it failed, as sxCert_ValCerts says; -1 on success
  sxString text;             ///< as the path's; and, in one more line, which bound ended the search
  sxRootCA *root = nullptr;  ///< one reference, which the verdict drops; null without trust
  /// Get(0) is the end entity, octet for octet; then its issuers. With a root, the last one is that
  /// root's certificate; without, the one whose issuer was not found. Empty for -1000.
  sxCerts path;
  /// For a question that wants them: what every rule says of every certificate of the path, behind the first
  /// failure too, and what was said of revocation. Empty for -1000.
  std::vector<sxFinding> findings;
  std::vector<sxRevocationEvidence> evidence;  ///< of the path: what was looked at for revocation
  const char *rule = nullptr;                  ///< static: the strict rule that decided, when it was one
  /// Where the rules "policies" decided and all is well: what the path is valid for (user-constrained-policy-set of RFC 5280,
  /// 6.1.5 (g)); anyPolicy stands for all.
  std::vector<sxAsnOid> policies;
  std::vector<sxTriedPath> tried;  ///< in the order of the search; empty for -1000
  int judged = -1;                 ///< which one of them @c path is
  /// What kept the search from going on. Never set beside a path that is valid.
  sxSearchBound bound = sxSearchBound::kNone;
  std::vector<sxFailedLookup> failedLookups;  ///< in the order of the search; not in the JSON
};

/// Judges one certificate. The end entity is never exchanged, not even for a root's own copy: when its
/// octets are those of a root's certificate it is trusted as it stands; when it only has a root's name
/// and key, the code is -1001, whoever signed it.
///
/// A path is made of signatures that verify. Paths are followed one after the other until one is valid,
/// none is left, a bound is reached, or what failed is the end entity's own fault, which every path has.
/// A valid one breaks neither a check that the flags ask for nor a deciding rule; where one does, the next one
/// is tried. Rules that only tell have no say in that: with and without them code, text and path are the same.
/// The order depends on the certificates alone: at each level first the roots' certificates, then the
/// pool's, then the holder's intermediates and own chains, then the database's; of the first two, those with the
/// key identifier that is wanted first, then those that are valid at the time, then by octets. No name and key
/// stands twice on a path. Where no path ends in a root, the sub-CA callback (fixChain.h) is asked once for
/// more, unless the end entity issued itself.
///
/// When none is valid, the verdict is that of the best one: a path to a root before a dead end; of paths to
/// roots the one that fails at the lowest level, since validation goes from the root down; of dead ends the
/// longest; then the one that was tried first. Where no path leads to a root, but one does by names alone,
/// that one is in the verdict, with the code of what is wrong with it.
/// @param      question  may refer to the verdict's own path
/// @param[out] verdict   replaced as a whole
/// @return the verdict's code; -1000 without an end entity that is OK or a holder; never -1
KXCERT_EXPORT sxValidationRC sxJudgeChain(const sxChainQuestion &question, sxChainVerdict &verdict);

#endif
