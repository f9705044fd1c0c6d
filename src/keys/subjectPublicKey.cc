#include "subjectPublicKey.h"

#include "keys/ec/curves.h"
#include "keys/ec/kxECDSA_imp.h"
#include "keys/keyAlgorithms.h"
#include "keys/keyRef.h"
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/sxAsnAny.h"
#include "kxcert/asn1/sxAsnBits.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/keys/kxSRSA.h"
#include "kxcert/platform/log.h"

namespace {

// ECParameters ::= CHOICE { namedCurve OBJECT IDENTIFIER, ... }, of which RFC 5480, 2.1.1 allows no other.
// Only the shortest length is read: two octets before the identifier's own.
const Curve *NamedCurve(sxOctetView params) {
  sxDerReader reader(params);
  sxOctetView oid;
  if (!reader.Take(kDerOid, &oid) || !reader.AtEnd() || params.size() != oid.size() + 2) return nullptr;
  return FindCurve(oid);
}

}  // namespace

sxPubKey *ImportSpkiRsa(sxOctetView, sxOctetView key) { return sxImportRSAKey(sxPK_public, key.data(), sxLen(key)); }

sxPubKey *ImportSpkiEc(sxOctetView params, sxOctetView key) {
  const Curve *curve = NamedCurve(params);
  if (curve == nullptr) {
    herror_func(0, 0, "sxPubKey_FromSPKI: no named curve that is known (%d bytes of parameters)", sxLen(params));
    return nullptr;
  }
  return IfUsable(new sxPubKey(new kxECDSA_imp(*curve, key)));
}

sxPubKey *sxPubKey_FromSPKI(const unsigned char *algOid, int algOidLen, const unsigned char *params, int paramsLen,
                            const unsigned char *key, int keyLen, sxSpkiResult *why) {
  const KeyAlgorithm *const algorithm = FindKeyAlgorithm(sxView(algOid, algOidLen));
  const KeyFamily *const family =
      algorithm != nullptr && algorithm->standsForKeys ? FindKeyFamily(algorithm->family) : nullptr;
  sxPubKey *made = nullptr;
  if (family != nullptr && family->import != nullptr) {
    made = family->import(sxView(params, paramsLen), sxView(key, keyLen));
  }
  if (why != nullptr) *why = made != nullptr ? sxSpki_ok : family != nullptr ? family->onFailure : sxSpki_unsupported;
  return made;
}

sxPubKey *sxPubKey_FromSPKI(const sxASN_SubjectPublicKeyInfo &spki, sxSpkiResult *why) {
  const sxASN_AlgorithmIdentifier *algorithm = spki.algorithm;
  if (algorithm == nullptr || algorithm->algorithm == nullptr) {
    return sxPubKey_FromSPKI(nullptr, 0, nullptr, 0, nullptr, 0, why);
  }
  const unsigned char *params = nullptr;
  int paramsLen = 0;
  kxBinBuf encoded;
  if (sxAsnType *value = algorithm->parameters == nullptr ? nullptr : algorithm->parameters->Value()) {
    if (value->Info() == &sxAsnRawAny::kInfo) {  // as decoded
      params = static_cast<const sxAsnRawAny *>(value)->Data();
      paramsLen = static_cast<const sxAsnRawAny *>(value)->Len();
    } else if (sxASN_EncodeBuf(*value, encoded, 1) == 0) {
      params = encoded.Data();
      paramsLen = static_cast<int>(encoded.Len());
    }
  }
  const sxAsnBits *bits = spki.subjectPublicKey;
  const bool whole = bits != nullptr && bits->BitLen() % 8 == 0;
  return sxPubKey_FromSPKI(algorithm->algorithm->Data(), algorithm->algorithm->Len(), params, paramsLen,
                           whole ? bits->Data() : nullptr, whole ? bits->Len() : 0, why);
}
