#include "curves.h"

#include <openssl/obj_mac.h>

#include <atomic>
#include <cstring>
#include <iterator>
#include <optional>

#include "keys/keyOctets.h"
#include "keys/libcryptoTypes.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/keys/kxECDSA.h"
#include "kxcert/platform/log.h"
#include "platform/guarded.h"
#include "platform/threadEnd.h"

namespace {

// RFC 5480, 2.1.1.1; the first one is the default.
constexpr Curve kCurves[] = {
    {"prime256v1", NID_X9_62_prime256v1, "X9.62/SECG curve over a 256 bit prime field", &sxASN_prime256v1, 256, 32, 72},
    {"secp384r1", NID_secp384r1, "NIST/SECG curve over a 384 bit prime field", &sxASN_secp384r1, 384, 48, 104},
    {"secp521r1", NID_secp521r1, "NIST/SECG curve over a 521 bit prime field", &sxASN_secp521r1, 521, 66, 139},
};
constexpr size_t kNumCurves = std::size(kCurves);
static_assert(NID_X9_62_prime256v1 == 415 && NID_secp384r1 == 715 && NID_secp521r1 == 716,
              "sets and callers carry these numbers");

// Read without a lock; written once under it. Never freed: keys live as long as they like.
std::atomic<const EC_GROUP *> g_groups[kNumCurves];
sxMutex g_groupsMutex;

EC_GROUP *MakeGroup(const char *func, const Curve &curve) {
  herror_func(0, 0, "%s: Group for NID %u not initialized yet", func, static_cast<unsigned>(curve.nid));
  EC_GROUP *group = EC_GROUP_new_by_curve_name(curve.nid);
  if (group == nullptr) {
    herror_func(0, 0, "%s: Failed to allocate group object.", func);
    return nullptr;
  }
  herror_func(0, 0, "%s: Allocated group object at %p. Calling precompute.", func, static_cast<void *>(group));
  const int rc = EC_GROUP_precompute_mult(group, nullptr);
  herror_func(0, 0, "%s: Precompute returned %d", func, rc);
  return group;
}

// Decoding a point is most of what importing a key costs; making these two is half of that again.
struct PointScratch {
  BigNumContext context{BN_CTX_new()};
  EcPoint points[kNumCurves];
};

// RFC 5480, 2.2: uncompressed must be read, compressed may be, and the hybrid form (06 and 07, which
// libcrypto takes) must not.
bool IsKnownForm(unsigned char first) { return first >= 2 && first <= 4; }

const char *WhyNoPoint(const Curve &curve, sxOctetView octets) {
  const int len = sxLen(octets);
  if (len == 1 && octets[0] == 0) return "%s: public key is the point at infinity";
  if (!IsKnownForm(octets[0])) return "%s: public key is neither uncompressed nor compressed";
  if (len != curve.PointLen() && len != 1 + curve.coordLen) return "%s: public key has a wrong length";
  BigNum p(BN_new()), coordinate(BN_new());
  if (p == nullptr || coordinate == nullptr ||
      EC_GROUP_get_curve(CurveGroup(curve), p.get(), nullptr, nullptr, nullptr) != 1) {
    return "%s: public key cannot be checked";
  }
  for (int pos = 1; pos < len; pos += curve.coordLen) {
    BN_bin2bn(octets.data() + pos, curve.coordLen, coordinate.get());
    if (BN_cmp(coordinate.get(), p.get()) >= 0) {
      return "%s: public key fails sanity checks. Either X or Y is not between 0 and field order.";
    }
  }
  return "%s: public key is not on the curve";
}

PointScratch &ScratchOfThread() {
  thread_local PointScratch scratch;
  return scratch;
}

}  // namespace

const Curve *FindCurve(int nid) {
  for (const Curve &curve : kCurves) {
    if (curve.nid == nid) return &curve;
  }
  return nullptr;
}

const Curve *FindCurve(const char *name) {
  if (name == nullptr || *name == '\0') return &kCurves[0];
  for (const Curve &curve : kCurves) {
    if (std::strcmp(curve.name, name) == 0) return &curve;
  }
  return nullptr;
}

const Curve *FindCurve(sxOctetView oid) {
  for (const Curve &curve : kCurves) {
    if (sxEqual(ViewOf(*curve.oid), oid)) return &curve;
  }
  return nullptr;
}

const EC_GROUP *CurveGroup(const Curve &curve) {
  std::atomic<const EC_GROUP *> &slot = g_groups[&curve - kCurves];
  if (const EC_GROUP *group = slot.load(std::memory_order_acquire)) return group;
  const sxLock lock(g_groupsMutex);
  if (const EC_GROUP *group = slot.load(std::memory_order_relaxed)) return group;
  const EC_GROUP *group = MakeGroup("EC_KEY_by_nid_with_precompute", curve);
  slot.store(group, std::memory_order_release);
  return group;
}

sxOctetView ReadPoint(const char *func, const Curve &curve, sxOctetView octets, unsigned char *point) {
  const EC_GROUP *group = CurveGroup(curve);
  if (group == nullptr || octets.empty()) return {};
  // What the thread keeps is gone while static objects are destroyed.
  kxThread_WatchEnd();
  std::optional<PointScratch> fresh;
  PointScratch &scratch = kxThread_IsEnding() ? fresh.emplace() : ScratchOfThread();
  EcPoint &decoded = scratch.points[&curve - kCurves];
  if (decoded == nullptr) decoded.reset(EC_POINT_new(group));
  const ErrorQueueMark mark;
  if (!IsKnownForm(octets[0]) || decoded == nullptr || scratch.context == nullptr ||
      EC_POINT_oct2point(group, decoded.get(), octets.data(), octets.size(), scratch.context.get()) != 1) {
    if (kxLog_DebugOn()) herror_func(0, 0, WhyNoPoint(curve, octets), func);
    return {};
  }
  if (octets[0] == POINT_CONVERSION_UNCOMPRESSED) {  // the only octets that denote this point
    std::ranges::copy(octets, point);
    return {point, octets.size()};
  }
  const size_t written = EC_POINT_point2oct(group, decoded.get(), POINT_CONVERSION_UNCOMPRESSED, point, kMaxPointLen,
                                            scratch.context.get());
  return {point, written};
}

EC_KEY *EC_KEY_by_nid_with_precompute(int curveNid) {
  constexpr const char *kFunc = "EC_KEY_by_nid_with_precompute";
  const Curve *curve = FindCurve(curveNid);
  if (curve == nullptr) {
    herror_func(0, 0, "%s: Failed to allocate group object.", kFunc);
    return nullptr;
  }
  const EC_GROUP *group = CurveGroup(*curve);
  if (group == nullptr) return nullptr;
  EcKey key(EC_KEY_new());
  if (key == nullptr) {
    herror_func(0, 0, "%s: Could not allocate EC Key", kFunc);
    return nullptr;
  }
  if (EC_KEY_set_group(key.get(), group) != 1) {
    herror_func(0, 0, "%s: Could not set group to key", kFunc);
    return nullptr;
  }
  return key.release();
}
