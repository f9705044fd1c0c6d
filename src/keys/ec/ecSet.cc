// EC keys in configuration sets.
#include <memory>
#include <vector>

#include "ecKey.h"
#include "keys/keyOctets.h"
#include "keys/libcryptoTypes.h"
#include "kxcert/foundation/attributeSet.h"
#include "kxcert/keys/kxECDSA.h"
#include "kxcert/platform/log.h"

namespace {

constexpr size_t kMaxSetPointLen = 300;

EC_KEY *ReadKey(const sxset &set) {
  long long nid = 0;
  if (!set.FindInt("NID", &nid) || nid < 1 || nid > 0xFFFF) return nullptr;
  const Curve *curve = FindCurve(static_cast<int>(nid));
  std::vector<unsigned char> octets;
  if (curve == nullptr || !set.FindBinary("public", &octets) || octets.size() > kMaxSetPointLen) { return nullptr; }
  unsigned char area[kMaxPointLen];
  const sxOctetView point = ReadPoint("kxECDSA_imp::test_if_ok", *curve, octets, area);
  if (point.empty()) return nullptr;
  if (set.Find("private") == nullptr) return NewPublicEcKey(*curve, point);
  kxBinBuf scalar;
  if (ReadSecretAttribute(set, "private", curve->ScalarLen(), scalar) != 0) return nullptr;
  return NewPrivateEcKey(*curve, point, scalar);
}

}  // namespace

sxset *kxECDSA_to_set(const EC_KEY *key) { return EcToSet(key, true); }

sxset *EcToSet(const EC_KEY *key, bool withPrivate) {
  const Curve *curve = CurveOfKey(key);
  unsigned char area[kMaxPointLen];
  const sxOctetView point = curve == nullptr ? sxOctetView() : PointOfKey(key, area);
  if (curve == nullptr || point.empty()) return nullptr;
  auto set = std::make_unique<sxset>();
  set->SetInt("NID", curve->nid);
  set->SetText("comment", curve->comment);
  set->SetText("curve", curve->name);
  set->SetBinary("public", point.data(), sxLen(point));
  if (withPrivate && EC_KEY_get0_private_key(key) != nullptr) {
    const kxBinBuf scalar = ScalarOfKey(*curve, key);
    if (scalar.IsEmpty()) return nullptr;
    set->SetBinary("private", scalar.Data(), curve->ScalarLen());
  }
  return set.release();
}

EC_KEY *kxECDSA_from_set(const sxset *set) {
  if (set == nullptr) return nullptr;
  EC_KEY *key = ReadKey(*set);
  if (key == nullptr) herror_func(0, 0, "kxECDSA_from_set: no usable key");
  return key;
}
