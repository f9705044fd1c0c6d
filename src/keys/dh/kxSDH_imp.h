// The Diffie-Hellman kind of key.
#ifndef KXCERT_SRC_KEYS_DH_KXSDH_IMP_H_
#define KXCERT_SRC_KEYS_DH_KXSDH_IMP_H_

#include "dhNumbers.h"
#include "kxcert/keys/sxPubKey_imp.h"

class sxDhParams;

class kxSDH_imp : public sxPubKey_imp_vc {
 public:
  kxSDH_imp(const sxDhParams &params, int privBits);
  kxSDH_imp(const sxDhParams &params, const BIGNUM *x, const BIGNUM *y);
  // Adopts; makes a pair when there is neither x nor y. Not OK when the numbers are no key.
  explicit kxSDH_imp(DhNumbers numbers);

  int algorithm() const override { return sxPK_DH; }
  int OK() const override { return m_modLen != 0 ? 1 : 0; }
  int Flags() const override { return OK() ? kKeyFlagsDh : 0; }
  int Derive(sxPKop_type op, const unsigned char *peer, int peerLen, unsigned char *out, int outLen) override;
  int Export(sxPK_Format format, unsigned char *out, int outLen) override;
  int GetLen(sxPK_Len_Type type) override;
  const char *ClassName() const override { return "kxSDH_imp"; }
  void Herror() const override;

  virtual const BIGNUM *Private() const { return m_numbers.x.get(); }
  virtual const BIGNUM *Public() const { return m_numbers.y.get(); }
  virtual int ModLen() const { return m_modLen; }

  BIGNUM *MakeShared(const BIGNUM *peer) const;
  const DhNumbers &Numbers() const { return m_numbers; }  // all null while not OK

 private:
  void Adopt(DhNumbers numbers);

  DhNumbers m_numbers;
  int m_modLen = 0;  // octets of p, without zeros that the configuration may have put before it
};

#endif
