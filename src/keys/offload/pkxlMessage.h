// What goes between a process and the key-operation service of its machine: one request, one answer.
#ifndef KXCERT_SRC_KEYS_OFFLOAD_PKXLMESSAGE_H_
#define KXCERT_SRC_KEYS_OFFLOAD_PKXLMESSAGE_H_

#include "kxcert/foundation/bufIter.h"
#include "kxcert/foundation/kxBinBuf.h"

// 0 to 5 are RsaOperation and EcOperation, of which the private ones are served: 0, whose answer is the whole
// block with its padding, 1 and 4.
constexpr uint32_t kEcdhComputeKey = 6;

/// The items are lent: to the area that is read, or by the caller.
struct PkxlRequest {
  uint32_t operation = 0;
  uint32_t curve = 0;                 ///< libcrypto's identifier; 0 for RSA
  uint32_t capacity = 0;              ///< of the output
  pkxl_len_and_buf_t input = {};      ///< the data; ECDH: the peer's point
  pkxl_len_and_buf_t signature = {};  ///< nothing: for verifying, which is not served
  pkxl_len_and_buf_t key = {};        ///< private, DER
};

struct PkxlAnswer {
  bool served = false;  ///< false: the caller is to do it by itself
  int32_t result = 0;
  pkxl_len_and_buf_t output = {};
};

/// Each writes into a sensitive buffer, or reads what the other wrote. Reading fails on anything that does
/// not end where the message does.
[[nodiscard]] bool PkxlWrite(const PkxlRequest &request, kxBinBuf &message);
[[nodiscard]] bool PkxlRead(kxBinBuf &message, PkxlRequest *request);
[[nodiscard]] bool PkxlWrite(const PkxlAnswer &answer, kxBinBuf &message);
[[nodiscard]] bool PkxlRead(kxBinBuf &message, PkxlAnswer *answer);

#endif
