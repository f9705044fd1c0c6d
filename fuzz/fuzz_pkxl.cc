// Messages to the key-operation service, which reads keys that any process of the machine may have made up. What it
// answers can be read, fits into the room that was asked for, and is there only for what can be read.
#include <cstdint>

#include "check.h"
#include "keys/offload/pkxlMessage.h"
#include "kxcert/keys/pkxl.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  kxBinBuf message(data, static_cast<unsigned int>(size)), again(data, static_cast<unsigned int>(size)), octets;
  PkxlRequest request;
  const bool isRead = PkxlRead(again, &request);
  const bool isAnswered = pkxl_serve(message, octets) == 0;
  KX_ASSERT(isRead || !isAnswered);
  if (!isAnswered) return 0;
  PkxlAnswer answer;
  KX_ASSERT(octets.IsSensitive() && PkxlRead(octets, &answer));
  KX_ASSERT(!answer.served || (request.operation < 7 && answer.output.len <= request.capacity));
  return 0;
}
