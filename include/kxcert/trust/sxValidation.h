/// @file
/// Chain validation: dates, CA constraints, signatures, the root's name constraints, revocation.
///
/// Chains are in path order: index 0 is the end entity, the top index the certificate that the root
/// issued, or the root's own. They come from sxKeyHolder::IsChainTrusted or sxCert_FixChain, which
/// decide the trust in the top certificate; nothing here does.
///
/// All of it only reads roots, certificates, parameters and black lists: any number of threads may
/// validate with the same ones while no one changes them. The setters are process-wide and may be
/// called from any thread.
#ifndef KXCERT_TRUST_SXVALIDATION_H_
#define KXCERT_TRUST_SXVALIDATION_H_

#include "kxcert/platform/export.h"
#include "kxcert/trust/ValidateParams.h"

class sxCert;
class sxCerts;
class sxCRL;
class sxCRLs;
class sxRootCA;
class sxd_env;

enum sxValidationRC : int {
  sxValidation_OK = 0,
  sxValidation_async = -1,  ///< the result comes through the callback
  sxValidation_blackListed = -1002,
  sxValidation_notTrusted = -1001,
  sxValidation_badInput = -1000,
  sxValidation_notYetValid = -999,
  sxValidation_expired = -998,
  sxValidation_unhandledCritExt = -997,
  sxValidation_issuerIsNoCA = -996,
  sxValidation_pathLenExceeded = -995,
  sxValidation_inconsistentChain = -994,
  sxValidation_badSignature = -993,
  sxValidation_wrongKeyUsage = -992,
  sxValidation_revoked = -991,
  sxValidation_noValidCRL = -990,
  sxValidation_crlFetchFailed = -989,
  sxValidation_entrustBlocking = -988,
  sxValidation_nameConstraints = -987,
  sxValidation_crlNotRetrieved = -986,
  sxValidation_crlNotYetValid = -985,
  sxValidation_crlExpired = -984,
  sxValidation_crlTooBig = -967,
  sxValidation_unknownStatus = -965,
};

/// What sxCert_ValCerts runs, in this order.
enum sxValidationFlags : int {
  sxValidate_path = 1,
  sxValidate_signatures = 2,
  sxValidate_nameConstraints = 8,
  sxValidate_revocation = 4,
  sxValidate_all = 15,
};

constexpr int kDefaultGraceSec = 7200;
constexpr int kRevocationTimeoutMs = 60000;

/// Static text of a code; "validation general error" for a number that is none.
KXCERT_EXPORT const char *sxValidationRC_GetString(int rc);
KXCERT_EXPORT bool isCertificateRevoked(int rc);  ///< exactly for -991

/// Seconds before notBefore at which certificates become valid where parameters say -1.
KXCERT_EXPORT void sxCertValidate_SetGracePeriod(unsigned int sec);
/// kDefaultGraceSec, whatever was set; kept so by intent.
KXCERT_EXPORT unsigned int sxCertValidate_GetDefaultGracePeriod();

/// Black list, critical extensions and dates of one certificate.
/// @param now  seconds since 1970-01-01 00:00 UTC
KXCERT_EXPORT sxValidationRC sxValidateCert(const sxCert *cert, long now, const ValidateParams &params);

/// Every certificate from the top down, and the CA constraints between neighbours, at the parameters' time.
/// @param[out] level       index of the certificate that failed: the issuer for -992 and -995, else
///                         the subject; -1 on success
/// @param[out] expiration  the earliest notAfter seen; untouched when the top certificate fails
KXCERT_EXPORT sxValidationRC sxValidatePath(const sxCerts &chain, int &level, long &expiration,
                                            const ValidateParams &params);
KXCERT_EXPORT sxValidationRC sxValidatePath(const sxCerts &chain, int &level, long &expiration);

/// Each signature below the top one, with the key of the certificate above.
/// @param[out] level  index of the certificate that failed; -1 on success
/// @return 0, -993 or -1000
KXCERT_EXPORT sxValidationRC sxValidateSignatures(const sxCerts &chain, int &level);

/// The subject must lie under one of the root's directory names, when it has constraints.
/// Constraints of other kinds are ignored. @return 0, -987 or -1000
KXCERT_EXPORT sxValidationRC sxValidateNameConstraints(const sxRootCA *root, const sxCert *cert);

/// Smallest notAfter of the chain's certificates that are OK, whatever their order; -1 when there is
/// none, and for a notAfter that cannot be read.
KXCERT_EXPORT long sxGetChainExpiration(const sxCerts &chain);

