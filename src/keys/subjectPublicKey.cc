#include "kxcert/keys/subjectPublicKey.h"

#include <cstring>

#include "keys/ec/curves.h"
#include "keys/ec/kxECDSA_imp.h"
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/asn1/sxAsnAny.h"
#include "kxcert/asn1/sxAsnBits.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/keys/kxSRSA.h"
#include "kxcert/platform/log.h"

namespace {

// What each algorithm's failure is called; sxSpki_dsa stands for a kind that is never imported.
struct AlgorithmRow {
  const sxAsnOid *oid;
  sxSpkiResult onFailure;
};
constexpr AlgorithmRow kAlgorithms[] = {
    {&sxASN_rsaEncryption, sxSpki_bad_rsa},
    {&sxASN_ECDSAPublicKey, sxSpki_bad_ec},
    {&sxASN_dsa, sxSpki_dsa},
    // Signature algorithms in place of the key's, as some issuers write. Held by
    // SubjectPublicKey.TakesRsaSignatureAlgorithms.
    {&sxASN_md5WithRSAEncryption, sxSpki_bad_rsa},
    {&sxASN_sha1WithRSAEncryption, sxSpki_bad_rsa},
    {&sxASN_sha_1WithRSAEncryption, sxSpki_bad_rsa},
    {&sxASN_sha256WithRSAEncryption, sxSpki_bad_rsa},
    {&sxASN_sha384WithRSAEncryption, sxSpki_bad_rsa},
    {&sxASN_sha512WithRSAEncryption, sxSpki_bad_rsa},
};

sxSpkiResult Classify(const unsigned char *oid, int oidLen) {
  if (oid == nullptr || oidLen < 1) return sxSpki_unsupported;
  for (const AlgorithmRow &row : kAlgorithms) {
    if (row.oid->Len() == oidLen && std::memcmp(row.oid->Data(), oid, static_cast<size_t>(oidLen)) == 0) {
      return row.onFailure;
    }
  }
  return sxSpki_unsupported;
}

// ECParameters ::= CHOICE { namedCurve OBJECT IDENTIFIER, ... }, of which RFC 5480, 2.1.1 allows no other.
// Only the shortest length is read: two octets before the identifier's own.
const Curve *NamedCurve(sxOctetView params) {
  sxDerReader reader(params);
  sxOctetView oid;
  if (!reader.Take(kDerOid, &oid) || !reader.AtEnd() || params.size() != oid.size() + 2) return nullptr;
  return FindCurve(oid);
}

sxPubKey *ImportEc(sxOctetView params, sxOctetView point) {
  const Curve *curve = NamedCurve(params);
  if (curve == nullptr) {
    herror_func(0, 0, "sxPubKey_FromSPKI: no named curve that is known (%d bytes of parameters)", sxLen(params));
    return nullptr;
  }
  auto *made = new sxPubKey(new kxECDSA_imp(*curve, point));
  if (made->OK()) return made;
  sxFreePubKey(made);
  return nullptr;
}

}  // namespace

sxPubKey *sxPubKey_FromSPKI(const unsigned char *algOid, int algOidLen, const unsigned char *params, int paramsLen,
                            const unsigned char *key, int keyLen, sxSpkiResult *why) {
  const sxSpkiResult onFailure = Classify(algOid, algOidLen);
  sxPubKey *made = nullptr;
  if (onFailure == sxSpki_bad_rsa) made = sxImportRSAKey(sxPK_public, key, keyLen);
  if (onFailure == sxSpki_bad_ec) made = ImportEc(sxView(params, paramsLen), sxView(key, keyLen));
  if (why != nullptr) *why = made != nullptr ? sxSpki_ok : onFailure;
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
