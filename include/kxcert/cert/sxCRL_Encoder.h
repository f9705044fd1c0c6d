/// @file
/// CRLs under construction: entries and fields that may be changed, encoded and signed with any key.
///
/// Until then it has no octets, so it is not OK(); but all questions of sxCRL are answered from what was set, and
/// entries are looked up and iterated as those of a CRL. One thread changes one at a time; a task that signs what was
/// encoded does not need it any longer.
#ifndef KXCERT_CERT_SXCRL_ENCODER_H_
#define KXCERT_CERT_SXCRL_ENCODER_H_

#include "kxcert/cert/sxCRL.h"
#include "kxcert/platform/digest.h"

class sxCRL_Encoder_imp;
class sxPubKey;

/// Told once how an asynchronous encoding ended.
/// @param rc       0, or a task result code (keyTasks.h); a reason is in the log
/// @param crl      for sxCRL_Free; null unless @p rc is 0
using sxCrlCallback = void (*)(void *opaque, int rc, sxCRL *crl);

class KXCERT_EXPORT sxCRL_Encoder : public sxCRL {
 public:
  explicit sxCRL_Encoder(int numExpected = 0);  ///< entries to make room for; a hint
  /// A copy of a CRL that can be changed: all its fields, extensions that are not understood included. Of entries with
  /// the same number the one that counts. Its number has to grow before it is encoded (RFC 5280, 5.2.3).
  /// When @p from is not OK, or has an entry of an issuer that cannot be read, there is no copy (one line logged):
  /// Issuer() is null, Error() says why, and Encode refuses whatever is set.
  explicit sxCRL_Encoder(const sxCRL &from);

  // 0; or -1 (one line logged) and nothing changed.
  int SetIssuer(const sxDN &issuer);   ///< no name; or entries of an indirect CRL depend on the old one
  int SetThisUpdate(int64_t seconds);  ///< years 0 to 9999, here and below
  int SetNextUpdate(int64_t seconds);
  int RemoveNextUpdate();                    ///< always 0
  int SetNumber(const sxAsnInt *number);     ///< not negative, at most 20 octets; null: none
  int SetDeltaBase(const sxAsnInt *number);  ///< makes a delta CRL, which is encoded without freshestCRL; likewise
  int SetAuthorityKeyId(const sxExtKeyID *keyId);  ///< null: none
  /// Null: none. An indirect CRL stays one as long as it has entries of others; its issuer comes first.
  int SetIssuingDP(const sxIssuingDP *scope);

  /// @retval 1   added
  /// @retval 0   the number is there already, and keeps its entry
  /// @retval -1  the entry cannot be encoded (one line logged)
  int AddEntry(const sxAsnInt &serial, int64_t revokedSec);
  /// With all that is set but place and what was not understood; the octets are copied, and may be this one's. The
  /// reason "unspecified" is not written, as it says nothing (RFC 5280, 5.3.1); removeFromCRL needs a delta CRL, so its
  /// base comes first. A certIssuer needs an indirect CRL; entries of one issuer behind one another share the name.
  int AddEntry(const sxRevokedEntry &entry);
  int RemoveEntry(const sxAsnInt &serial);                          ///< 0, or -1 when it is not there
  int RemoveEntry(const sxDN *certIssuer, const sxAsnInt &serial);  ///< as sxCRL::FindEntry takes them

  /// Encodes and signs, which moves entries: what was lent goes. With RSA (PKCS #1 v1.5) or ECDSA and a digest that
  /// has a signature algorithm (algorithms.h). Decodes what came, compares it with what was set, and verifies it. Times
  /// are UTCTime to 2049 and GeneralizedTime from 2050 on, the version is 2 when there is any extension (RFC 5280,
  /// 5.1.2).
  /// @return for sxCRL_Free; or null (one line logged): issuer or thisUpdate missing, nextUpdate before it, a delta
  ///         CRL without a number above its base's, a number that did not grow, removeFromCRL in no delta CRL, more than
  ///         2 GiB, a key that does not sign
  sxCRL *Encode(sxPubKey *key, sx_md_type md);
  /// The same with all that takes long on the workers of the key tasks (KeyTaskMngmnt_init); where there are none, and
  /// with keys that are kept elsewhere, at once. What is set afterwards goes into the next encoding.
  /// @return 1: @p callback is called once, never within the call, on the thread of the tasks; or a negative task
  ///         result code, and it is not
  int EncodeA(sxPubKey *key, sx_md_type md, sxCrlCallback callback, void *opaque);

 private:
  sxCRL_Encoder_imp *Imp() const;
};

#endif
