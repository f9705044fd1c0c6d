/// @file
/// sxPubKey: handle of every asymmetric key, whatever its algorithm; and its flat functions.
///
/// Shared and counted (sxPKobj.h): sxSavePubKey adds a reference, sxFreePubKey drops one. A key does
/// not change once built: it may sign, verify, derive and export on several threads at once.
/// Except for OK(), calls on a handle without an implementation are a broken promise of the caller.
///
/// Every operation that writes octets returns how many. With out null it only tells how many it could
/// write at most; with too little capacity it returns kKeyOutputShort (Derive: -1, see kxSDH.h) and
/// writes nothing.
#ifndef KXCERT_KEYS_SXPUBKEY_H_
#define KXCERT_KEYS_SXPUBKEY_H_

#include <cstdio>

#include "kxcert/foundation/sxPKobj.h"
#include "kxcert/keys/keyCodes.h"
#include "kxcert/platform/digest.h"
#include "kxcert/platform/eventEnv.h"

class sxPubKey_imp_vc;
class SxStream;

constexpr int kPublicKeyHashLen = 32;

class KXCERT_EXPORT sxPubKey : public sxPKobj {
 public:
  explicit sxPubKey(sxPubKey_imp_vc *imp);  ///< adopts; null makes a handle that is not OK

  int algorithm() const;  ///< sxPK_Alg
  int OK() const;         ///< 1 when the key is usable, else 0
  int Flags() const;      ///< 0 for a key that is not OK

  int Encrypt(sxPKop_type op, const unsigned char *in, int inLen, unsigned char *out, int outLen);
  int Decrypt(sxPKop_type op, const unsigned char *in, int inLen, unsigned char *out, int outLen);
  int Sign(sxPKop_type op, sx_md_type md, const unsigned char *in, int inLen, unsigned char *out, int outLen);
  int SignSetup();
  /// @retval 0  the signature is valid
  int Verify(sxPKop_type op, sx_md_type md, const unsigned char *data, int dataLen, const unsigned char *sig,
             int sigLen);
  int Derive(sxPKop_type op, const unsigned char *peer, int peerLen, unsigned char *out, int outLen);

  // Asynchronous: @p callback is called once. Those that queue a task (keyTasks.h) do the work on a worker
  // where there are workers and the key is of a built-in kind, else at once, the call included; the
  // callback then comes on the thread that KeyTaskMngmnt_init was called on, before the key or @p in need
  // be kept any longer than the call itself. @return 1: queued or done; or a negative task result code,
  // and there is no call. What the operation itself refuses (a key that is not OK, null or empty @p in, too
  // little room) the callback is told. Without a callback the result is wiped and freed.
  /// @param out  taken when the callback has the result code 0: the result is @p out, nothing is handed over.
  ///             Null, or a negative @p outLen: TASK_DECRYPT_ERROR at once
  int DecryptA(sxPKop_type op, const unsigned char *in, int inLen, unsigned char *out, int outLen,
               sxPKCallback callback, void *opaque, sxd_env *env);
  /// The result is the signature, for delete[] (unsigned char).
  int SignA(sxPKop_type op, sx_md_type md, const unsigned char *in, int inLen, sxPKCallback callback, void *opaque,
            sxd_env *env);
  /// The result is the shared secret, for KX_memset and delete[] (unsigned char). A negative @p peerLen is
  /// refused at once, with kKeyLibraryFailed.
  int DeriveA(sxPKop_type op, const unsigned char *peer, int peerLen, sxPKCallback callback, void *opaque,
              sxd_env *env);
  // These are what the kind of key makes of them (sxPubKey_imp.h).
  int EncryptA(sxPKop_type op, const unsigned char *in, int inLen, unsigned char *out, int outLen,
               sxPKCallback callback, void *opaque, sxd_env *env);
  int VerifyA(sxPKop_type op, sx_md_type md, const unsigned char *data, int dataLen, const unsigned char *sig,
              int sigLen, sxPKCallback callback, void *opaque, sxd_env *env);

  /// sxPK_set stores a new sxset (for delete) as a pointer at @p out, which needs no alignment;
  /// @p outLen must then be kKeySetCapacity, and the result is 0. See sxPK_Format for the others.
  int Export(sxPK_Format format, unsigned char *out, int outLen);
  int GetLen(sxPK_Len_Type type);  ///< -1 for another type, or a key that is not OK

  const unsigned char *ID() const;  ///< lent: an identifier of the key, or null
  int IdLen() const;
  int Remove();
  const char *ClassName() const;
  void Herror() const;  ///< the public parts to the debug log
  /// Algorithm, size, whether there is a private part, and the public octets (sxPK_public); of a key that
  /// is not OK only that. The parts one by one, as Herror writes them, are each kind's own.
  void Sprint(SxStream *out, int indent) const;
  void Fprint(FILE *out, int indent) const;  ///< null: standard output

  /// SHA-256 over the octet algorithm() and the public octets (sxPK_public). The same for equal keys,
  /// in every process. Made at the first call, from any thread.
  /// @return kPublicKeyHashLen octets, lent as long as the key lives; null when it is not OK
  const unsigned char *PublicKeyHash() const;

 protected:
  sxPubKey_imp_vc *Imp() const;
};

KXCERT_EXPORT void sxFreePubKey(sxPubKey *key);  ///< null is ignored
KXCERT_EXPORT void sxSavePubKey(sxPubKey *key);  ///< null is ignored

// Each returns kKeyNotUsable for a null key.
KXCERT_EXPORT int sxPubKey_Sign(sxPubKey *key, sxPKop_type op, sx_md_type md, const unsigned char *in, int inLen,
                                unsigned char *out, int outLen);
KXCERT_EXPORT int sxPubKey_Verify(sxPubKey *key, sxPKop_type op, sx_md_type md, const unsigned char *data, int dataLen,
                                  const unsigned char *sig, int sigLen);
KXCERT_EXPORT int sxPubKey_Decrypt(sxPubKey *key, sxPKop_type op, const unsigned char *in, int inLen,
                                   unsigned char *out, int outLen);
KXCERT_EXPORT int sxPubKey_Derive(sxPubKey *key, sxPKop_type op, const unsigned char *peer, int peerLen,
                                  unsigned char *out, int outLen);
KXCERT_EXPORT int sxPubKey_Export(sxPubKey *key, sxPK_Format format, unsigned char *out, int outLen);

/// Makes a Diffie-Hellman key of the named group, as SignA does its work; the result is the sxPubKey, for
/// sxFreePubKey, with the length 0.
KXCERT_EXPORT int sxPubKey_NewDH(const char *groupName, int privBits, sxPKCallback callback, void *opaque);

/// 1 when both keys export the same public octets, else 0 (one line logged).
KXCERT_EXPORT int sxPubKey_Equal(sxPubKey *a, sxPubKey *b);

#endif
