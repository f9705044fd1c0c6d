#include "ecKey.h"

#include "keys/keyOctets.h"
#include "keys/libcryptoTypes.h"
#include "kxcert/keys/kxECDSA.h"
#include "kxcert/platform/log.h"

namespace {

constexpr const char *kCheckFunc = "kxECDSA_imp::test_if_ok";
constexpr int kMaxPrivateDerLen = 1024;  // when read: more than the longest curve's key has, parameters spelt out
constexpr int kPrivateDerRoom = 300;     // when written: a scalar, a point, an object identifier and their headers

//   ECPrivateKey ::= SEQUENCE { version INTEGER (1), privateKey OCTET STRING,
//                               parameters [0] OBJECT IDENTIFIER, publicKey [1] BIT STRING }   (RFC 5915, 3)
// Written here, because libcrypto leaves a copy of the scalar in memory that it frees.
int EncodePrivate(const Curve &curve, const EC_KEY *key, kxBinBuf &out) {
  unsigned char pointArea[kMaxPointLen];
  const sxOctetView point = PointOfKey(key, pointArea);
  const kxBinBuf scalar = ScalarOfKey(curve, key);
  if (point.empty() || scalar.IsEmpty()) return -1;
  constexpr unsigned char kVersion = 1;
  kxBinBuf area = SensitiveBuf(kPrivateDerRoom);
  sxDerWriter writer({area.Data(), area.Len()});
  writer.Octets(point);
  writer.Octet(0);  // unused bits
  writer.Wrap(kDerBitString);
  writer.Wrap(DerContextConstructed(1));
  const int publicKey = writer.Mark();
  writer.Element(kDerOid, ViewOf(*curve.oid));
  writer.Wrap(DerContextConstructed(0), publicKey);
  writer.Element(kDerOctetString, ViewOf(scalar));
  writer.Element(kDerInteger, {&kVersion, 1});
  writer.Wrap(kDerSequence);
  if (writer.Written().empty()) return -1;
  out = JoinOctets(writer.Written(), {}, true);
  return 0;
}

EC_KEY *FromPrivateDer(const unsigned char *data, int dataLen, int curveNid) {
  if (dataLen > kMaxPrivateDerLen) return nullptr;
  const ErrorQueueMark mark;
  // With a curve given, the DER may leave its parameters out (RFC 5915, 3).
  EC_KEY *base = curveNid == 0 ? nullptr : EC_KEY_by_nid_with_precompute(curveNid);
  if (curveNid != 0 && base == nullptr) return nullptr;
  const unsigned char *end = data;
  EcKey read(d2i_ECPrivateKey(base == nullptr ? nullptr : &base, &end, dataLen));
  if (read == nullptr) {
    EC_KEY_free(base);  // libcrypto frees only what it made itself
    herror_func(0, 0, "kxECDSA_from_buf: not an ECPrivateKey (%d bytes)", dataLen);
    return nullptr;
  }
  const Curve *curve = CurveOfKey(read.get());
  if (end != data + dataLen || curve == nullptr || (curveNid != 0 && curve->nid != curveNid)) {
    herror_func(0, 0, "kxECDSA_from_buf: another curve, or octets after the key");
    return nullptr;
  }
  unsigned char area[kMaxPointLen];
  const sxOctetView point = PointOfKey(read.get(), area);
  const kxBinBuf scalar = ScalarOfKey(*curve, read.get());
  if (point.empty() || scalar.IsEmpty()) return nullptr;
  return NewPrivateEcKey(*curve, point, scalar);  // onto the process's group
}

}  // namespace

EC_KEY *NewPublicEcKey(const Curve &curve, sxOctetView point) {
  const ErrorQueueMark mark;
  EcKey key(EC_KEY_by_nid_with_precompute(curve.nid));
  if (key == nullptr || EC_KEY_oct2key(key.get(), point.data(), point.size(), nullptr) != 1) { return nullptr; }
  return key.release();
}

EC_KEY *NewPrivateEcKey(const Curve &curve, sxOctetView point, const kxBinBuf &scalar) {
  const ErrorQueueMark mark;
  EcKey key(NewPublicEcKey(curve, point));
  const BigNum number(BN_bin2bn(scalar.Data(), static_cast<int>(scalar.Len()), nullptr));
  if (key == nullptr || number == nullptr || EC_KEY_set_private_key(key.get(), number.get()) != 1) { return nullptr; }
  // A scalar that does not belong to the point would sign what nobody can verify.
  return kxECDSA_is_ok(key.get()) ? key.release() : nullptr;
}

const Curve *CurveOfKey(const EC_KEY *key) {
  const EC_GROUP *group = key == nullptr ? nullptr : EC_KEY_get0_group(key);
  if (group == nullptr || EC_KEY_decoded_from_explicit_params(key) == 1) return nullptr;
  return FindCurve(EC_GROUP_get_curve_name(group));
}

