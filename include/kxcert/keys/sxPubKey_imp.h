/// @file
/// Base of the implementations of keys. A kind of key overrides what it can do.
#ifndef KXCERT_KEYS_SXPUBKEY_IMP_H_
#define KXCERT_KEYS_SXPUBKEY_IMP_H_

#include <array>
#include <atomic>

#include "kxcert/foundation/sxPKobj_imp.h"
#include "kxcert/keys/keyCodes.h"
#include "kxcert/platform/digest.h"

/// See sxPubKey.h for what the operations do. Those that are not pure refuse here: they log
/// "<operation> not implemeted for <ClassName()>" and return kKeyNotImplemented.
class KXCERT_EXPORT sxPubKey_imp_vc : public sxPKobj_imp {
 public:
  sxPubKey_imp_vc() = default;
  ~sxPubKey_imp_vc() override;

  virtual int algorithm() const = 0;
  virtual int OK() const = 0;
  virtual int Flags() const = 0;
  virtual int Encrypt(sxPKop_type op, const unsigned char *in, int inLen, unsigned char *out, int outLen);
  virtual int Decrypt(sxPKop_type op, const unsigned char *in, int inLen, unsigned char *out, int outLen);
  virtual int Sign(sxPKop_type op, sx_md_type md, const unsigned char *in, int inLen, unsigned char *out,
                   int outLen);
  virtual int SignSetup();
  virtual int Verify(sxPKop_type op, sx_md_type md, const unsigned char *data, int dataLen,
                     const unsigned char *sig, int sigLen);
  virtual int Derive(sxPKop_type op, const unsigned char *peer, int peerLen, unsigned char *out,
                     int outLen);
  virtual int Export(sxPK_Format format, unsigned char *out, int outLen);
  virtual int GetLen(sxPK_Len_Type type);
  virtual const unsigned char *ID() const;         ///< PublicKeyHash(); our choice of an identifier
  virtual int IdLen() const;                       ///< 0 while there is none
  virtual int Remove();                            ///< -1: a key kept in memory is in no store
  virtual const char *ClassName() const = 0;
  virtual void Herror() const;

  const unsigned char *PublicKeyHash() const;

 private:
  using Hash = std::array<unsigned char, 32>;
  mutable std::atomic<const Hash *> m_publicKeyHash{nullptr};   // owned; set once
};

#endif
