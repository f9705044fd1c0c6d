#include "kxECDH_imp.h"

#include <cstring>
#include <utility>

#include "ecKey.h"
#include "ecOperation.h"
#include "keys/keyOctets.h"
#include "kxcert/foundation/hexText.h"
#include "kxcert/foundation/sxString.h"
#include "kxcert/keys/kxECDSA.h"
#include "kxcert/keys/pkxl.h"
#include "kxcert/platform/log.h"

namespace {

struct IkeGroup {
  int number;
  int nid;
  const char *text;  // kGroupTextLen characters
};
constexpr int kGroupTextLen = 2;
constexpr IkeGroup kIkeGroups[] = {{19, 415, "19"}, {20, 715, "20"}};  // RFC 5903, section 9

const IkeGroup *FindGroup(int number) {
  for (const IkeGroup &group : kIkeGroups) {
    if (group.number == number) return &group;
  }
  return nullptr;
}

unsigned int Number(int value) { return static_cast<unsigned int>(value); }

}  // namespace

bool EcdhAreaFits(const char *func, const unsigned char *out, int outLen, int needed) {
  const int room = out == nullptr || outLen < 0 ? 0 : outLen;
  if (room >= needed) return true;
  tderrorFunc("ec", 1, 0, "%s: passed buffer is too small (%u < %u)", func, Number(room), Number(needed));
  return false;
}

int ComputeEcdhSecret(const Curve &curve, EC_KEY *own, const unsigned char *peer, kxBinBuf &offloadKey,
                      kxBinBuf &secret) {
  kxBinBuf octets = SensitiveBuf(curve.coordLen);
  if (ECDH_compute_key_wrapper(peer, curve.PointLen(), octets.Data(), curve.coordLen, own, offloadKey) !=
      curve.coordLen) {
    return -1;
  }
  secret = std::move(octets);
  return 0;
}

void kxECDH_imp::Enter(EcdhStage stage) {
  if (stage < kSecretThere) m_secret.Clear();
  if (stage < kOwnKey) {
    m_own.reset();
    m_ownIsShared = false;
    m_offloadKey.Clear();
  }
  if (stage < kGroupSet) {
    m_group = 0;
    m_curve = nullptr;
  }
  m_stage = stage;
}

int kxECDH_imp::Begin(const char *func, int group, const void *address) {
  Enter(kInvalid);
  const IkeGroup *const row = FindGroup(group);
  if (row == nullptr) {
    tderrorFunc("ec", 1, 0, "%s: Got group number %u, which is invalid", func, Number(group));
    return -1;
  }
  m_group = row->number;
  m_curve = FindCurve(row->nid);
  Enter(kGroupSet);
  tderrorFunc("ec", 5, 0, "%s: Initialized with group %u at address %p", func, Number(group), address);
  return 0;
}

void kxECDH_imp::AdoptOwn(const char *func, EcKey key, bool isShared) {
  Enter(kOwnKey);
  m_own = std::move(key);
  m_ownIsShared = isShared;
  m_offloadKey.Clear();
  if (!pkxl_should_use() || kxECDSA_to_buf(m_own.get(), m_offloadKey, 1) == 0) return;
  // The secret is then computed in this process.
  tderrorFunc("ec", 2, 0, "%s: kxECDSA_to_buf failed", func);
}

void kxECDH_imp::AdoptSecret(kxBinBuf secret) {
  m_secret = std::move(secret);
  Enter(kSecretThere);
}

int kxECDH_imp::ReadMaterial(const char *privateHex, const char *xHex, const char *yHex) {
  constexpr const char *kFunc = "kxECDH::kxECDH";
  const int digits = 2 * FieldLen();
  kxBinBuf scalar = SensitiveBuf(FieldLen());
  unsigned char octets[kMaxPointLen] = {POINT_CONVERSION_UNCOMPRESSED};
  if (string_to_bytes(privateHex, digits, scalar.Data(), FieldLen()) != 0 ||
      string_to_bytes(xHex, digits, octets + 1, FieldLen()) != 0 ||
      string_to_bytes(yHex, digits, octets + 1 + FieldLen(), FieldLen()) != 0) {
    tderrorFunc("ec", 1, 0, "%s: key material of group %u is three times %u hexadecimal digits", kFunc, Number(m_group),
                Number(digits));
    return -1;
  }
  unsigned char point[kMaxPointLen];
  const sxOctetView own = ReadPoint(kFunc, *m_curve, sxView(octets, m_curve->PointLen()), point);
  EcKey key(own.empty() ? nullptr : NewPrivateEcKey(*m_curve, own, scalar));
  if (key == nullptr) {
    tderrorFunc("ec", 1, 0, "%s: the point is not on the curve, or not the private value's", kFunc);
    return -1;
  }
  AdoptOwn(kFunc, std::move(key), false);
  return 0;
}

