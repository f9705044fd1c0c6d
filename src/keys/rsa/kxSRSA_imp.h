// The RSA kind of key.
#ifndef KXCERT_SRC_KEYS_RSA_KXSRSA_IMP_H_
#define KXCERT_SRC_KEYS_RSA_KXSRSA_IMP_H_

#include <vector>

#include "keys/libcryptoTypes.h"
#include "kxcert/keys/sxPubKey_imp.h"

class sxset;

class kxSRSA_imp : public sxPubKey_imp_vc {
 public:
  explicit kxSRSA_imp(RSA *rsa);  // adopts; not OK for null or a key that kxRSA_is_ok refuses
  kxSRSA_imp(sxPK_Format format, const unsigned char *data, int dataLen);

  int algorithm() const override { return sxPK_RSA; }
  int OK() const override { return m_rsa != nullptr ? 1 : 0; }
  int Flags() const override;
  int Encrypt(sxPKop_type op, const unsigned char *in, int inLen, unsigned char *out, int outLen) override;
  int Decrypt(sxPKop_type op, const unsigned char *in, int inLen, unsigned char *out, int outLen) override;
  int Sign(sxPKop_type op, sx_md_type md, const unsigned char *in, int inLen, unsigned char *out, int outLen) override;
  int Verify(sxPKop_type op, sx_md_type md, const unsigned char *data, int dataLen, const unsigned char *sig,
             int sigLen) override;
  int Export(sxPK_Format format, unsigned char *out, int outLen) override;
  int GetLen(sxPK_Len_Type type) override;
  const char *ClassName() const override { return "kxSRSA_imp"; }
  void Herror() const override;

  bool HasPrivate() const { return m_rsa != nullptr && RSA_get0_d(m_rsa.get()) != nullptr; }
  sxset *PublicSet() const;  // new; null while not OK
  int Nbits() const { return m_rsa == nullptr ? 0 : RSA_bits(m_rsa.get()); }
  int Nbytes() const { return (Nbits() + 7) / 8; }

 private:
  RsaKey m_rsa;                            // null while not OK
  std::vector<unsigned char> m_publicDer;  // of a key that came from it; else empty
};

#endif