/// Result of a validation that went on: code, its text, level, expiration, opaque.
using sxValidationCallback = void (*)(sxValidationRC rc, const char *text, int level, long expiration, void *opaque);

/// Revocation checking, as a component above installs it.
/// @param      env        of the caller, or null
/// @param      callback   to be called once after -1 was returned, on the environment's thread; may be
///                        null: then -1 must not be returned
/// @param      params     borrowed for the call only; they say as of which time
/// @param[out] level      index of the certificate that failed
/// @return 0, -1, or one of -991, -990, -989, -988, -986, -985, -984, -967, -965
using sxRevocationFunc = sxValidationRC (*)(sxd_env *env, sxRootCA *root, sxCerts &chain, const ValidateParams &params,
                                            sxValidationCallback callback, void *opaque, int timeoutMs, int &level);
/// Takes CRLs that a caller of sxCert_ValCerts brought along, for the revocation checks to come.
using sxPushCRLsFunc = void (*)(sxCRLs &crls, int crlTo);

/// Null: not installed. Without a function revocation gives -965: what was not checked is not good.
KXCERT_EXPORT void sxCertValidate_SetRevocationFunc(sxRevocationFunc func);
KXCERT_EXPORT void sxCertValidate_SetPushCRLsFunc(sxPushCRLsFunc func);

/// The whole validation of a chain against its root; the first check that fails ends it.
/// @param      env         handed to the revocation function, or null
/// @param      crls        handed to the push function, or null
/// @param[out] expiration  earliest notAfter, set by the path check; may be null
/// @param[out] errBuf      emptied, then on failure (not for -1) the text of sxCert_ValErrToStr; may be
///                         null
/// @param[out] level       as the check that failed says; 0 for -987; -1 on success; may be null
/// @param      callback    handed to the revocation function, with @p opaque
/// @param      flags       sxValidationFlags
KXCERT_EXPORT sxValidationRC sxCert_ValCerts_e(sxd_env *env, sxRootCA *root, sxCerts *chain, sxCRLs *crls,
                                               long *expiration, const ValidateParams &params, char *errBuf, int errLen,
                                               int *level, sxValidationCallback callback, void *opaque, int flags);
KXCERT_EXPORT sxValidationRC sxCert_ValCerts(sxRootCA *root, sxCerts *chain, sxCRLs *crls, long *expiration,
                                             const ValidateParams &params, char *errBuf, int errLen, int *level,
                                             sxValidationCallback callback, void *opaque, int flags);

/// The same, answered later: @p callback is called once, on the environment's thread and never within this call,
/// also for what is found at once (no root, no chain). It gets the code, the text of sxCert_ValErrToStr, the level
/// (-1 on success), the earliest notAfter (-1 unless the path was checked) and @p opaque. The checks run on the
/// environment's thread, too; revocation may answer there and then, or as late as it wants up to
/// kRevocationTimeoutMs; five seconds later the code is -965.
///
/// References of root and certificates, a copy of the parameters and a count of their black list are held until
/// then; the chain itself may change or go. CRLs are pushed before this returns. Any thread may call; reference
/// counts need sxPKobj::UseMutex() when it is not the environment's. When the environment goes before the answer,
/// there is none, and nothing is held any more; an answer of the revocation function that comes still later does no
/// harm.
/// @retval -1     the callback will be called, or the environment goes
/// @retval -1000  no environment or callback: nothing will be called
KXCERT_EXPORT sxValidationRC sxCert_ValCertsA_e(sxd_env *env, sxRootCA *root, sxCerts *chain, sxCRLs *crls,
                                                const ValidateParams &params, sxValidationCallback callback,
                                                void *opaque, int flags);
/// In the default environment (kxcert/platform/defaultEnv.h).
KXCERT_EXPORT sxValidationRC sxCert_ValCertsA(sxRootCA *root, sxCerts *chain, sxCRLs *crls,
                                              const ValidateParams &params, sxValidationCallback callback, void *opaque,
                                              int flags);

/// Writes why a validation failed: the text of the code; then a line each for the level, the subject
/// and serial number of the certificate there, and the fact that decided (the date, the path length
/// and depth, the extension's OID, the name). Cut and ended by NUL when the area is short.
/// @param level  -1: only the text
/// @return 0, or -1 for no area
KXCERT_EXPORT int sxCert_ValErrToStr(const sxCerts *chain, int rc, int level, char *buf, int len);
/// Names the root as well, and says that a CRL was at hand, when they are not null.
KXCERT_EXPORT int sxCert_ValErrToStr_ex(const sxCerts *chain, const sxCRL *crl, int rc, int level, char *buf, int len,
                                        const sxRootCA *root = nullptr);

#endif