sxOctetView PointOfKey(const EC_KEY *key, unsigned char *area) {
  const EC_POINT *own = EC_KEY_get0_public_key(key);
  const EC_GROUP *const group = EC_KEY_get0_group(key);
  if (own == nullptr || EC_POINT_is_at_infinity(group, own)) return {};
  return {area, EC_POINT_point2oct(group, own, POINT_CONVERSION_UNCOMPRESSED, area, kMaxPointLen, nullptr)};
}

kxBinBuf ScalarOfKey(const Curve &curve, const EC_KEY *key) {
  const BIGNUM *const number = EC_KEY_get0_private_key(key);
  kxBinBuf scalar = SensitiveBuf(curve.ScalarLen());
  if (number == nullptr || BN_is_negative(number) || BN_bn2binpad(number, scalar.Data(), curve.ScalarLen()) < 0) {
    scalar.Clear();
  }
  return scalar;
}

void LogEcKey(const Curve &curve, sxOctetView point, bool hasPrivate) {
  if (!kxLog_DebugOn()) return;
  herror_func(0, 0, "EC key: curve %s, public point:", curve.name);
  hex_herror(point.data(), sxLen(point));
  herror_func(0, 0, "EC key: private part: %s", hasPrivate ? "yes" : "no");
}

EC_KEY *kxGenECDSA(int curveNid) {
  const ErrorQueueMark mark;
  EcKey key(EC_KEY_by_nid_with_precompute(curveNid));
  if (key == nullptr || EC_KEY_generate_key(key.get()) != 1 || kxECDSA_is_ok(key.get()) == 0) return nullptr;
  return key.release();
}

EC_KEY *kxGenECDSA(const char *curveName) {
  const Curve *curve = FindCurve(curveName);
  return curve == nullptr ? nullptr : kxGenECDSA(curve->nid);
}

EC_KEY *kxECDSA_from_buf(sxPK_Format format, const unsigned char *data, int dataLen, int curveNid) {
  if (data == nullptr || dataLen < 1) return nullptr;
  if (format == sxPK_private) return FromPrivateDer(data, dataLen, curveNid);
  const Curve *curve = FindCurve(curveNid);
  if (format != sxPK_public || curve == nullptr) return nullptr;
  unsigned char area[kMaxPointLen];
  const sxOctetView point = ReadPoint(kCheckFunc, *curve, sxView(data, dataLen), area);
  return point.empty() ? nullptr : NewPublicEcKey(*curve, point);
}

int kxECDSA_to_buf(const EC_KEY *key, kxBinBuf &out, int privateForm) {
  const Curve *const curve = CurveOfKey(key);
  if (curve == nullptr) return -1;
  if (privateForm == 0) {
    unsigned char area[kMaxPointLen];
    const sxOctetView point = PointOfKey(key, area);
    if (point.empty()) return -1;
    out.Set(point.data(), static_cast<unsigned int>(point.size()));
    return 0;
  }
  const ErrorQueueMark mark;
  return EncodePrivate(*curve, key, out);
}

int kxECDSA_is_ok(const EC_KEY *key) {
  const EC_POINT *point = key == nullptr ? nullptr : EC_KEY_get0_public_key(key);
  if (CurveOfKey(key) == nullptr || point == nullptr) {
    herror_func(0, 0, "%s: no public key on a known curve", kCheckFunc);
    return 0;
  }
  const ErrorQueueMark mark;
  const EC_GROUP *group = EC_KEY_get0_group(key);
  if (EC_POINT_is_at_infinity(group, point)) {
    herror_func(0, 0, "%s: public key is the point at infinity", kCheckFunc);
    return 0;
  }
  const BigNum p(BN_new()), x(BN_new()), y(BN_new());
  if (p == nullptr || x == nullptr || y == nullptr ||
      EC_GROUP_get_curve(group, p.get(), nullptr, nullptr, nullptr) != 1 ||
      EC_POINT_get_affine_coordinates(group, point, x.get(), y.get(), nullptr) != 1 || BN_is_negative(x.get()) ||
      BN_is_negative(y.get()) || BN_cmp(x.get(), p.get()) >= 0 || BN_cmp(y.get(), p.get()) >= 0) {
    herror_func(0, 0, "%s: public key fails sanity checks. Either X or Y is not between 0 and field order.",
                kCheckFunc);
    return 0;
  }
  if (EC_KEY_check_key(key) != 1) {
    herror_func(0, 0, "%s: EC_KEY_check_key failed.", kCheckFunc);
    return 0;
  }
  return 1;
}

void kxECDSA_herror(const EC_KEY *key) {
  if (!kxLog_DebugOn()) return;
  const Curve *curve = CurveOfKey(key);
  unsigned char area[kMaxPointLen];
  const sxOctetView point = curve == nullptr ? sxOctetView() : PointOfKey(key, area);
  if (curve == nullptr || point.empty()) {
    herror_func(0, 0, "kxECDSA_herror: no key");
    return;
  }
  LogEcKey(*curve, point, EC_KEY_get0_private_key(key) != nullptr);
}
