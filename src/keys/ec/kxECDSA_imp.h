// The elliptic-curve kind of key.
#ifndef KXCERT_SRC_KEYS_EC_KXECDSA_IMP_H_
#define KXCERT_SRC_KEYS_EC_KXECDSA_IMP_H_

#include "curves.h"
#include "foundation/publishOnce.h"
#include "keys/libcryptoTypes.h"
#include "kxcert/keys/sxPubKey_imp.h"

class sxset;

// An imported public key keeps its checked point only. libcrypto's key, which costs more than reading
// the point, is made when the key is first used, by whichever thread comes first.
class kxECDSA_imp : public sxPubKey_imp_vc {
 public:
  explicit kxECDSA_imp(int curveNid);
  explicit kxECDSA_imp(const char *curveName);
  kxECDSA_imp(sxPK_Format format, const unsigned char *data, int dataLen, int curveNid);
  kxECDSA_imp(const Curve &curve, sxOctetView point);

  int algorithm() const override { return sxPK_ECDSA; }
  int OK() const override { return m_curve != nullptr ? 1 : 0; }
  int Flags() const override;
  int Encrypt(sxPKop_type op, const unsigned char *in, int inLen, unsigned char *out, int outLen) override;
  int Decrypt(sxPKop_type op, const unsigned char *in, int inLen, unsigned char *out, int outLen) override;
  int Sign(sxPKop_type op, sx_md_type md, const unsigned char *in, int inLen, unsigned char *out, int outLen) override;
  int Verify(sxPKop_type op, sx_md_type md, const unsigned char *data, int dataLen, const unsigned char *sig,
             int sigLen) override;
  int Export(sxPK_Format format, unsigned char *out, int outLen) override;
  int GetLen(sxPK_Len_Type type) override;
  const char *ClassName() const override { return "kxECDSA"; }
  void Herror() const override;

  virtual int Sign(sxPKop_type op, sx_md_type md, const unsigned char *in, int inLen, unsigned char *out, int outLen,
                   const BIGNUM *inverseNonce, const BIGNUM *r);

  bool HasPrivate() const { return m_hasPrivate; }
  sxset *PublicSet() const;  // new; null while not OK
  int Nbits() const { return m_curve == nullptr ? 0 : m_curve->orderBits; }

 private:
  void Adopt(EcKey key);
  void ImportPoint(const Curve &curve, sxOctetView point);
  sxOctetView Point() const { return sxView(m_point, m_pointLen); }
  EC_KEY *Key() const;  // lent; null only when libcrypto fails

  const Curve *m_curve = nullptr;  // null while not OK
  bool m_hasPrivate = false;
  int m_pointLen = 0;
  unsigned char m_point[kMaxPointLen];
  PublishOnce<EcKey> m_key;
};

#endif
