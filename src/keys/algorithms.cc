#include "kxcert/keys/algorithms.h"

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

// The first row that fits is the answer, in both directions; so the older identifier of SHA-1 with RSA
// is read but never written.
struct SignRow {
  const sxAsnOid *oid;
  int mdType;
  bool ecdsa;
};
constexpr SignRow kSignatures[] = {
    {&sxASN_md5WithRSAEncryption, sx_md_md5, false},        {&sxASN_sha1WithRSAEncryption, sx_md_sha1, false},
    {&sxASN_sha_1WithRSAEncryption, sx_md_sha1, false},     {&sxASN_sha256WithRSAEncryption, sx_md_sha256, false},
    {&sxASN_sha384WithRSAEncryption, sx_md_sha384, false},  {&sxASN_sha512WithRSAEncryption, sx_md_sha512, false},
    {&sxASN_sha1WithECDSAEncryption, sx_md_sha1, true},     {&sxASN_sha256WithECDSAEncryption, sx_md_sha256, true},
    {&sxASN_sha384WithECDSAEncryption, sx_md_sha384, true}, {&sxASN_sha512WithECDSAEncryption, sx_md_sha512, true},
};

// RFC 3279, 2.2.2, and RFC 5758, 3.1. DSA is only recognised, so that it can be refused by name.
constinit const sxAsnOid kDsaWithSha1{{1, 2, 840, 10040, 4, 3}};
constinit const sxAsnOid kDsaWithSha224{{2, 16, 840, 1, 101, 3, 4, 3, 1}};
constinit const sxAsnOid kDsaWithSha256{{2, 16, 840, 1, 101, 3, 4, 3, 2}};

struct KindRow {
  const sxAsnOid *oid;
  sxPK_Alg kind;
};
constexpr KindRow kOtherKinds[] = {
    {&sxASN_rsaEncryption, sxPK_RSA}, {&sxASN_ECDSAPublicKey, sxPK_ECDSA}, {&sxASN_dsa, sxPK_DSA},
    {&kDsaWithSha1, sxPK_DSA},        {&kDsaWithSha224, sxPK_DSA},         {&kDsaWithSha256, sxPK_DSA},
};

const SignRow *FindSignature(const sxAsnOid &oid) {
  for (const SignRow &row : kSignatures) {
    if (row.oid->OidEquiv(oid)) return &row;
  }
  return nullptr;
}

}  // namespace

const sxAsnOid *HashOID_By_MD(int mdType) {
  for (const HashRow &row : kHashes) {
    if (row.mdType == mdType) return row.oid;
  }
  return nullptr;
}

const sxAsnOid *SignOID_By_MD(int mdType, int ecdsa) {
  for (const SignRow &row : kSignatures) {
    if (row.mdType == mdType && row.ecdsa == (ecdsa != 0)) return row.oid;
  }
  return nullptr;
}

int MdType_By_SignOID(const sxAsnOid &oid) {
  const SignRow *row = FindSignature(oid);
  return row == nullptr ? sx_md_unknown : row->mdType;
}

int AlgType_By_SignOID(const sxAsnOid &oid) {
  if (const SignRow *row = FindSignature(oid)) return row->ecdsa ? sxPK_ECDSA : sxPK_RSA;
  for (const KindRow &row : kOtherKinds) {
    if (row.oid->OidEquiv(oid)) return row.kind;
  }
  return -1;
}

sxASN_AlgorithmIdentifier *sx_New_AlgID(const sxAsnOid &oid, sxAsnType *params) {
  auto *algorithm = new sxASN_AlgorithmIdentifier;
  algorithm->algorithm = new sxAsnOid(oid);
  algorithm->parameters = new sxAsnAny;
  algorithm->parameters->SetValue(params == nullptr ? new sxAsnNull : params->Dup());
  return algorithm;
}
