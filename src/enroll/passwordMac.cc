#include "kxcert/enroll/passwordMac.h"

#include <utility>

#include "kxcert/asn1/modules/PKIXCRMF.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/keys/algorithms.h"
#include "kxcert/platform/digest.h"
#include "kxcert/platform/log.h"
#include "kxcert/platform/secureMemory.h"

constinit const sxAsnOid sxASN_id_PasswordBasedMac({1, 2, 840, 113533, 7, 66, 13});
constinit const sxAsnOid sxASN_hmac_sha1({1, 3, 6, 1, 5, 5, 8, 1, 2});

namespace {

// RFC 8018, B.1.1: the same function under another name, which some peers write. Held by data/enroll/pbm.txt.
constinit const sxAsnOid kHmacWithSha1({1, 2, 840, 113549, 2, 7});

bool IsAlgorithm(const sxASN_AlgorithmIdentifier *algorithm) {
  return algorithm != nullptr && algorithm->algorithm != nullptr;
}

bool IsHmacSha1(const sxAsnOid &oid) { return oid.OidEquiv(sxASN_hmac_sha1) || oid.OidEquiv(kHmacWithSha1); }

// A number that sxAsnInt keeps as octets has no place here, whatever its sign.
bool AreWhole(const sxASN_PBMParameter *params) {
  return params != nullptr && params->salt != nullptr && IsAlgorithm(params->owf) && IsAlgorithm(params->mac) &&
         params->iterationCount != nullptr && !params->iterationCount->IsBig() &&
         params->iterationCount->GetShortVal() <= kMaxPbmIterations;
}

struct DigestArea {
  unsigned char octets[kMaxPbmDigestLen];
  DigestArea() = default;
  DigestArea(const DigestArea &) = delete;
  DigestArea &operator=(const DigestArea &) = delete;
  ~DigestArea() { KX_memset(octets, sizeof octets); }
};

bool Hash(int mdType, int times, kxBinBuf &key) {
  const int len = kx_md_len(mdType);
  if (len == 0 || len > kMaxPbmDigestLen) return false;
  DigestArea digest;
  for (int i = 0; i < times; ++i) {
    if (kx_md_hashbuf(mdType, key.Data(), key.Len(), digest.octets, len) != 0) return false;
    key.Set(digest.octets, static_cast<unsigned int>(len));
  }
  return true;
}

}  // namespace

int ComputePasswordBaseMac_BaseKey(const sxASN_PBMParameter *params, const kxBinBuf &password, kxBinBuf &baseKey) {
  constexpr const char *kFunc = "ComputePasswordBaseMac_BaseKey";
  if (!AreWhole(params)) return herror_func(0, 0, "%s: Bad parameters for PBM.", kFunc), -1;
  const int mdType = MdType_By_MdOID(*params->owf->algorithm);
  if (mdType == sx_md_unknown) return herror_func(0, 0, "%s: Hash algorithm is not supported.", kFunc), -1;
  kxBinBuf key;
  key.SetSensitive(true);
  key.Set(password.Data(), password.Len());
  key.Append(params->salt->Data(), static_cast<unsigned int>(params->salt->Len()));
  const int times = params->iterationCount->GetShortVal();
  if (times > 0 && !Hash(mdType, times, key)) return herror_func(0, 0, "%s: Failed to hash.", kFunc), -1;
  baseKey = std::move(key);
  return 0;
}

int ComputePasswordBaseMac(const sxASN_PBMParameter *params, const kxBinBuf &password, const unsigned char *data,
                           int dataLen, kxBinBuf &mac, kxBinBuf *baseKey) {
  constexpr const char *kFunc = "ComputePasswordBaseMac";
  if (params != nullptr && IsAlgorithm(params->mac) && !IsHmacSha1(*params->mac->algorithm)) {
    return herror_func(0, 0, "%s: HMAC algorithm is not supported.", kFunc), -1;
  }
  kxBinBuf key;
  if (ComputePasswordBaseMac_BaseKey(params, password, key) != 0) {
    return herror_func(0, 0, "%s: Failed to compute the basekey of PasswordBaseMac.", kFunc), -1;
  }
  unsigned char octets[kPbmMacLen];
  if (dataLen < 0 || (data == nullptr && dataLen > 0) ||
      kx_hmac_sha1(key.Data(), static_cast<int>(key.Len()), data, static_cast<size_t>(dataLen), octets) != 0) {
    return herror_func(0, 0, "%s: Failed to compute the hmac.", kFunc), -1;
  }
  mac.Set(octets, sizeof octets);
  if (baseKey != nullptr) *baseKey = std::move(key);
  return 0;
}

const sxASN_PBMParameter *sxSoundPasswordMac(const sxASN_PKMACValue &mac) {
  if (!IsAlgorithm(mac.algId) || !mac.algId->algorithm->OidEquiv(sxASN_id_PasswordBasedMac)) return nullptr;
  const sxAsnType *const value = mac.algId->parameters == nullptr ? nullptr : mac.algId->parameters->Value();
  if (value == nullptr || value->Info() != &sxASN_PBMParameter::kInfo) return nullptr;
  const auto *const params = static_cast<const sxASN_PBMParameter *>(value);
  if (!AreWhole(params) || !IsHmacSha1(*params->mac->algorithm)) return nullptr;
  const int digestLen = kx_md_len(MdType_By_MdOID(*params->owf->algorithm));
  if (digestLen == 0 || digestLen > kMaxPbmDigestLen) return nullptr;
  return mac.value != nullptr && mac.value->BitLen() == kPbmMacLen * 8 ? params : nullptr;
}