bool kxECDH_imp::Allows(const char *func, EcdhStage lowest) const {
  if (m_stage >= lowest) return true;
  tderrorFunc("ec", 1, 0, "%s: Called when stage is %u. This is not valid.", func, Number(m_stage));
  return false;
}

bool kxECDH_imp::AllowsGenerate(const char *func) const {
  if (m_stage >= kGroupSet) return true;
  tderrorFunc("ec", 1, 0, "%s: called when stage=%u", func, Number(m_stage));
  return false;
}

bool kxECDH_imp::IsIdle(const char *func) const {
  if (m_call == nullptr) return true;
  tderrorFunc("ec", 1, 0, "%s: Called while an asynchronous call is under way.", func);
  return false;
}

kxECDH::kxECDH(int group) : m_imp(new kxECDH_imp) { initialize(group); }

kxECDH::kxECDH(int group, const char *privateHex, const char *xHex, const char *yHex) : m_imp(new kxECDH_imp) {
  if (initialize(group) != 0) return;
  const auto isWhole = [this](const char *text) {
    const auto digits = 2 * static_cast<size_t>(m_imp->FieldLen());
    return text != nullptr && strnlen(text, digits + 1) == digits;
  };
  // A shorter text, or none, fails like one that has no digits.
  if (!isWhole(privateHex) || !isWhole(xHex) || !isWhole(yHex)) privateHex = nullptr;
  if (m_imp->ReadMaterial(privateHex, xHex, yHex) != 0) m_imp->Enter(kInvalid);
}

kxECDH::kxECDH(const char *text) : m_imp(new kxECDH_imp) {
  constexpr const char *kFunc = "kxECDH::kxECDH";
  for (const IkeGroup &group : kIkeGroups) {
    const size_t digits = 2 * static_cast<size_t>(FindCurve(group.nid)->coordLen);
    const size_t textLen = kGroupTextLen + 3 * (1 + digits);
    if (text == nullptr || strnlen(text, textLen + 1) != textLen) continue;
    if (std::memcmp(text, group.text, kGroupTextLen) != 0) continue;
    const char *const privateHex = text + kGroupTextLen + 1;
    const char *const xHex = privateHex + digits + 1;
    const char *const yHex = xHex + digits + 1;
    if (privateHex[-1] != ':' || xHex[-1] != ':' || yHex[-1] != ':') continue;
    if (initialize(group.number) != 0 || m_imp->ReadMaterial(privateHex, xHex, yHex) != 0) m_imp->Enter(kInvalid);
    return;
  }
  tderrorFunc("ec", 1, 0, "%s: the text is not a group, a private value and a point", kFunc);
}

kxECDH::~kxECDH() {
  if (m_imp->m_call != nullptr) m_imp->m_call->Forget();
  delete m_imp;
}

int kxECDH::OK() const { return m_imp->m_stage == kInvalid ? 0 : 1; }

int kxECDH::initialize(int group) {
  constexpr const char *kFunc = "kxECDH::initialize";
  return m_imp->IsIdle(kFunc) ? m_imp->Begin(kFunc, group, this) : -1;
}

int kxECDH::generate() {
  constexpr const char *kFunc = "kxECDH::generate";
  if (!m_imp->IsIdle(kFunc) || !m_imp->AllowsGenerate(kFunc)) return -1;
  bool isShared = false;
  EcKey key(EC_KEY_new_semi_ephemeral(m_imp->m_curve->nid, &isShared));
  if (key == nullptr) return -1;
  m_imp->AdoptOwn(kFunc, std::move(key), isShared);
  return 0;
}

