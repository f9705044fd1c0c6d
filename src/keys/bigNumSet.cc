#include "kxcert/keys/bigNumSet.h"

#include <memory>

#include "keyOctets.h"
#include "kxcert/foundation/attributeSet.h"
#include "kxcert/platform/log.h"
#include "libcryptoTypes.h"

sxset *sxBN2SetAttr(const BIGNUM *number, const char *attrName) {
  if (number == nullptr || attrName == nullptr || BN_is_negative(number)) return nullptr;
  const int len = BN_is_zero(number) ? 1 : BN_num_bytes(number);
  if (len > kMaxSetNumberLen) {
    herror_func(0, 0, "sxBN2SetAttr: a number of %d octets, at most %d are stored", len, kMaxSetNumberLen);
    return nullptr;
  }
  kxBinBuf octets = SensitiveBuf(len);
  if (BN_bn2lebinpad(number, octets.Data(), len) != len) return nullptr;
  auto set = std::make_unique<sxset>();
  set->SetBinary(attrName, octets.Data(), len);
  return set.release();
}

int sxBN2SetValue(sxset *set, const char *memberName, const BIGNUM *number) {
  if (set == nullptr || memberName == nullptr || number == nullptr) return -1;
  const std::unique_ptr<sxset> value(sxBN2SetAttr(number, "value"));
  if (value == nullptr) return -1;
  set->SetSet(memberName, *value);
  return 0;
}

BIGNUM *sxSetAttr2BN(const sxset *object, const char *attrName) {
  if (object == nullptr || attrName == nullptr) return nullptr;
  kxBinBuf octets;
  if (ReadSecretAttribute(*object, attrName, kMaxSetNumberLen, octets) != 0) return nullptr;
  return BN_lebin2bn(octets.Data(), static_cast<int>(octets.Len()), nullptr);
}

BIGNUM *sxSetValue2BN(const sxset *set, const char *memberName) {
  if (set == nullptr || memberName == nullptr) return nullptr;
  return sxSetAttr2BN(set->FindSet(memberName), "value");
}
