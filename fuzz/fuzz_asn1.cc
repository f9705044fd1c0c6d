// BER values. The first octet selects the class, in the order of the table of all classes; the others
// are decoded. What decodes has an encoding, which decodes again and then encodes to the same octets.
#include <cstdint>
#include <memory>

#include "check.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/foundation/textStream.h"
#include "support/asnClasses.h"

namespace {

bool Decode(sxAsnType &value, const unsigned char *octets, size_t len) {
  return sxASN_DecodeBuf(value, reinterpret_cast<const char *>(octets), static_cast<int>(len)) == 0;
}

// A string of length 0 counts one octet less than it takes when it is decoded as a whole element, in an
// open type or by itself. What holds one, and got it from a longer form, does not decode again; so it
// is by intent. Such strings are the OCTET STRING and the UTF8String of the registered types.
bool HasEmptyString(const kxBinBuf &octets) {
  for (unsigned i = 0; i + 1 < octets.Len(); ++i) {
    if ((octets.Data()[i] == 0x04 || octets.Data()[i] == 0x0C) && octets.Data()[i + 1] == 0) return true;
  }
  return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size == 0 || data[0] >= AsnClasses().size()) return 0;
  const sxAsnTypeInfo &info = *AsnClasses()[data[0]];
  const std::unique_ptr<sxAsnType> value(info.create());
  if (!Decode(*value, data + 1, size - 1)) return 0;

  kxBinBuf first;
  KX_ASSERT(sxASN_EncodeBuf(*value, first, 1) == 0);
  KX_ASSERT(first.Len() > 0);
  SxStream text;
  value->Describe(text, 0);
  kxBinBuf copied;
  const std::unique_ptr<sxAsnType> copy(value->Dup());
  KX_ASSERT(sxASN_EncodeBuf(*copy, copied, 1) == 0);
  KX_ASSERT(copied == first);

  const std::unique_ptr<sxAsnType> again(info.create());
  if (!Decode(*again, first.Data(), first.Len())) {
    KX_ASSERT(HasEmptyString(first));
    return 0;
  }
  kxBinBuf second;
  KX_ASSERT(sxASN_EncodeBuf(*again, second, 1) == 0);
  KX_ASSERT(second == first);
  return 0;
}
