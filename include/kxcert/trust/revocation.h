/// @file
/// Revocation: whether what a CA issued is still good, from the CRLs (RFC 5280, 6.3) and OCSP answers (RFC 6960) that
/// the caller brought, that are in memory, on disk, or fetched.
///
/// One question is about a path. Every certificate below the root is looked at, the end entity first, all side by
/// side; which source is asked for it, and in which order, the root and the parameters say. A certificate is good
/// when a source says so that was verified, never because none could be reached. Revoked outranks unknown: the first
/// certificate that is revoked decides, then the first whose status is not known.
///
/// What is at hand is judged on the caller's thread, from memory alone. All else (the disk, fetching through the
/// component of fetcher.h, decoding, verifying) is done on a thread of the process, so that no loop waits for it.
/// Whoever asks without an environment waits, at most as long as he said.
///
///     what is so                                                             code
///     a source that must be asked says revoked, a hold included              -991
///     something was to be fetched, and that failed                           -989
///     a CRL that fits has its thisUpdate in the future                       -985
///     a CRL that fits is past its nextUpdate                                 -984
///     a CRL is larger than the parameters allow                              -967
///     CRLs were found, and none may be used                                  -990
///     a source is named and switched off, or not at hand and not fetched     -986
///     nothing is published, or the responder does not know                   -965
///
/// Of several of these the upper one is the code of a certificate.
#ifndef KXCERT_TRUST_REVOCATION_H_
#define KXCERT_TRUST_REVOCATION_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "kxcert/trust/ValidateParams.h"
#include "kxcert/trust/ocsp.h"
#include "kxcert/trust/sxValidation.h"

class sxCerts;
class sxCRLs;
class sxRootCA;

/// How the CRLs below a root are looked up (sxRootCA::CrlTo).
enum sxCrlTo : int {
  sxCrlTo_memoryAndDisk = 0,
  sxCrlTo_memory = 1,
  sxCrlTo_neverFetched = 2,  ///< memory and disk; others put them there
};

/// For the whole process. Members may be added at the end.
struct sxRevocationSettings {
  bool useDeltas = true;              ///< CRLs that update others (RFC 5280, 5.2.4)
  size_t maxCrls = 1024;              ///< in memory; the one that was not used for the longest time goes
  size_t maxCrlOctets = 512U << 20;   ///< of all of them, in bytes, indexes included
  size_t maxFetchedLen = 128U << 20;  ///< of one that is fetched; the parameters may say less
  int fetchTimeoutMs = 30000;
  int undatedSec = 86400;    ///< a CRL without nextUpdate is asked for again after that long
  int diskKeepSec = 604800;  ///< on disk beyond nextUpdate, so that a refusal can say what was there
  sxOcspPolicy ocsp;         ///< of what is asked, and of what is believed
};

enum class sxStatusSource { kNone, kCrl, kDeltaCrl, kOcsp };
enum class sxStatusOrigin { kNone, kCaller, kMemory, kDisk, kNetwork };

constexpr int64_t kNoTime = INT64_MIN;

/// What was looked at for one certificate, and what came of it. All texts are printable ASCII.
struct sxRevocationEvidence {
  int level = 0;
  sxStatusSource source = sxStatusSource::kNone;
  sxStatusOrigin origin = sxStatusOrigin::kNone;  ///< where it was when it was looked at
  std::string where;                              ///< URL or name; empty: none
  std::string outcome;                            ///< "good", "revoked", or why it says nothing
  bool says = false;                              ///< good or revoked, and believed
  int64_t thisUpdateSec = kNoTime;                ///< seconds since 1970-01-01 00:00 UTC
  int64_t nextUpdateSec = kNoTime;
  int64_t revokedSec = kNoTime;
  std::string number;  ///< of a CRL: hexadecimal; empty: none
  std::string signer;  ///< whose key verified it
  std::string reason;  ///< of a revocation: as RFC 5280, 5.3.1 has it; empty: none given
  int64_t costMs = 0;  ///< from asking to the answer; 0 for what was in memory
};

