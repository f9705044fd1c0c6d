/// @file
/// Certificate request messages (RFC 4211): made and signed by who asks, judged by the CA.
///
/// A value: copies are deep. No locking: one thread uses a message at a time.
///
///   CertReqMsg ::= SEQUENCE { certReq CertRequest, popo ProofOfPossession OPTIONAL, regInfo OPTIONAL }
///   CertRequest ::= SEQUENCE { certReqId INTEGER, certTemplate CertTemplate, controls Controls OPTIONAL }
///
/// The proof of possession is a signature over the request. Where the template lacks the subject or the key,
/// the signature covers a POPOSigningKeyInput instead: the key, and a MAC over it with a password that both
/// sides know (RFC 4211, 4.1). docs/architecture.md tells the way of a request.
#ifndef KXCERT_ENROLL_KXCRMF_H_
#define KXCERT_ENROLL_KXCRMF_H_

#include <cstdio>
#include <utility>

#include "kxcert/cert/sxCertTemplate.h"
#include "kxcert/enroll/crmfStatus.h"
#include "kxcert/enroll/kxControls.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/platform/digest.h"

class sxASN_CertReqMsg;
class sxASN_POPOSigningKeyInput;
class sxAsnBits;
class sxAsnType;
class sxPubKey;
class sxString;
struct kxCRMF_imp;

class KXCERT_EXPORT kxCRMF {
 public:
  kxCRMF();                                                   ///< kxCRMF_uninitialized: to be read into
  kxCRMF(int requestId, const sxCertTemplate &certTemplate);  ///< kxCRMF_success: a request to be made
  kxCRMF(const kxCRMF &other);
  /// Leaves a new, empty one behind.
  // NOLINTNEXTLINE(performance-noexcept-move-constructor): takes memory
  kxCRMF(kxCRMF &&other);
  kxCRMF &operator=(const kxCRMF &other);
  kxCRMF &operator=(kxCRMF &&other) noexcept {  ///< the other one gets what was here
    std::swap(m_imp, other.m_imp);
    return *this;
  }
  ~kxCRMF();

  int Status() const;                          ///< of kxCRMFStatus
  const sxAsnInt &RequestId() const;           ///< lent
  const sxCertTemplate &CertTemplate() const;  ///< lent
  const kxControlsList &Controls() const;      ///< lent
  const kxBinBuf &Signature() const;           ///< lent; of a message that was made or read, empty without one

  void SetRequestId(int requestId);
  void AddControl(const sxAsnOid &type, kxControl *control);  ///< adopts; null adds nothing
  /// The control that names the certificate which is to be replaced. @return 0, or -1: null or not OK
  int AddOldCertIdControl(const sxCert *oldCert);

  // Making a message. Each returns 0, -1 or -6 (one line logged for every step that failed), and nothing that it
  // is given to fill has changed then.

  /// The whole message. The status must be kxCRMF_success, the template must hold a key.
  /// @param key       private; that it is the template's is the caller's to see to: no CA takes the message else
  /// @param password  for a template without a subject; else it may be null
  int Prepare_sxASN_CertReqMsg(sx_md_type md, sxPubKey *key, sxASN_CertReqMsg &msg, const kxBinBuf *password = nullptr);
  /// The same as DER.
  int DerEncode(sx_md_type md, sxPubKey *key, kxBinBuf &out, const kxBinBuf *password = nullptr);
  /// Fills msg.popo, of a message that has its request.
  /// @retval -1  no signature algorithm of that digest and key
  /// @retval -6  anything else
  int preparePOP(sx_md_type md, sxPubKey *key, sxASN_CertReqMsg &msg, const kxBinBuf *password = nullptr);
  /// The template's key, and the MAC over it with 1000 rounds of SHA-1 and a new salt. @return 0 or -1
  int Compute_poposkInput(const kxBinBuf *password, sxASN_POPOSigningKeyInput &out) const;
  /// Signs the DER of @p value, wrapped as sxPKop_digest_alt says, with an RSA key or, the same way, an EC key.
  /// @param md  of a digest of 20 octets at most: that is what the step has room for, and nothing is cut
  /// @return 0 or -1
  static int Sign(sx_md_type md, sxPubKey *key, sxAsnBits &out, sxAsnType &value);

  // Judging a message. Each returns 0, or -1 with the status and a text for who asked; a text of "" goes with 0.
  // What could be read is there also when the message is refused.

  /// DER alone is taken: whatever does not encode as it was cannot be what was signed (the text of -112).
  int DerDecode(const unsigned char *der, int len, sxString &errText);
  /// Checked in this order: it encodes; a request with a template; a proof of possession; that is a signature; its
  /// algorithm, RSA with a digest; the key of the template, else of the poposkInput; the signature. A poposkInput
  /// must hold the template's key and a MAC that can be computed here, and may not stand where the template has
  /// both subject and key (RFC 4211, 4.1). Its MAC is judged by who knows the password: VerifyPasswordMac.
  int Set(const sxASN_CertReqMsg &msg, sxString &errText);
  /// A signature over what the message that Set was given last has to have signed.
  /// @return of kxCRMFStatus: success; badAlg (the key is not RSA); noSerialSubjectOrKey (there is none);
  ///         popFailed; uninitialized (there is no such message)
  int VerifySig(const unsigned char *signature, int len) const;
  /// Whether the poposkInput of the message that Set took was made with that password, in constant time.
  /// @return 0; -1: it was not, or there is no poposkInput
  int VerifyPasswordMac(const kxBinBuf &password) const;
  bool HasPasswordMac() const;  ///< whether Set took a message with a poposkInput

  /// "Certificate Request Message:", request ID, signature and status.
  void Sprint(SxStream *out, int indent) const;
  void Fprint(FILE *out, int indent) const;  ///< null: standard output
  void Herror() const;                       ///< the same text to the debug log

 private:
  kxCRMF_imp *m_imp;  // owned, never null
};

#endif
