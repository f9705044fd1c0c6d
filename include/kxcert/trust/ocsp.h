/// @file
/// OCSP (RFC 6960, profile of RFC 5019): questions about a certificate, and what an answer is worth.
///
/// Requests and judging know no network and no clock. Asking goes through the component that the program
/// registered (platform/fetcher.h). What comes from a responder, or from a peer that brings a response along,
/// is judged in the same way, and whatever says nothing about the certificate has a result below 0.
///
/// Any thread. Values; what they hold of certificates is counted.
#ifndef KXCERT_TRUST_OCSP_H_
#define KXCERT_TRUST_OCSP_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "kxcert/cert/sxCerts.h"
#include "kxcert/platform/digest.h"
#include "kxcert/platform/fetcher.h"
#include "kxcert/trust/ocspResponse.h"

class sxRootCA;
class sxd_env;

enum sxOcspResult : int {
  // Said of the certificate by who may.
  sxOcsp_good = 0,
  sxOcsp_revoked = 1,  ///< also held (certificateHold), and never issued (RFC 6960, 2.2)
  sxOcsp_unknown = 2,
  // Said by the responder, signed by nobody (RFC 6960, 2.3).
  sxOcsp_malformedRequest = -1,
  sxOcsp_internalError = -2,
  sxOcsp_tryLater = -3,
  sxOcsp_sigRequired = -4,
  sxOcsp_unauthorized = -5,
  // Responses that are not believed, or not any more.
  sxOcsp_notDecoded = -10,
  sxOcsp_otherType = -11,
  sxOcsp_otherCert = -12,      ///< nothing in it is about the certificate
  sxOcsp_notAuthorized = -13,  ///< signed by none who may
  sxOcsp_badSignature = -14,   ///< by who may, but the signature does not verify
  sxOcsp_criticalExtension = -15,
  sxOcsp_noNonce = -16,
  sxOcsp_otherNonce = -17,
  sxOcsp_notYetValid = -18,
  sxOcsp_outOfDate = -19,
  sxOcsp_tooOld = -20,  ///< without nextUpdate
  // There is no response.
  sxOcsp_badQuestion = -30,  ///< no certificate, or the issuer is another one
  sxOcsp_noResponder = -31,  ///< nobody is named
  sxOcsp_notFetched = -32,   ///< kxFetchResult says why
  sxOcsp_timedOut = -33,     ///< the time for all responders
  sxOcsp_tooMany = -34,      ///< questions are under way
};

/// The result in words, static; "OCSP result that is not known" for any other number.
KXCERT_EXPORT const char *sxOcspResult_GetString(int result);

/// CRLReason (RFC 5280, 5.3.1) by its name, static; "not said" for -1, "not known" for any other.
KXCERT_EXPORT const char *sxOcspReason_GetString(int reason);

/// RFC 9654: random octets that a response has to repeat, so that it cannot have been made before.
enum class sxOcspNonce {
  kOff,     ///< none is sent, and none is looked at
  kSend,    ///< a response with another one is refused; one without is not: it may be made in advance
  kRequire  ///< a response without it is refused
};

constexpr int kOcspNonceLen = 32;  ///< octets (RFC 9654, 2.1)
/// Our choice: what a responder says without promising to say more is believed for a day, as a CRL would be.
constexpr int kOcspMaxAgeSec = 86400;
constexpr int kOcspStartGraceSec = 300;  ///< our choice: clocks differ

/// Members may be added at the end.
struct sxOcspPolicy {
  sxOcspNonce nonce = sxOcspNonce::kOff;
  int certIdDigest = sx_md_sha1;           ///< of requests: this or another known one
  int startGraceSec = kOcspStartGraceSec;  ///< that thisUpdate and producedAt may lie ahead
  int endGraceSec = 0;                     ///< after nextUpdate
  int maxAgeSec = kOcspMaxAgeSec;          ///< since thisUpdate, of what has no nextUpdate
};

/// What a response is held against. Certificates are borrowed.
struct sxOcspQuestion {
  sxCert *cert = nullptr;
  sxCert *issuer = nullptr;
  /// The responder's certificate that is configured: what it signed is believed, although the issuer made it no
  /// responder. Null: none.
  sxCert *responder = nullptr;
  std::vector<unsigned char> nonce;  ///< that was sent; empty: none, or nobody asked
  sxOcspPolicy policy;
  int64_t timeSec = 0;  ///< seconds since 1970-01-01 00:00 UTC
};

