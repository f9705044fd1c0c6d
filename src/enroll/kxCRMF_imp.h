/// @file
/// Implementation of certificate request messages.
#ifndef KXCERT_SRC_ENROLL_KXCRMF_IMP_H_
#define KXCERT_SRC_ENROLL_KXCRMF_IMP_H_

#include <optional>

#include "asn1/der.h"
#include "kxcert/asn1/modules/PKIXCRMF.h"
#include "kxcert/asn1/sxAsnInt.h"
#include "kxcert/enroll/kxCRMF.h"

struct CrmfRefusal;

/// What a signature covers, and what it is checked with.
struct CrmfProof {
  kxBinBuf octets;
  int mdType = sx_md_unknown;
  std::optional<sxASN_POPOSigningKeyInput> input;
};

struct kxCRMF_imp {
  sxAsnInt requestId;
  sxCertTemplate certTemplate;
  kxControlsList controls;
  kxBinBuf signature;
  int status = kxCRMF_uninitialized;
  std::optional<CrmfProof> proof;  // of a message that was made, or came as far as its signature

  /// The request, without its proof.
  void FillRequest(sxASN_CertReqMsg &msg) const;
  /// Fills this from the message and judges it; of an object that is new.
  /// @param received  the message as it came; empty: not known
  /// @return 0 or -1
  int Take(const char *func, const sxASN_CertReqMsg &msg, sxOctetView received, sxString &errText);
  /// Sets the status and the text, and logs a refusal.
  int Answer(const char *func, const CrmfRefusal *why, sxString &errText);
  /// @return null, or why the message is refused
  const CrmfRefusal *Judge(const sxASN_CertReqMsg &msg, sxOctetView received);
  const CrmfRefusal *VerifySig(const unsigned char *sig, int len) const;
  void Read(const sxASN_CertRequest &request);
};

/// @return false: it does not encode
bool sxEncodeDer(const sxAsnType &value, kxBinBuf &out);

#endif
