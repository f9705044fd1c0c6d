#include "kxcert/keys/keyForms.h"

#include <cstring>
#include <memory>

#include "dh/kxDhKey_imp.h"
#include "ec/kxECDSA_imp.h"
#include "keyOctets.h"
#include "keyRef.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/foundation/attributeSet.h"
#include "kxcert/keys/kxDhKey.h"
#include "kxcert/keys/kxECDSA.h"
#include "kxcert/keys/kxSRSA.h"
#include "kxcert/keys/pkcs1.h"
#include "kxcert/platform/log.h"
#include "libcryptoTypes.h"
#include "rsa/kxSRSA_imp.h"

namespace {

constexpr int kMaxHeadLen = 64;  // octets before those of a key
constexpr unsigned char kVersion[] = {0};

// Made without the private part: what is not there needs no wiping.
sxset *PublicSet(sxPubKey *key) {
  sxPKobj_imp *const imp = key->GetP();
  if (const auto *const rsa = dynamic_cast<kxSRSA_imp *>(imp)) return rsa->PublicSet();
  if (const auto *const ec = dynamic_cast<kxECDSA_imp *>(imp)) return ec->PublicSet();
  if (const auto *const dh = dynamic_cast<kxDhKey_imp *>(imp)) return dh->PublicSet();
  std::unique_ptr<sxset> set(sxExportRSAKey_to_Set(key));  // of a kind that somebody installed
  if (set != nullptr) set->Remove("private");
  return set.release();
}

// Export's own octets carry the curve only in the private form, so the set tells it.
const Curve *CurveOf(sxPubKey *key) {
  const std::unique_ptr<sxset> set(PublicSet(key));
  long long nid = 0;
  return set != nullptr && set->FindInt("NID", &nid) ? FindCurve(static_cast<int>(nid)) : nullptr;
}

sxPubKey *ImportEcSet(const sxset &set) {
  sxset flat(set);
  long long nid = 0;
  if (const sxset *const curve = set.FindSet("curve"); curve != nullptr && curve->FindInt("NID", &nid)) {
    flat.SetInt("NID", nid);
  }
  const EcKey key(kxECDSA_from_set(&flat));
  kxBinBuf octets;
  const bool isPrivate = key != nullptr && EC_KEY_get0_private_key(key.get()) != nullptr;
  if (key == nullptr || !flat.FindInt("NID", &nid) || kxECDSA_to_buf(key.get(), octets, isPrivate ? 1 : 0) != 0) {
    return nullptr;
  }
  return sxImportECDSAKey(isPrivate ? sxPK_private : sxPK_public, octets.Data(), static_cast<int>(octets.Len()),
                          static_cast<int>(nid));
}

// PrivateKeyInfo or SubjectPublicKeyInfo around the octets of a key.
int WrapKey(sxOctetView key, const sxAsnOid &algorithm, const sxAsnOid *curve, bool privateForm, kxBinBuf *out) {
  unsigned char area[kMaxHeadLen];
  sxDerWriter writer(area);
  const int keyLen = sxLen(key);
  if (privateForm) {
    writer.Header(kDerOctetString, keyLen);
  } else {
    writer.Octet(0);  // unused bits
    writer.Header(kDerBitString, keyLen + 1);
  }
  const int mark = writer.Mark();
  if (curve != nullptr) {
    writer.Element(kDerOid, ViewOf(*curve));
  } else {
    writer.Header(kDerNull, 0);
  }
  writer.Element(kDerOid, ViewOf(algorithm));
  writer.Wrap(kDerSequence, mark);
  if (privateForm) writer.Element(kDerInteger, kVersion);
  writer.Header(kDerSequence, writer.Mark() + keyLen);
  if (writer.Written().empty()) return -1;
  *out = JoinOctets(writer.Written(), key, privateForm);
  return 0;
}

}  // namespace

int sxPubKey_HasPrivate(sxPubKey *key) {
  if (key == nullptr || key->OK() == 0) return 0;
  if (key->algorithm() != sxPK_DH) return (key->Flags() & kKeyFlagCanSign) != 0 ? 1 : 0;
  return key->Export(sxPK_private, nullptr, 0) > 0 ? 1 : 0;
}

int sxPubKey_NumBits(sxPubKey *key) {
  if (key == nullptr || key->OK() == 0) return 0;
  sxPKobj_imp *const imp = key->GetP();
  if (const auto *const rsa = dynamic_cast<kxSRSA_imp *>(imp)) return rsa->Nbits();
  if (const auto *const dh = dynamic_cast<kxSDH_imp *>(imp)) return BN_num_bits(dh->Numbers().p.get());
  return key->GetLen(sxPK_len_bits);
}

sxPubKey *sxImportKey_from_Set(const sxset *set) {
  if (set == nullptr) return nullptr;
  if (set->FindSet("generator") != nullptr) return DhKey_fromset(set);
  if (set->FindSet("modulus") != nullptr) return sxImportRSAKey_from_Set(set);
  if (set->Find("curve") != nullptr || set->Find("NID") != nullptr) return ImportEcSet(*set);
  herror_func(0, 0, "sxImportKey_from_Set: neither an RSA, an EC nor a Diffie-Hellman key");
  return nullptr;
}

sxset *sxExportKey_to_Set(sxPubKey *key, bool privateForm) {
  if (key == nullptr || (privateForm && sxPubKey_HasPrivate(key) == 0)) return nullptr;
  return privateForm ? sxExportRSAKey_to_Set(key) : PublicSet(key);
}

int sxExportKeyInfo(sxPubKey *key, bool privateForm, kxBinBuf &out) {
  kxBinBuf octets;
  if (key == nullptr || (privateForm && sxPubKey_HasPrivate(key) == 0) ||
      sxExportRSAKey(key, privateForm ? sxPK_private : sxPK_public, octets) != 0) {  // of any kind
    return -1;
  }
  if (key->algorithm() == sxPK_DH) return out = std::move(octets), 0;
  if (key->algorithm() == sxPK_RSA) return WrapKey(ViewOf(octets), sxASN_rsaEncryption, nullptr, privateForm, &out);
  const Curve *const curve = CurveOf(key);
  return curve == nullptr ? -1 : WrapKey(ViewOf(octets), sxASN_ECDSAPublicKey, curve->oid, privateForm, &out);
}
