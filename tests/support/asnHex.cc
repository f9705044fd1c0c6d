#include "support/asnHex.h"

#include <algorithm>
#include <memory>

#include "kxcert/foundation/kxBinBuf.h"
#include "support/hexOctets.h"
#include "support/printed.h"

int DecodeOctets(const std::vector<unsigned char> &octets, sxAsnType &value) {
  const auto block = std::make_unique<char[]>(octets.size());
  std::copy(octets.begin(), octets.end(), block.get());
  return sxASN_DecodeBuf(value, block.get(), static_cast<int>(octets.size()));
}

int DecodeHex(const char *hex, sxAsnType &value) { return DecodeOctets(DecodeHex(hex), value); }

std::string EncodeHex(sxAsnType &value, int sortSets) {
  kxBinBuf octets;
  return sxASN_EncodeBuf(value, octets, sortSets) < 0 ? "-" : EncodeHex(octets.Data(), octets.Len());
}

std::string Reencode(const char *hex, sxAsnType &value) { return DecodeHex(hex, value) < 0 ? "-" : EncodeHex(value); }

std::string Printed(sxAsnType &value, int indent) {
  return Captured([&](FILE *out) { value.Print(out, indent); });
}
