/// @file
/// Base of the implementations of keys. A kind of key overrides what it can do.
#ifndef KXCERT_KEYS_SXPUBKEY_IMP_H_
#define KXCERT_KEYS_SXPUBKEY_IMP_H_

#include <array>
#include <atomic>

#include "kxcert/foundation/sxPKobj_imp.h"
#include "kxcert/keys/keyCodes.h"
#include "kxcert/platform/digest.h"
#include "kxcert/platform/eventEnv.h"

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
  virtual int Sign(sxPKop_type op, sx_md_type md, const unsigned char *in, int inLen, unsigned char *out, int outLen);
  virtual int SignSetup();
  virtual int Verify(sxPKop_type op, sx_md_type md, const unsigned char *data, int dataLen, const unsigned char *sig,
                     int sigLen);

  /// What a kind does not override does the operation at once, discards what came of it, and has
  /// @p callback called from @p env with the result code -1, whatever came. That is so by intent: the
  /// operations of sxPubKey that work asynchronously do not come here.
  /// @return 0: there will be a call; or kKeyLibraryFailed: no callback, or it cannot be posted
  virtual int EncryptA(sxPKop_type op, const unsigned char *in, int inLen, unsigned char *out, int outLen,
                       sxPKCallback callback, void *opaque, sxd_env *env);
  virtual int DecryptA(sxPKop_type op, const unsigned char *in, int inLen, unsigned char *out, int outLen,
                       sxPKCallback callback, void *opaque, sxd_env *env);
  virtual int SignA(sxPKop_type op, sx_md_type md, const unsigned char *in, int inLen, sxPKCallback callback,
                    void *opaque, sxd_env *env);
  virtual int VerifyA(sxPKop_type op, sx_md_type md, const unsigned char *data, int dataLen, const unsigned char *sig,
                      int sigLen, sxPKCallback callback, void *opaque, sxd_env *env);
  virtual int DeriveA(sxPKop_type op, const unsigned char *peer, int peerLen, sxPKCallback callback, void *opaque,
                      sxd_env *env);

  virtual int Derive(sxPKop_type op, const unsigned char *peer, int peerLen, unsigned char *out, int outLen);
  virtual int Export(sxPK_Format format, unsigned char *out, int outLen);
  virtual int GetLen(sxPK_Len_Type type);
  virtual const unsigned char *ID() const;  ///< PublicKeyHash(); our choice of an identifier
  virtual int IdLen() const;                ///< 0 while there is none
  virtual int Remove();                     ///< -1: a key kept in memory is in no store
  virtual const char *ClassName() const = 0;
  virtual void Herror() const;

  const unsigned char *PublicKeyHash() const;

 private:
  using Hash = std::array<unsigned char, 32>;
  mutable std::atomic<const Hash *> m_publicKeyHash{nullptr};  // owned; set once
};

#endif
