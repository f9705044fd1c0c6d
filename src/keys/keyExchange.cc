#include "kxcert/keys/keyExchange.h"

#include <memory>
#include <utility>

#include "ec/curves.h"
#include "ec/ecOperation.h"
#include "keyOctets.h"
#include "kxcert/foundation/attributeSet.h"
#include "kxcert/keys/bigNumSet.h"
#include "kxcert/keys/keyForms.h"
#include "kxcert/keys/kxECDSA.h"
#include "kxcert/keys/kxSRSA.h"
#include "libcryptoTypes.h"

namespace {

using Set = std::unique_ptr<sxset>;

bool HaveSame(const sxset &a, const sxset &b, const char *name) {
  const SxAtom *const inA = a.Find(name), *const inB = b.Find(name);
  return inA != nullptr && inB != nullptr && *inA == *inB;
}

int DeriveDh(sxPubKey &own, const sxset &peer, kxBinBuf *out) {
  const BigNum y(sxSetValue2BN(&peer, "public"));
  if (y == nullptr) return kKeyLibraryFailed;
  kxBinBuf value(static_cast<unsigned int>(BN_num_bytes(y.get())));
  const int valueLen = BN_bn2bin(y.get(), value.Data());
  kxBinBuf secret = SensitiveBuf(own.GetLen(sxPK_len_bits) / 8);
  const auto secretLen = static_cast<int>(secret.Len());
  if (own.Derive(sxPKop_raw, value.Data(), valueLen, secret.Data(), secretLen) != secretLen) return kKeyLibraryFailed;
  *out = std::move(secret);
  return 0;
}

int DeriveEc(sxPubKey &own, sxPubKey &peer, int curveNid, kxBinBuf *out) {
  const Curve *const curve = FindCurve(curveNid);
  kxBinBuf point, ownDer;
  if (curve == nullptr || sxExportRSAKey(&peer, sxPK_public, point) != 0 ||  // of any kind
      sxExportRSAKey(&own, sxPK_private, ownDer) != 0) {
    return kKeyLibraryFailed;
  }
  const EcKey key(kxECDSA_from_buf(sxPK_private, ownDer.Data(), static_cast<int>(ownDer.Len()), curveNid));
  kxBinBuf secret = SensitiveBuf(curve->coordLen);
  if (key == nullptr || ECDH_compute_key_wrapper(point.Data(), static_cast<int>(point.Len()), secret.Data(),
                                                 curve->coordLen, key.get(), ownDer) != curve->coordLen) {
    return kKeyLibraryFailed;
  }
  *out = std::move(secret);
  return 0;
}

}  // namespace

int sxSharedSecret(sxPubKey *own, sxPubKey *peer, kxBinBuf &out) {
  if (own == nullptr || peer == nullptr || own->OK() == 0 || peer->OK() == 0) return kKeyNotUsable;
  const int kind = own->algorithm();
  if (sxPubKey_HasPrivate(own) == 0 || (kind != sxPK_DH && kind != sxPK_ECDSA)) return kKeyNotImplemented;
  if (peer->algorithm() != kind) return kKeyLenMismatch;
  const Set ownSet(sxExportKey_to_Set(own, false)), peerSet(sxExportKey_to_Set(peer, false));
  if (ownSet == nullptr || peerSet == nullptr) return kKeyLibraryFailed;
  kxBinBuf secret;
  secret.SetSensitive(true);
  int rc = kKeyLenMismatch;
  if (kind == sxPK_DH && HaveSame(*ownSet, *peerSet, "modulus") && HaveSame(*ownSet, *peerSet, "generator")) {
    rc = DeriveDh(*own, *peerSet, &secret);
  } else if (long long nid = 0;
             kind == sxPK_ECDSA && ownSet->FindInt("NID", &nid) && HaveSame(*ownSet, *peerSet, "NID")) {
    rc = DeriveEc(*own, *peer, static_cast<int>(nid), &secret);
  }
  if (rc == 0) out = std::move(secret);
  return rc;
}
