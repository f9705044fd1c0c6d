#include "pkxlOffer.h"

#include <openssl/ecdsa.h>

#include <chrono>
#include <cstring>

#include "keys/ec/ecKey.h"
#include "keys/ec/ecOperation.h"
#include "keys/keyOctets.h"
#include "keys/offload/pkxlDecision.h"
#include "keys/offload/pkxlMessage.h"
#include "keys/rsa/rsaKey.h"
#include "kxcert/keys/kxECDSA.h"
#include "kxcert/keys/kxSRSA.h"
#include "kxcert/keys/pkxl.h"
#include "kxcert/platform/log.h"
#include "pkxlPatience.h"
#include "platform/localSocket.h"

namespace {

thread_local int t_numStaying = 0;

PkxlPatience &Patience() {
  static auto *const patience = new PkxlPatience;  // for threads that outlive the static objects
  return *patience;
}

int64_t NowMs() {
  return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

// One use of the service: in trouble unless it is said to have ended well.
class Attempt {
 public:
  Attempt() : m_use(Patience().Begin(NowMs())) {}
  ~Attempt() {
    const int64_t nowMs = NowMs();
    if (m_use.allowed) Patience().Ended(m_use, !m_good, nowMs);
  }
  Attempt(const Attempt &) = delete;
  Attempt &operator=(const Attempt &) = delete;
  bool IsAllowed() const { return m_use.allowed; }
  void EndsWell() { m_good = true; }

 private:
  const PkxlPatience::Use m_use;
  bool m_good = false;
};

bool Exchange(kxBinBuf &message, PkxlAnswer *answer) {
  kxLocalSocket service(pkxl_socket_path(), kPkxlTimeoutMs);
  const auto resize = [&message](uint32_t len) {
    message.Set(len);
    return message.Data();
  };
  return service.Send(message.Data(), message.Len()) && service.Receive(resize) && PkxlRead(message, answer);
}

// @param isRight  takes the octets of the answer, and copies them to where the caller wants them
template <class IsRight>
bool Offer(const PkxlRequest &request, IsRight isRight) {
  kxBinBuf message;
  if (!PkxlWrite(request, message) || message.Len() > kxLocalSocket::kMaxMessageLen) return false;
  Attempt attempt;
  PkxlAnswer answer;
  if (!attempt.IsAllowed() || !Exchange(message, &answer)) return false;
  if (!answer.served || answer.result <= 0) {  // it may be right; here is seen why
    attempt.EndsWell();
    return false;
  }
  const bool right = static_cast<uint32_t>(answer.result) == answer.output.len &&
                     answer.output.len <= request.capacity && isRight(answer.output);
  if (right) {
    attempt.EndsWell();
  } else {
    herror_func(0, 0, "pkxl: operation %u: the service's answer is wrong", request.operation);
  }
  return right;
}

pkxl_len_and_buf_t Item(const unsigned char *octets, int len) {
  return {static_cast<uint32_t>(len), const_cast<unsigned char *>(octets)};
}
pkxl_len_and_buf_t Item(kxBinBuf &octets) { return {octets.Len(), octets.Data()}; }
int Len(const pkxl_len_and_buf_t &item) { return static_cast<int>(item.len); }

bool SameOctets(const unsigned char *a, int aLen, const unsigned char *b, int bLen) {
  return aLen == bLen && std::memcmp(a, b, static_cast<size_t>(aLen)) == 0;
}

// A signature is right when the public key opens it to what was signed.
bool OfferRsaSign(PkxlRequest request, unsigned char *out, RSA *rsa, int *result) {
  const int size = RSA_size(rsa);
  kxBinBuf opened(static_cast<unsigned int>(size));
  return Offer(request, [&](const pkxl_len_and_buf_t &signature) {
    if (Len(signature) != size) return false;
    const int len = RSA_public_decrypt(size, signature.buf, opened.Data(), rsa, RSA_PKCS1_PADDING);
    if (!SameOctets(opened.Data(), len, request.input.buf, Len(request.input))) return false;
    std::memcpy(out, signature.buf, signature.len);
    *result = size;
    return true;
  });
}

// The service answers with the whole block. It is the right one when the public key closes it again; what is
// in it is read here.
bool OfferRsaOpen(PkxlRequest request, unsigned char *out, RSA *rsa, int *result) {
  const int size = RSA_size(rsa);
  if (Len(request.input) != size) return false;
  kxBinBuf closed(static_cast<unsigned int>(size)), text = SensitiveBuf(size);
  return Offer(request, [&](const pkxl_len_and_buf_t &block) {
    if (Len(block) != size) return false;
    const int len = RSA_public_encrypt(size, block.buf, closed.Data(), rsa, RSA_NO_PADDING);
    if (!SameOctets(closed.Data(), len, request.input.buf, size)) return false;
    *result = RSA_padding_check_PKCS1_type_2(text.Data(), size, block.buf, size, size);
    if (*result > 0) std::memcpy(out, text.Data(), static_cast<size_t>(*result));
    return true;
  });
}

}  // namespace

bool PkxlMayOffer() { return t_numStaying == 0 && pkxl_should_use(); }

PkxlStayHere::PkxlStayHere() { ++t_numStaying; }
PkxlStayHere::~PkxlStayHere() { --t_numStaying; }

void PkxlForgetTrouble() { Patience().Forget(); }

bool PkxlOfferRsa(RsaOperation operation, int inLen, const unsigned char *in, unsigned char *out, RSA *rsa,
                  int *result) {
  if (operation != kPrivateDecrypt && operation != kPrivateEncrypt) return false;
  if (RSA_get0_d(rsa) == nullptr || !RsaHasCrtParts(rsa)) return false;  // it has no such form
  kxBinBuf key;
  if (kxRSA_to_buf(rsa, key, 1) != 0) {
    herror_func(0, 0, "%s: kxRSA_to_buf failed (operation %d)", "rsa_op_wrapper", operation);
    return false;
  }
  const ErrorQueueMark mark;
  const auto size = static_cast<uint32_t>(RSA_size(rsa));
  const PkxlRequest request{static_cast<uint32_t>(operation), 0, size, Item(in, inLen), {}, Item(key)};
  return operation == kPrivateEncrypt ? OfferRsaSign(request, out, rsa, result)
                                      : OfferRsaOpen(request, out, rsa, result);
}

bool PkxlOfferEcdsaSign(const unsigned char *data, int dataLen, unsigned char *out, EC_KEY *key, int *result) {
  const Curve *const curve = CurveOfKey(key);
  kxBinBuf keyDer;
  if (curve == nullptr || kxECDSA_to_buf(key, keyDer, 1) != 0) {
    herror_func(0, 0, "%s: kxECDSA_to_buf failed", "ecdsa_op_wrapper");
    return false;
  }
  const ErrorQueueMark mark;
  const PkxlRequest request{static_cast<uint32_t>(kEcdsaSign),
                            static_cast<uint32_t>(curve->nid),
                            static_cast<uint32_t>(curve->maxSigLen),
                            Item(data, dataLen),
                            {},
                            Item(keyDer)};
  return Offer(request, [&](const pkxl_len_and_buf_t &signature) {
    if (ECDSA_verify(0, data, dataLen, signature.buf, Len(signature), key) != 1) return false;
    std::memcpy(out, signature.buf, signature.len);
    *result = Len(signature);
    return true;
  });
}

bool PkxlOfferEcdh(const pkxl_len_and_buf_t &peer, unsigned char *out, const pkxl_len_and_buf_t &keyDer, int curveNid,
                   int *result) {
  const Curve *const curve = FindCurve(curveNid);
  if (curve == nullptr) return false;
  const PkxlRequest request{
      kEcdhComputeKey, static_cast<uint32_t>(curveNid), static_cast<uint32_t>(curve->coordLen), peer, {}, keyDer};
  return Offer(request, [&](const pkxl_len_and_buf_t &secret) {
    if (Len(secret) != curve->coordLen) return false;
    std::memcpy(out, secret.buf, secret.len);
    *result = curve->coordLen;
    return true;
  });
}