int kxECDH::getPublic4IKE(unsigned char *out, int outLen) const {
  constexpr const char *kFunc = "kxECDH::getPublic4IKE";
  if (!m_imp->Allows(kFunc, kOwnKey)) return -1;
  const int fieldLen = m_imp->FieldLen();
  if (!EcdhAreaFits(kFunc, out, outLen, 2 * fieldLen)) return -1;
  const ErrorQueueMark mark;
  const EC_KEY *const key = m_imp->m_own.get();
  const BigNum x(BN_new()), y(BN_new());
  if (x == nullptr || y == nullptr ||
      EC_POINT_get_affine_coordinates(EC_KEY_get0_group(key), EC_KEY_get0_public_key(key), x.get(), y.get(), nullptr) !=
          1) {
    tderrorFunc("ec", 1, 0, "%s: error converting public key to bignum pair", kFunc);
    return -1;
  }
  if (BN_bn2binpad(x.get(), out, fieldLen) != fieldLen || BN_bn2binpad(y.get(), out + fieldLen, fieldLen) != fieldLen) {
    tderrorFunc("ec", 1, 0, "%s: failed converting bignum pair to buffer", kFunc);
    return -1;
  }
  return 2 * fieldLen;
}

int kxECDH::setPeerPublic(const unsigned char *in, int inLen) {
  constexpr const char *kFunc = "kxECDH::setPeerPublic";
  if (!m_imp->IsIdle(kFunc) || !m_imp->Allows(kFunc, kOwnKey)) return -1;
  const Curve &curve = *m_imp->m_curve;
  const int wantedLen = 2 * curve.coordLen;
  if (in == nullptr || inLen != wantedLen) {
    tderrorFunc("ec", 1, 0, "%s: size of input is incorrect (%u != %u)", kFunc, Number(in == nullptr ? 0 : inLen),
                Number(wantedLen));
    return -1;
  }
  unsigned char octets[kMaxPointLen] = {POINT_CONVERSION_UNCOMPRESSED};
  std::memcpy(octets + 1, in, static_cast<size_t>(inLen));
  unsigned char point[kMaxPointLen];
  if (ReadPoint(kFunc, curve, sxView(octets, curve.PointLen()), point).empty()) {
    tderrorFunc("ec", 1, 0, "%s: Peer point is at infinity or not on curve", kFunc);
    return -1;
  }
  std::memcpy(m_imp->m_peer, point, static_cast<size_t>(curve.PointLen()));
  m_imp->Enter(kPeerStored);
  tderrorFunc("ec", 5, 0, "%s: Stored public key of peer", kFunc);
  return 0;
}

int kxECDH::derive() {
  constexpr const char *kFunc = "kxECDH::derive";
  if (!m_imp->IsIdle(kFunc) || !m_imp->Allows(kFunc, kPeerStored)) return -1;
  kxBinBuf secret;
  if (ComputeEcdhSecret(*m_imp->m_curve, m_imp->m_own.get(), m_imp->m_peer, m_imp->m_offloadKey, secret) != 0)
    return -1;
  m_imp->AdoptSecret(std::move(secret));
  return 0;
}

int kxECDH::getShared(unsigned char *out, int outLen) const {
  constexpr const char *kFunc = "kxECDH::getShared";
  if (!m_imp->Allows(kFunc, kSecretThere)) return -1;
  if (!EcdhAreaFits(kFunc, out, outLen, m_imp->FieldLen())) return -1;
  std::memcpy(out, m_imp->m_secret.Data(), m_imp->m_secret.Len());
  return m_imp->FieldLen();
}

int kxECDH::getGroup() const { return m_imp->m_group; }

int kxECDH::getPublic(sxString &x, sxString &y) const {
  if (!m_imp->Allows("kxECDH::getPublic", kOwnKey)) return -1;
  unsigned char octets[2 * kMaxPointLen];
  if (getPublic4IKE(octets, sizeof octets) < 0) return -1;
  SetHexText(sxView(octets, m_imp->FieldLen()), x);
  SetHexText(sxView(octets + m_imp->FieldLen(), m_imp->FieldLen()), y);
  return 0;
}

int kxECDH::getPrivate(sxString &privateHex) const {
  if (!m_imp->Allows("kxECDH::getPrivate", kOwnKey)) return -1;
  const kxBinBuf scalar = ScalarOfKey(*m_imp->m_curve, m_imp->m_own.get());  // as long as the field
  if (scalar.IsEmpty()) return -1;
  privateHex.SetSensitive(true);
  SetHexText(ViewOf(scalar), privateHex);
  return 0;
}

int kxECDH::isKeyShared() const { return m_imp->m_ownIsShared ? 1 : 0; }
