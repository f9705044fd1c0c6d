#include "kxcert/keys/kxECDSA.h"

#include "keys/keyRef.h"
#include "kxECDSA_imp.h"

kxECDSA::kxECDSA(int curveNid) : sxPubKey(new kxECDSA_imp(curveNid)) {}
kxECDSA::kxECDSA(const char *curveName) : sxPubKey(new kxECDSA_imp(curveName)) {}
kxECDSA::kxECDSA(sxPK_Format format, const unsigned char *data, int dataLen, int curveNid)
    : sxPubKey(new kxECDSA_imp(format, data, dataLen, curveNid)) {}

kxECDSA_imp *kxECDSA::Imp() const { return static_cast<kxECDSA_imp *>(m_imp); }

int kxECDSA::Sign(sxPKop_type op, sx_md_type md, const unsigned char *in, int inLen, unsigned char *out, int outLen,
                  const BIGNUM *inverseNonce, const BIGNUM *r) {
  return Imp()->Sign(op, md, in, inLen, out, outLen, inverseNonce, r);
}
int kxECDSA::HasPrivate() const { return Imp()->HasPrivate() ? 1 : 0; }
int kxECDSA::Nbits() const { return Imp()->Nbits(); }

sxPubKey *sxImportECDSAKey(sxPK_Format format, const unsigned char *data, int dataLen, int curveNid) {
  return IfUsable<sxPubKey>(new kxECDSA(format, data, dataLen, curveNid));
}
