// What a peer sends as its public value, and key material as text. First octet: 0 or 1 a value of group 19 or
// 20 as it came; 2 or 3 an x coordinate, which becomes a point if there is one; anything else a text.
//
// A value is taken exactly when libcrypto finds its coordinates on the curve, and gives libcrypto's secret.
// A text that is taken is what the exchange prints, but for the case of digits.
#include <openssl/ec.h>
#include <openssl/ecdh.h>
#include <openssl/err.h>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <string>
#include <vector>

#include "check.h"
#include "kxcert/foundation/sxString.h"
#include "kxcert/keys/kxECDH.h"
#include "kxcert/keys/kxECDSA.h"

namespace {

std::string Text(const kxECDH &exchange) {
  sxString own, x, y;
  KX_ASSERT(exchange.getPrivate(own) == 0 && exchange.getPublic(x, y) == 0);
  return std::to_string(exchange.getGroup()) + ":" + own.getstr() + ":" + x.getstr() + ":" + y.getstr();
}

void TryValue(int group, std::vector<unsigned char> value, bool isX) {
  const size_t fieldLen = group == 19 ? 32 : 48;
  bool isShared = false;
  EC_KEY *const key = EC_KEY_new_semi_ephemeral(group == 19 ? 415 : 715, &isShared);
  KX_ASSERT(key != nullptr && isShared);
  const EC_GROUP *const curve = EC_KEY_get0_group(key);
  EC_POINT *const point = EC_POINT_new(curve);
  BIGNUM *const x = BN_new(), *const y = BN_new(), *const p = BN_new();
  KX_ASSERT(EC_GROUP_get_curve(curve, p, nullptr, nullptr, nullptr) == 1);
  if (isX) {
    value.resize(fieldLen);
    BN_bin2bn(value.data(), static_cast<int>(fieldLen), x);
    if (EC_POINT_set_compressed_coordinates(curve, point, x, value[0] & 1, nullptr) == 1) {
      EC_POINT_get_affine_coordinates(curve, point, x, y, nullptr);
    }
    value.resize(2 * fieldLen);
    BN_bn2binpad(y, value.data() + fieldLen, static_cast<int>(fieldLen));
  }
  bool good = value.size() == 2 * fieldLen;
  if (good) {
    BN_bin2bn(value.data(), static_cast<int>(fieldLen), x);
    BN_bin2bn(value.data() + fieldLen, static_cast<int>(fieldLen), y);
    // libcrypto takes a coordinate beyond the prime for its rest.
    good = BN_cmp(x, p) < 0 && BN_cmp(y, p) < 0 && EC_POINT_set_affine_coordinates(curve, point, x, y, nullptr) == 1;
  }
  kxECDH exchange(group);
  KX_ASSERT(exchange.generate() == 0);
  KX_ASSERT((exchange.setPeerPublic(value.data(), static_cast<int>(value.size())) == 0) == good);
  KX_ASSERT((exchange.derive() == 0) == good);
  if (good) {
    std::vector<unsigned char> ours(fieldLen), theirs(fieldLen);
    KX_ASSERT(exchange.getShared(ours.data(), static_cast<int>(fieldLen)) == static_cast<int>(fieldLen));
    KX_ASSERT(ECDH_compute_key(theirs.data(), fieldLen, point, key, nullptr) == static_cast<int>(fieldLen));
    KX_ASSERT(ours == theirs);
  }
  ERR_clear_error();
  BN_free(p);
  BN_free(y);
  BN_free(x);
  EC_POINT_free(point);
  EC_KEY_free(key);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  set_max_ephemeral_ec_key_age(0xFFFFFFFF);  // the same key throughout
  if (size > 0 && data[0] < 4) {
    TryValue(19 + data[0] % 2, std::vector<unsigned char>(data + 1, data + size), data[0] >= 2);
    return 0;
  }
  std::string text(reinterpret_cast<const char *>(data), size);
  text.resize(std::min(size, text.find('\0')));
  const kxECDH exchange(text.c_str());
  if (exchange.OK() == 0) return 0;
  for (char &digit : text) digit = static_cast<char>(std::tolower(static_cast<unsigned char>(digit)));
  KX_ASSERT(Text(exchange) == text);
  return 0;
}