enum class sxOcspSigner { kNone, kIssuer, kDelegate, kConfigured };
KXCERT_EXPORT const char *sxOcspSigner_GetString(sxOcspSigner signer);  ///< static

/// What comes of it. Only the first two members mean anything below 0, but for the times of a response that was
/// signed by who may and is not valid at the time.
struct sxOcspAnswer {
  sxOcspResult result = sxOcsp_badQuestion;
  const char *why = "";              ///< static: what decided it, where the result leaves that open
  int64_t revokedSec = kOcspNoTime;  ///< of a revoked one
  int reason = -1;                   ///< likewise: sxOcspReason_GetString
  int64_t producedAtSec = kOcspNoTime;
  int64_t thisUpdateSec = kOcspNoTime;
  int64_t nextUpdateSec = kOcspNoTime;
  /// The last second at which it may be used: nextUpdate, or the greatest age; no later than the signer's certificate.
  int64_t holdsUntilSec = kOcspNoTime;
  sxOcspSigner signer = sxOcspSigner::kNone;
  sxCerts signerCert;  ///< of a delegate: its certificate; else empty
  /// The delegate may be revoked itself, and its certificate does not say that this need not be asked (RFC 6960,
  /// 4.2.2.2.1): until it was, the answer is not to be used. OCSP is no way to find out.
  bool signerMustBeChecked = false;
  bool hadNonce = false;  ///< it repeats the nonce that was sent
};

/// Judges a response: is it about this certificate, by who may speak for its issuer, intact, and valid at the time?
/// Who may: the issuer itself; a certificate that the response brings, issued by the issuer's key for OCSPSigning,
/// in date; and the certificate that is configured (RFC 6960, 4.2.2.2).
///
/// Of several statements about the certificate the one with the latest thisUpdate counts that is not yet to come;
/// of equal ones revoked before unknown before good.
KXCERT_EXPORT sxOcspAnswer sxOcsp_Judge(const unsigned char *octets, size_t len, const sxOcspQuestion &question);

/// Whether an answer with a result of 0 or more is still one at @p timeSec under that policy: sets its
/// holdsUntilSec. @return its result, or why it is none any more
KXCERT_EXPORT sxOcspResult sxOcsp_JudgeTime(sxOcspAnswer &answer, const sxOcspPolicy &policy, int64_t timeSec);

/// A certificate and who issued it, borrowed.
struct sxOcspSubject {
  const sxCert *cert = nullptr;
  const sxCert *issuer = nullptr;
};

constexpr size_t kMaxOcspSubjects = 64;  ///< of one request

struct sxOcspRequest {
  std::vector<unsigned char> der;    ///< OCSPRequest (RFC 6960, 4.1.1), not signed
  std::vector<unsigned char> nonce;  ///< that is in it; empty: none
};

/// @retval  0  done
/// @retval -1  none or too many subjects, a certificate that is missing or not its issuer's, an unknown digest, no
///             random octets (one line logged); @p request untouched
KXCERT_EXPORT int sxOcsp_MakeRequest(std::span<const sxOcspSubject> subjects, const sxOcspPolicy &policy,
                                     sxOcspRequest *request);

/// The URL that asks by GET (RFC 6960, A.1); empty when it is longer than 255 octets (RFC 5019, 5) or the
/// responder's own has a query: the request is then to be posted.
KXCERT_EXPORT std::string sxOcsp_GetUrl(const std::string &responderUrl, std::span<const unsigned char> request);

struct sxOcspResponder {
  std::string url;
  sxCerts cert;             ///< the one that is configured for it, or none
  bool configured = false;  ///< else a certificate names it
};

constexpr size_t kMaxOcspConfigured = 8;  ///< responders of a root that are asked
constexpr size_t kMaxOcspNamed = 4;       ///< of those that a certificate names

/// Whom to ask, in this order: those of the root, then those that the certificate names (http alone). Each URL once.
/// @param root  may be null
KXCERT_EXPORT std::vector<sxOcspResponder> sxOcsp_RespondersOf(const sxCert &cert, const sxRootCA *root);

constexpr int kOcspTimeoutMs = 60000;           ///< for all responders
constexpr int kOcspResponderTimeoutMs = 10000;  ///< for one
constexpr int kMaxOcspUnderWay = 16384;         ///< questions that wait for an answer, in the process

