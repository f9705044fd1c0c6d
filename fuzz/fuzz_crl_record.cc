// Records of the CRL database: an expiry and a CRL. The value is what follows the expiry, no octet more;
// a CRL is one that the codec decodes (fuzz_crl says more of them).
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "check.h"
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/cert/sxCRL.h"
#include "store/expiringRecords.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  void *block = std::malloc(size > 0 ? size : 1);
  if (size > 0) std::memcpy(block, data, size);
  sxExpiringRecord record;
  const bool longEnough = record.Set(block, static_cast<int>(size));
  KX_ASSERT(longEnough == (size >= 4));
  if (!longEnough) return 0;
  KX_ASSERT(record.valueLen == static_cast<int>(size) - 4);
  sxCRL *crl = sxCRL_Decode(record.value, record.valueLen);
  sxASN_CertificateList tree;
  if (crl != nullptr) {
    const auto *const octets = reinterpret_cast<const char *>(crl->GetBuf());
    KX_ASSERT(sxASN_DecodeBuf(tree, octets, static_cast<int>(crl->BufLen())) == 0);
  }
  sxCRL_Free(crl);
  return 0;
}
