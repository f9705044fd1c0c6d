/// @file
/// Elliptic-curve Diffie-Hellman exchange for IKE groups 19 (P-256) and 20 (P-384) (RFC 5903), and the
/// key pairs that exchanges may share for some seconds.
///
/// An exchange goes through stages: group set (1), own key pair (2), peer's value stored (3), secret
/// there (4); -1 is an exchange without a valid group, or whose key material was no good. A call in a
/// stage that does not allow it fails. Going back a stage forgets what came after it. Unless a comment
/// says otherwise, functions return 0, or -1 with a line on the trace channel (topic "ec"), and failure
/// leaves the exchange as it was.
///
/// An exchange does no locking; one thread uses one exchange at a time, the loop's when it makes
/// asynchronous calls. Different exchanges may run on different threads, also when they share a key pair.
/// Private values and secrets are wiped when they are given up, and never logged.
#ifndef KXCERT_KEYS_KXECDH_H_
#define KXCERT_KEYS_KXECDH_H_

#include <atomic>

#include "kxcert/platform/export.h"

struct ec_key_st;
class kxECDH_imp;
class sxString;

/// How an asynchronous call ends.
/// @param opaque     as given to the call
/// @param rc         0 or -1
/// @param result     on success: of generateA the exchange itself (a kxECDH, lent); of deriveA the
///                   output area with the secret in it. Null on failure.
/// @param resultLen  deriveA: octets of the secret; else 0
/// @param errorText  what failed, "None" on success; lent for the call
using kxECDH_callback = void (*)(void *opaque, int rc, void *result, int resultLen, const char *errorText);

class KXCERT_EXPORT kxECDH {
 public:
  explicit kxECDH(int group);  ///< as initialize; see OK()

  /// With a key pair from elsewhere (stage 2). Each text is as long as the field, no more and no less:
  /// 64 hexadecimal digits of either case for group 19, 96 for group 20, big-endian. The point must be
  /// on the curve and the private value must belong to it; else the exchange is not OK.
  kxECDH(int group, const char *privateHex, const char *xHex, const char *yHex);

  /// The same from one text (our choice), of 197 characters for group 19, 293 for group 20:
  ///
  ///     offset      length  content
  ///     0           2       the group, "19" or "20"
  ///     2           1       ':'
  ///     3           n       the private value; n is 64 for group 19, 96 for group 20
  ///     3 + n       1       ':'
  ///     4 + n       n       the point's x coordinate
  ///     4 + 2n      1       ':'
  ///     5 + 2n      n       the point's y coordinate, ended by NUL
  ///
  /// What getPrivate and getPublic give is spelt this way. Whoever writes the text keeps it secret.
  explicit kxECDH(const char *text);

  ~kxECDH();
  kxECDH(const kxECDH &) = delete;
  kxECDH &operator=(const kxECDH &) = delete;

  int OK() const;  ///< 1, or 0 in stage -1

  /// Begins anew. A group other than 19 and 20 leaves the exchange in stage -1.
  int initialize(int group);

  /// Takes an own key pair from EC_KEY_new_semi_ephemeral. From stage 1 on.
  int generate();
  /// The IKE form of the own public value (RFC 5903, section 7): x, then y, each padded in front with
  /// zero octets to the length of the field. No octet in front tells the form. From stage 2 on.
  /// @return octets written (64 or 96), or -1: the stage, or @p outLen is below that
  int getPublic4IKE(unsigned char *out, int outLen) const;
  /// Takes the peer's value in that form. The length must be exact and the point on the curve, which the
  /// point at infinity is not (RFC 6989, 2.3). From stage 2 on.
  int setPeerPublic(const unsigned char *in, int inLen);
  /// Computes the shared secret. From stage 3 on.
  int derive();
  /// The shared secret: the x coordinate, as long as the field (RFC 5903, section 7). In stage 4.
  /// @return octets written (32 or 48), or -1: the stage, or @p outLen is below that
  int getShared(unsigned char *out, int outLen) const;

  // The same on the workers of KeyTaskMngmnt_init (keyTasks.h), called on the thread that runs its loop. The
  // callback is made once, from the loop, never within the call, and may delete the exchange. Where that
  // said 0 workers, the work is done at once and the callback comes from the loop all the same.
  //
  // Until then whatever would change the exchange fails, another asynchronous call included, and what it
  // tells is what it told before. An exchange that is deleted meanwhile makes no callback.
  // They return 0 when there will be a callback. Else there is none: -1 (the stage, the area, or a call that is
  // under way), kKeyLibraryFailed (callback is null), TASK_NOT_INITIALIZED or TASK_QUEUING_ERROR.

  int generateA(kxECDH_callback callback, void *opaque);
  /// derive and getShared in one. With too small an area nothing is derived.
  /// @param[out] out  lent until the callback is made; untouched on failure
  int deriveA(unsigned char *out, int outLen, kxECDH_callback callback, void *opaque);
  /// What the latest asynchronous call was given; null before the first one. Either may be null.
  void get_cb_and_opaque(kxECDH_callback *callback, void **opaque) const;

  int getGroup() const;  ///< 19 or 20; 0 in stage -1
  /// The own key pair as hexadecimal text, lower case, as long as the field. From stage 2 on.
  int getPublic(sxString &x, sxString &y) const;
  int getPrivate(sxString &privateHex) const;  ///< @p privateHex becomes sensitive
  int isKeyShared() const;                     ///< 1 when other exchanges may have the same key pair, else 0

 private:
  friend KXCERT_EXPORT void call_kxecdh_generate(kxECDH *exchange);
  friend KXCERT_EXPORT void call_kxecdh_derive(kxECDH *exchange);

  kxECDH_imp *m_imp;  // owned, never null
};

/// The bodies of generateA and deriveA, for who will not wait for the one under way: do its work on the calling
/// thread, which is the loop's, and make its callback; what the worker makes is dropped. With no such call
/// nothing is done but for a line on the trace channel. Null is the same.
KXCERT_EXPORT void call_kxecdh_generate(kxECDH *exchange);
KXCERT_EXPORT void call_kxecdh_derive(kxECDH *exchange);

/// For how many seconds a key pair may be given to further exchanges; 0: every one gets its own. 10 at
/// first. Any thread.
extern KXCERT_EXPORT std::atomic<unsigned int> max_ephemeral_ec_key_age;
KXCERT_EXPORT void set_max_ephemeral_ec_key_age(unsigned int ageSec);

/// A key pair on a curve that libcrypto knows by @p curveNid: the process's one of that curve as long as
/// it is not older than max_ephemeral_ec_key_age, else a new one. A clock that was set back makes it too
/// old. Threads that ask at once get the same. The process's pair stays in memory until a newer one
/// replaces it.
///
/// @param[out] isShared  whether it is the process's; that one must not be changed. Set on failure, too;
///                       may be null
/// @return for EC_KEY_free; null for another curve, or when libcrypto fails
KXCERT_EXPORT ec_key_st *EC_KEY_new_semi_ephemeral(int curveNid, bool *isShared);

#endif
