// Whatever users have, loaded from memory. Each item is one object or one reason, at a place within the
// input and not before the item ahead of it; an object's octets are found again where they were said to be.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "check.h"
#include "kxcert/cert/loadFiles.h"
#include "kxcert/cert/sxCRL.h"
#include "kxcert/cert/sxCert.h"
#include "kxcert/cert/sxCertRequest.h"
#include "kxcert/keys/sxPubKey.h"

namespace {

bool IsPrintable(std::string_view text) {
  for (const char c : text) {
    if (c < ' ' || c > '~') return false;
  }
  return true;
}

void CheckObject(const sxLoadItem &item, std::string_view input) {
  const sxSigned *signedOnes[] = {item.cert, item.crl, item.request};
  const auto *const found = std::ranges::find_if(signedOnes, [](const sxSigned *one) { return one != nullptr; });
  KX_ASSERT((item.cert != nullptr) + (item.crl != nullptr) + (item.request != nullptr) + (item.key != nullptr) == 1);
  KX_ASSERT((item.cert != nullptr) == (item.kind == sxLoadKind::kCertificate));
  KX_ASSERT((item.crl != nullptr) == (item.kind == sxLoadKind::kCrl));
  KX_ASSERT((item.request != nullptr) == (item.kind == sxLoadKind::kRequest));
  KX_ASSERT(item.reason.empty());
  if (item.key != nullptr) return;
  const sxSigned &object = **found;
  KX_ASSERT(object.OK());
  const std::string_view octets(reinterpret_cast<const char *>(object.GetBuf()), object.BufLen());
  const bool stands = item.place.line == 0 && item.place.member == 0 && item.label.empty();
  KX_ASSERT(!stands || input.substr(item.place.offset).starts_with(octets) || input.find("{ASN}") != input.npos);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  sxLoader loader;
  const int numFound = loader.AddOctets(data, size, "input");
  const std::string_view input(reinterpret_cast<const char *>(data), size);
  int numObjects = 0;
  size_t offset = 0;
  KX_ASSERT(loader.Items().size() <= size + 1);
  for (const sxLoadItem &item : loader.Items()) {
    KX_ASSERT(std::strcmp(item.place.file, "input") == 0 && item.place.offset <= size && item.place.offset >= offset);
    KX_ASSERT(IsPrintable(item.label));
    offset = item.place.offset;
    if (item.skip == sxLoadSkip::kNot) {
      ++numObjects;
      CheckObject(item, input);
    } else {
      KX_ASSERT(item.cert == nullptr && item.crl == nullptr && item.key == nullptr);
      KX_ASSERT(!item.reason.empty() && IsPrintable(item.reason));
    }
  }
  KX_ASSERT(numObjects == numFound);
  return 0;
}
