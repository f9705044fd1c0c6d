// The service's side of the exchange: always here, never handed on.
#include <openssl/ecdh.h>

#include "ecKey.h"
#include "ecOperation.h"
#include "kxcert/keys/keyCodes.h"
#include "kxcert/keys/kxECDSA.h"
#include "kxcert/keys/kxSRSA.h"
#include "kxcert/keys/pkxl.h"
#include "libcryptoTypes.h"
#include "pkxlMessage.h"
#include "rsaOperation.h"

namespace {

constexpr uint32_t kMaxCapacity = 16 * 1024;   // more than any operation writes

int Len(const pkxl_len_and_buf_t &item) { return static_cast<int>(item.len); }

// Each returns false when the key does not fit: the caller's own attempt then says what is wrong with it.

bool ServeRsa(const PkxlRequest &request, unsigned char *out, int *result) {
  const bool isPrivate = request.operation <= kPrivateEncrypt;
  const RsaKey key(kxRSA_from_buf(request.key.buf, Len(request.key), isPrivate));
  if (key == nullptr) return false;
  *result = RsaOperationHere(static_cast<RsaOperation>(request.operation), Len(request.input), request.input.buf,
                             static_cast<int>(request.capacity), out, key.get());
  return true;
}

bool ServeEc(const PkxlRequest &request, unsigned char *out, int *result) {
  const bool isPrivate = request.operation != kEcdsaVerify;
  const EcKey key(kxECDSA_from_buf(isPrivate ? sxPK_private : sxPK_public, request.key.buf, Len(request.key),
                                   static_cast<int>(request.curve)));
  if (key == nullptr) return false;
  if (request.operation == kEcdhComputeKey) {
    *result = EcdhHere(request.input.buf, Len(request.input), out, static_cast<int>(request.capacity), key.get());
    return true;
  }
  if (isPrivate && static_cast<int>(request.capacity) < ECDSA_size(key.get())) return false;
  EcRequest operation = {request.input.buf, Len(request.input)};
  operation.sig = request.signature.buf;
  operation.sigLen = Len(request.signature);
  operation.out = out;
  *result = EcdsaHere(static_cast<EcOperation>(request.operation), operation, key.get());
  return true;
}

}  // namespace

int pkxl_serve(kxBinBuf &message, kxBinBuf &answerMessage) {
  message.SetSensitive(true);
  PkxlRequest request;
  if (!PkxlRead(message, &request) || request.capacity > kMaxCapacity) return -1;
  kxBinBuf output;
  output.SetSensitive(true);
  output.Set(request.capacity);
  PkxlAnswer answer;
  if (request.operation <= kPublicEncrypt) {
    answer.served = ServeRsa(request, output.Data(), &answer.result);
  } else if (request.operation <= kEcdhComputeKey) {
    answer.served = ServeEc(request, output.Data(), &answer.result);
  }
  const bool writes = answer.served && request.operation != kEcdsaVerify && answer.result > 0;
  if (writes) answer.output = {static_cast<uint32_t>(answer.result), output.Data()};
  return PkxlWrite(answer, answerMessage) ? 0 : -1;
}
