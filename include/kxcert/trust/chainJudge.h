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
#include "kxcert/trust/ValidateParams.h"
#include "kxcert/trust/sxFinding.h"
#include "kxcert/trust/sxValidation.h"

class sxKeyHolder;
class sxRootCA;

/// Certificates of the pool that one question may try in vain: forged namesakes, ways that end nowhere.
/// Those whose key identifier is the wanted one come first, then those valid at the time.
constexpr int kMaxDetours = 64;

/// Everything is borrowed for the call. Members may be added at the end.
struct sxChainQuestion {
  sxCert *endEntity = nullptr;  ///< the certificate that is judged
  /// Where issuers are taken from: any order, holes, copies and strangers do no harm, and the end entity
  /// may be among them. Null: none. The verdict does not depend on the order.
  const sxCerts *pool = nullptr;
  sxKeyHolder *holder = nullptr;  ///< the roots that are trusted; its intermediates are tried as well
  ValidateParams params;
  /// sxValidationFlags. What is left out is not checked. Where sxValidate_revocation stands without a
  /// revocation function the code is -965.
  int flags = sxValidate_all;
  /// Seconds since 1970-01-01 00:00 UTC that dates are compared with. kPresentTime: what @c params
  /// say, which is the clock's unless set.
  int64_t time = kPresentTime;
  bool wantsFindings = false;  ///< a verdict alone is cheaper
};

/// Members may be added at the end.
struct KXCERT_EXPORT sxChainVerdict {
  sxChainVerdict() = default;
  sxChainVerdict(const sxChainVerdict &) = delete;
  sxChainVerdict &operator=(const sxChainVerdict &) = delete;
  ~sxChainVerdict();

  sxValidationRC code = sxValidation_badInput;
  int level = -1;            ///< of the path: where it failed, as sxCert_ValCerts says; -1 on success
  sxString text;             ///< the code's text; when it failed, the facts as well, a line each
  sxRootCA *root = nullptr;  ///< one reference, which the verdict drops; null without trust
  /// Get(0) is the end entity, octet for octet; then its issuers. With a root, the last one is that
  /// root's certificate; without, the one whose issuer was not found. Empty for -1000.
  sxCerts path;
  /// For a question that wants them: what every rule says of every certificate of the path, behind the first
  /// failure too, and what was said of revocation. Empty for -1000.
  std::vector<sxFinding> findings;
};

/// Judges one certificate. The end entity is never exchanged, not even for a root's own copy: when its
/// octets are those of a root's certificate it is trusted as it stands; when it only has a root's name
/// and key, the code is -1001, whoever signed it.
///
/// The first path to a root is judged: no other one is tried when it fails by its dates or constraints.
/// A path is made of signatures that verify. Where none leads to a root, but one does by names alone,
/// that one is in the verdict, with the code of what is wrong with it.
/// @param      question  may refer to the verdict's own path
/// @param[out] verdict   replaced as a whole
/// @return the verdict's code; -1000 without an end entity that is OK or a holder; never -1
KXCERT_EXPORT sxValidationRC sxJudgeChain(const sxChainQuestion &question, sxChainVerdict &verdict);

#endif
