// The service's side of the exchange: always here, never handed on.
#include <openssl/ecdh.h>

#include "keys/ec/ecKey.h"
#include "keys/ec/ecOperation.h"
#include "keys/keyOctets.h"
#include "keys/libcryptoTypes.h"
#include "keys/rsa/rsaOperation.h"
#include "kxcert/keys/keyCodes.h"
#include "kxcert/keys/kxECDSA.h"
#include "kxcert/keys/kxSRSA.h"
#include "kxcert/keys/pkxl.h"
#include "pkxlMessage.h"

namespace {

constexpr uint32_t kMaxCapacity = 16 * 1024;  // more than any operation writes

int Len(const pkxl_len_and_buf_t &item) { return static_cast<int>(item.len); }

// Each returns false when the key does not fit: the caller's own attempt then says what is wrong with it.

bool ServeRsa(const PkxlRequest &request, unsigned char *out, int *result) {
  const RsaKey key(kxRSA_from_buf(request.key.buf, Len(request.key), 1));
  if (key == nullptr || static_cast<int>(request.capacity) < RSA_size(key.get())) return false;
  const ErrorQueueMark mark;
  *result = request.operation == kPrivateDecrypt
                ? RSA_private_decrypt(Len(request.input), request.input.buf, out, key.get(), RSA_NO_PADDING)
                : RSA_private_encrypt(Len(request.input), request.input.buf, out, key.get(), RSA_PKCS1_PADDING);
  return true;
}

bool ServeEc(const PkxlRequest &request, unsigned char *out, int *result) {
  const EcKey key(kxECDSA_from_buf(sxPK_private, request.key.buf, Len(request.key), static_cast<int>(request.curve)));
  if (key == nullptr) return false;
  if (request.operation == kEcdhComputeKey) {
    *result = EcdhHere(request.input.buf, Len(request.input), out, static_cast<int>(request.capacity), key.get());
    return true;
  }
  if (static_cast<int>(request.capacity) < ECDSA_size(key.get())) return false;
  const EcRequest operation{.data = request.input.buf, .dataLen = Len(request.input), .out = out};
  *result = EcdsaHere(kEcdsaSign, operation, key.get());
  return true;
}

bool Serve(const PkxlRequest &request, unsigned char *out, int *result) {
  switch (request.operation) {
    case kPrivateDecrypt:
    case kPrivateEncrypt: return ServeRsa(request, out, result);
    case kEcdsaSign:
    case kEcdhComputeKey: return ServeEc(request, out, result);
    default: return false;
  }
}

}  // namespace

int pkxl_serve(kxBinBuf &message, kxBinBuf &answerMessage) {
  message.SetSensitive(true);
  PkxlRequest request;
  if (!PkxlRead(message, &request) || request.capacity > kMaxCapacity) return -1;
  kxBinBuf output = SensitiveBuf(static_cast<int>(request.capacity));
  PkxlAnswer answer;
  answer.served = Serve(request, output.Data(), &answer.result);
  if (answer.result > 0) answer.output = {static_cast<uint32_t>(answer.result), output.Data()};
  return PkxlWrite(answer, answerMessage) ? 0 : -1;
}
