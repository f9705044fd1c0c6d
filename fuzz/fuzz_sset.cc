// The text of attribute sets: what reads is written so that it reads as an equal set, and then writes
// the same text.
#include <cstdint>
#include <memory>
#include <string>

#include "check.h"
#include "kxcert/foundation/attributeSet.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const std::string text(reinterpret_cast<const char *>(data), size);
  std::string error;
  const std::unique_ptr<sxset> set(sio_sread(text.c_str(), &error));
  KX_ASSERT((set == nullptr) == !error.empty());
  if (set == nullptr) return 0;

  SxStream first;
  set->Write(&first);
  const std::unique_ptr<sxset> again(sio_sread(first.GetBuf(), &error));
  KX_ASSERT(again != nullptr);
  KX_ASSERT(*again == *set);
  SxStream second;
  again->Write(&second);
  KX_ASSERT(second.Text() == first.Text());
  return 0;
}
