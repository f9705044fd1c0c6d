#include "kxECDSA_imp.h"

#include <openssl/ecdsa.h>

#include "ecKey.h"
#include "ecOperation.h"
#include "keys/keyGate.h"
#include "keys/keyOctets.h"
#include "keys/libcryptoTypes.h"
#include "kxcert/keys/kxECDSA.h"
#include "kxcert/platform/log.h"

kxECDSA_imp::kxECDSA_imp(int curveNid) {
  Adopt(EcKey(kxGenECDSA(curveNid)));
  if (!kxECDSA_imp::OK()) herror_func(0, 0, "kxECDSA_imp: Error generating key-pair for curve %d", curveNid);
}

kxECDSA_imp::kxECDSA_imp(const char *curveName) {
  Adopt(EcKey(kxGenECDSA(curveName)));
  if (!kxECDSA_imp::OK())
    herror_func(0, 0, "kxECDSA_imp: Error generating key-pair for curve %s", curveName == nullptr ? "" : curveName);
}

kxECDSA_imp::kxECDSA_imp(sxPK_Format format, const unsigned char *data, int dataLen, int curveNid) {
  if (format == sxPK_private) {
    Adopt(EcKey(kxECDSA_from_buf(format, data, dataLen, curveNid)));
  } else if (const Curve *curve = FindCurve(curveNid); curve != nullptr && format == sxPK_public) {
    ImportPoint(*curve, sxView(data, dataLen));
  }
}

kxECDSA_imp::kxECDSA_imp(const Curve &curve, sxOctetView point) { ImportPoint(curve, point); }

void kxECDSA_imp::Adopt(EcKey key) {
  const Curve *curve = CurveOfKey(key.get());
  if (curve == nullptr) return;
  m_pointLen = sxLen(PointOfKey(key.get(), m_point));
  if (m_pointLen == 0) return;
  m_hasPrivate = EC_KEY_get0_private_key(key.get()) != nullptr;
  m_curve = curve;
  m_key.Get([&key] { return std::make_unique<EcKey>(std::move(key)); });
}

void kxECDSA_imp::ImportPoint(const Curve &curve, sxOctetView point) {
  m_pointLen = sxLen(ReadPoint("kxECDSA_imp::test_if_ok", curve, point, m_point));
  if (m_pointLen != 0) m_curve = &curve;
}

EC_KEY *kxECDSA_imp::Key() const {
  const EcKey *const key = m_key.Get([this] {
    EcKey made(NewPublicEcKey(*m_curve, Point()));
    return made == nullptr ? nullptr : std::make_unique<EcKey>(std::move(made));
  });
  return key == nullptr ? nullptr : key->get();
}

int kxECDSA_imp::Flags() const { return KeyFlags(OK() != 0, m_hasPrivate); }

int kxECDSA_imp::Encrypt(sxPKop_type, const unsigned char *, int, unsigned char *, int) {
  herror_func(0, 0, "kxECDSA_imp::Encrypt: an EC key does not encrypt");
  return kKeyNotImplemented;
}

int kxECDSA_imp::Decrypt(sxPKop_type, const unsigned char *, int, unsigned char *, int) {
  herror_func(0, 0, "kxECDSA_imp::Decrypt: an EC key does not decrypt");
  return kKeyNotImplemented;
}

int kxECDSA_imp::Sign(sxPKop_type op, sx_md_type md, const unsigned char *in, int inLen, unsigned char *out,
                      int outLen) {
  return Sign(op, md, in, inLen, out, outLen, nullptr, nullptr);
}

int kxECDSA_imp::Sign(sxPKop_type op, sx_md_type md, const unsigned char *in, int inLen, unsigned char *out, int outLen,
                      const BIGNUM *inverseNonce, const BIGNUM *r) {
  const KeyGate gate{"kxECDSA_imp::Sign", OK() != 0, m_hasPrivate, OK() != 0 ? m_curve->maxSigLen : 0,
                     "%s length too short"};
  sxOctetView message = sxView(in, inLen);
  kxBinBuf info;
  if (const int answer = PassSigningGate(gate, op, md, &message, &info, out, outLen)) return answer;
  const EcRequest request{
      .data = message.data(), .dataLen = sxLen(message), .out = out, .inverseNonce = inverseNonce, .r = r};
  const int rc = ecdsa_op_wrapper(kEcdsaSign, request, Key());
  if (rc <= 0) {
    herror_func(0, 0, "%s: failed, rc is %d", gate.func, rc);
    return kKeyLibraryFailed;
  }
  return rc;
}

int kxECDSA_imp::Verify(sxPKop_type, sx_md_type, const unsigned char *data, int dataLen, const unsigned char *sig,
                        int sigLen) {
  constexpr const char *kFunc = "kxECDSA_imp::Verify";
  if (!OK()) {
    herror_func(0, 0, "%s: error: badly initialized.", kFunc);
    return kKeyNotUsable;
  }
  if (data == nullptr || dataLen < 1 || sig == nullptr || sigLen < 0) {
    herror_func(0, 0, "%s: error: bad data.", kFunc);
    return kKeyBadInput;
  }
  EC_KEY *key = Key();
  const EcRequest request{.data = data, .dataLen = dataLen, .sig = sig, .sigLen = sigLen};
  const int rc = key == nullptr ? -1 : ecdsa_op_wrapper(kEcdsaVerify, request, key);
  if (rc == 1) {
    herror_func(0, 0, "%s: verify succeeded!", kFunc);
    return 0;
  }
  if (rc == 0) {
    herror_func(0, 0, "%s: error: bad data.", kFunc);
    return kKeyUnequal;
  }
  herror_func(0, 0, "%s: general error: %d", kFunc, rc);
  return kKeyLibraryFailed;
}

int kxECDSA_imp::Export(sxPK_Format format, unsigned char *out, int outLen) {
  constexpr const char *kFunc = "kxECDSA_imp::Export";
  if (format == sxPK_set) {
    return ExportSet(kFunc, OK() != 0, out, outLen, [this] { return kxECDSA_to_set(Key()); });
  }
  return ExportOctets(kFunc, OK() != 0, format, out, outLen, [this](bool privateForm, kxBinBuf *area) {
    if (!privateForm) return Point();
    return m_hasPrivate && kxECDSA_to_buf(Key(), *area, 1) == 0 ? ViewOf(*area) : sxOctetView();
  });
}

sxset *kxECDSA_imp::PublicSet() const { return OK() != 0 ? EcToSet(Key(), false) : nullptr; }

int kxECDSA_imp::GetLen(sxPK_Len_Type type) {
  if (!OK()) return -1;
  if (type == sxPK_len_bits) return m_curve->orderBits;
  return type == sxPK_len_output ? m_curve->maxSigLen : -1;
}

void kxECDSA_imp::Herror() const {
  if (m_curve != nullptr) LogEcKey(*m_curve, Point(), m_hasPrivate);
}