/// DER of OCSP responses that a peer or an administrator brought; at most kMaxOcspResponses of them are looked at.
using sxOcspResponses = std::vector<std::vector<unsigned char>>;
constexpr size_t kMaxOcspResponses = 16;

/// Everything is borrowed for the call. Members may be added at the end.
struct sxRevocationQuestion {
  sxRootCA *root = nullptr;
  const sxCerts *chain = nullptr;  ///< in path order, the end entity first; signatures were verified before
  /// Among these, in any order, may be certificates that sign CRLs for a CA of the path: they count when that CA, one
  /// above it or the root issued them, they are in date, and what is published about them does not speak against
  /// them. Null: none.
  const sxCerts *pool = nullptr;
  ValidateParams params;  ///< what is to be asked, graces, and as of which time
  bool mayFetch = true;   ///< false: what is in memory and on disk
  int timeoutMs = kRevocationTimeoutMs;
  bool wantsEvidence = false;
  const sxOcspResponses *ocspResponses = nullptr;
};

struct sxRevocationVerdict {
  sxValidationRC code = sxValidation_badInput;
  int level = -1;                              ///< of the certificate that decided; -1 when all are good
  std::vector<sxRevocationEvidence> evidence;  ///< the end entity's first, each in the order of asking
};

KXCERT_EXPORT const char *sxStatusSource_GetString(sxStatusSource source);  ///< "CRL", "no source"

/// Whether it is one of the table's codes but "revoked": the status of a certificate was not to be had.
KXCERT_EXPORT bool sxRevocation_IsUnknown(int code);

/// Installs the functions of sxCertValidate_SetRevocationFunc and -SetPushCRLsFunc, and switches sxPKobj::UseMutex()
/// on: from now on certificates and roots are held by more than one thread. May be called again with other settings.
/// @return 0, or -1 (nothing is installed)
KXCERT_EXPORT int sxRevocation_Install(const sxRevocationSettings &settings);
/// What was in memory goes, OCSP answers included.
KXCERT_EXPORT void sxRevocation_Remove();
KXCERT_EXPORT bool sxRevocation_IsInstalled();

/// Asks and waits. Any thread that runs no environment.
KXCERT_EXPORT sxValidationRC sxRevocation_Check(const sxRevocationQuestion &question, sxRevocationVerdict &verdict);

using sxRevocationDone = std::function<void(const sxRevocationVerdict &verdict)>;
/// Asks. The answer comes once, on the environment's thread and never within this call, within the time limit; none
/// when the environment goes. Root and certificates are held until then.
/// @return 0, or -1: nothing will be called
KXCERT_EXPORT int sxRevocation_CheckA(sxd_env *env, const sxRevocationQuestion &question, sxRevocationDone done);

/// Puts CRLs of the program's own into memory, until sxRevocation_Remove. They are believed when they verify where they
/// are used. Those that a peer brings to a validation (sxCert_ValCerts_e) are apart from them, few, and go when nobody
/// who may has signed them.
/// @param crlTo  ignored: nobody knows their place, and without one nothing is written to disk
/// @return how many of them are there now: not those beyond the bounds (maxCrls, half of maxCrlOctets), or not OK
KXCERT_EXPORT int sxRevocation_Push(const sxCRLs &crls, int crlTo);

/// For a periodic timer: asks anew for CRLs that were used lately and will soon be out of date, each at another
/// moment. What cannot be had anew stays. @param opaque  ignored
KXCERT_EXPORT void sxRevocation_Prefetch(void *opaque);

struct sxRevocationStats {
  uint64_t hits;  ///< look-ups that memory answered
  uint64_t misses;
  uint64_t fetches;  ///< begun, joined ones not counted
  uint64_t refused;  ///< what was fetched and not taken
  size_t numCrls;
  size_t numOctets;
};
KXCERT_EXPORT sxRevocationStats sxRevocation_Stats();

#endif
