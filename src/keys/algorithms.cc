#include "kxcert/keys/algorithms.h"

#include "keyAlgorithms.h"
#include "keyOctets.h"
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/sxAsnAny.h"
#include "kxcert/asn1/sxAsnBool.h"
#include "kxcert/keys/keyCodes.h"

namespace {

struct HashRow {
  const sxAsnOid *oid;
  int mdType;
};
constexpr HashRow kHashes[] = {
    {&sxASN_md5, sx_md_md5},       {&sxASN_sha1, sx_md_sha1},     {&sxASN_sha256, sx_md_sha256},
    {&sxASN_sha384, sx_md_sha384}, {&sxASN_sha512, sx_md_sha512}, {&sxASN_sha512_256, sx_md_sha512_256},
};

// RFC 3279, 2.2.2, and RFC 5758, 3.1. DSA is only recognised, so that it can be refused by name.
constinit const sxAsnOid kDsaWithSha1{{1, 2, 840, 10040, 4, 3}};
constinit const sxAsnOid kDsaWithSha224{{2, 16, 840, 1, 101, 3, 4, 3, 1}};
constinit const sxAsnOid kDsaWithSha256{{2, 16, 840, 1, 101, 3, 4, 3, 2}};

// The first row that fits is the answer, in both directions; so the older identifier of SHA-1 with RSA
// is read but never written. RSA's signatures stand for its keys, too, as some issuers write. Held by
// data/keys/spki.txt.
constexpr KeyAlgorithm kAlgorithms[] = {
    {&sxASN_rsaEncryption, sxPK_RSA, sx_md_unknown, true},
    {&sxASN_md5WithRSAEncryption, sxPK_RSA, sx_md_md5, true},
    {&sxASN_sha1WithRSAEncryption, sxPK_RSA, sx_md_sha1, true},
    {&sxASN_sha_1WithRSAEncryption, sxPK_RSA, sx_md_sha1, true},
    {&sxASN_sha256WithRSAEncryption, sxPK_RSA, sx_md_sha256, true},
    {&sxASN_sha384WithRSAEncryption, sxPK_RSA, sx_md_sha384, true},
    {&sxASN_sha512WithRSAEncryption, sxPK_RSA, sx_md_sha512, true},
    {&sxASN_ECDSAPublicKey, sxPK_ECDSA, sx_md_unknown, true},
    {&sxASN_sha1WithECDSAEncryption, sxPK_ECDSA, sx_md_sha1, false},
    {&sxASN_sha256WithECDSAEncryption, sxPK_ECDSA, sx_md_sha256, false},
    {&sxASN_sha384WithECDSAEncryption, sxPK_ECDSA, sx_md_sha384, false},
    {&sxASN_sha512WithECDSAEncryption, sxPK_ECDSA, sx_md_sha512, false},
    {&sxASN_dsa, sxPK_DSA, sx_md_unknown, true},
    {&kDsaWithSha1, sxPK_DSA, sx_md_unknown, false},
    {&kDsaWithSha224, sxPK_DSA, sx_md_unknown, false},
    {&kDsaWithSha256, sxPK_DSA, sx_md_unknown, false},
};

constexpr KeyFamily kFamilies[] = {
    {sxPK_RSA, "RSA", sxSpki_bad_rsa, ImportSpkiRsa},
    {sxPK_DH, "DH", sxSpki_unsupported, nullptr},
    {sxPK_DSA, "DSA", sxSpki_dsa, nullptr},
    {sxPK_ECDSA, "ECDSA", sxSpki_bad_ec, ImportSpkiEc},
};

}  // namespace

const KeyAlgorithm *FindKeyAlgorithm(sxOctetView oid) {
  for (const KeyAlgorithm &row : kAlgorithms) {
    if (sxEqual(ViewOf(*row.oid), oid)) return &row;
  }
  return nullptr;
}

const KeyFamily *FindKeyFamily(int family) {
  for (const KeyFamily &row : kFamilies) {
    if (row.family == family) return &row;
  }
  return nullptr;
}

bool IsImportedKeyAlgorithm(const sxAsnOid &oid) {
  const KeyAlgorithm *const row = FindKeyAlgorithm(ViewOf(oid));
  return row != nullptr && row->standsForKeys && FindKeyFamily(row->family)->import != nullptr;
}

const sxAsnOid *HashOID_By_MD(int mdType) {
  for (const HashRow &row : kHashes) {
    if (row.mdType == mdType) return row.oid;
  }
  return nullptr;
}

int MdType_By_MdOID(const sxAsnOid &oid) {
  for (const HashRow &row : kHashes) {
    if (row.oid->OidEquiv(oid)) return row.mdType;
  }
  return sx_md_unknown;
}

const sxAsnOid *SignOID_By_MD(int mdType, int ecdsa) {
  const sxPK_Alg family = ecdsa != 0 ? sxPK_ECDSA : sxPK_RSA;
  for (const KeyAlgorithm &row : kAlgorithms) {
    if (row.mdType == mdType && row.family == family && mdType != sx_md_unknown) return row.oid;
  }
  return nullptr;
}

int MdType_By_SignOID(const sxAsnOid &oid) {
  const KeyAlgorithm *const row = FindKeyAlgorithm(ViewOf(oid));
  return row == nullptr ? sx_md_unknown : row->mdType;
}

int AlgType_By_SignOID(const sxAsnOid &oid) {
  const KeyAlgorithm *const row = FindKeyAlgorithm(ViewOf(oid));
  return row == nullptr ? -1 : row->family;
}

sxASN_AlgorithmIdentifier *sx_New_AlgID(const sxAsnOid &oid, sxAsnType *params) {
  auto *algorithm = new sxASN_AlgorithmIdentifier;
  algorithm->algorithm = new sxAsnOid(oid);
  algorithm->parameters = new sxAsnAny;
  algorithm->parameters->SetValue(params == nullptr ? new sxAsnNull : params->Dup());
  return algorithm;
}