/// Members may be added at the end.
struct sxOcspAsk {
  sxCert *cert = nullptr;  ///< borrowed for the call that asks
  sxCert *issuer = nullptr;
  /// Asked one after the other, until one says good or revoked: by GET where sxOcsp_GetUrl gives a URL, and by POST
  /// where not, or where GET was answered with nothing of use and not by silence.
  std::vector<sxOcspResponder> responders;
  sxOcspPolicy policy;
  int timeoutMs = kOcspTimeoutMs;
  int responderTimeoutMs = kOcspResponderTimeoutMs;
  bool useMemory = true;  ///< look there first; what is fetched is kept in any case
  /// As of which time answers are judged, in seconds since 1970-01-01 00:00 UTC; unless set, the clock's.
  int64_t timeSec = kOcspNoTime;
};

/// What one responder said.
struct sxOcspAsked {
  std::string url;  ///< the responder's own
  bool configured = false;
  bool posted = false;  ///< else by GET
  sxOcspResult result = sxOcsp_notFetched;
  std::string why;  ///< printable: of the answer or of the fetch
  kxFetchResult fetch = kxFetch_OK;
  int costMs = 0;
};

using sxOcspKept = std::shared_ptr<const std::vector<unsigned char>>;

struct sxOcspOutcome {
  /// The first that is good or revoked; without one: unknown when somebody says that, else what the first one sent
  /// that sent anything, else why nothing came.
  sxOcspAnswer answer;
  std::vector<sxOcspAsked> asked;  ///< in order
  bool fromMemory = false;
  sxOcspKept octets;  ///< of the response that the answer is from; null: there is none
};

using sxOcspDone = std::function<void(const sxOcspOutcome &outcome)>;

/// A question that waits for its answer.
class KXCERT_EXPORT sxOcspTask {
 public:
  virtual ~sxOcspTask();
  /// Any thread. On the environment's the completion is not called after this; elsewhere it may be in progress.
  virtual void Cancel() = 0;
};

/// Asks. @p done is called once, on the environment's thread and never within this call, after
/// sxOcspAsk::timeoutMs at the latest; not any more after Cancel, or when the environment went. Equal questions
/// on one environment are asked once. Any thread, as long as the environment is there.
/// @param[out] task  may be null; untouched unless the result is sxOcsp_good
/// @return sxOcsp_good: @p done will be called; else it will not: badQuestion, tooMany
KXCERT_EXPORT sxOcspResult sxOcsp_Ask(sxd_env *env, const sxOcspAsk &ask, sxOcspDone done,
                                      std::shared_ptr<sxOcspTask> *task = nullptr);

/// The same, and waits for it with an environment of its own. No thread that runs an environment.
KXCERT_EXPORT sxOcspOutcome sxOcsp_Wait(const sxOcspAsk &ask);

// Answers good and revoked are remembered until they do not hold any more, in a process-wide memory: bounded, what
// was used longest ago goes first. A newer one replaces an older one and never the reverse.

/// What the memory has about a certificate, valid at the question's time and under its policy. Where a nonce is
/// required, of what repeated one when it came. Waits for nobody who verifies.
/// @param[out] octets  of the response; may be null
/// @return false: nothing
KXCERT_EXPORT bool sxOcspMemory_Find(const sxOcspQuestion &question, sxOcspAnswer *answer,
                                     sxOcspKept *octets = nullptr);

/// Judges a response that was stored, or that a peer brought, and remembers it when it says good or revoked. When
/// it says so and the memory has a newer one that is valid, the answer is that one: an old response cannot
/// take back what was learnt since.
/// @param[out] kept  the response that the answer is from; null for any other result; may be null
KXCERT_EXPORT sxOcspAnswer sxOcspMemory_Take(const unsigned char *octets, size_t len, const sxOcspQuestion &question,
                                             sxOcspKept *kept = nullptr);

struct sxOcspMemoryStats {
  uint64_t hits;
  uint64_t misses;
  size_t entries;  ///< held now
  size_t octets;   ///< of their responses
};

/// Empties it. 4096 entries and 16 MiB of responses to begin with; 0 of either switches it off.
KXCERT_EXPORT void sxOcspMemory_SetLimits(size_t maxEntries, size_t maxOctets);
KXCERT_EXPORT void sxOcspMemory_Clear();
KXCERT_EXPORT sxOcspMemoryStats sxOcspMemory_Stats();

#endif
