/// @file
/// Diffie-Hellman keys over prime fields (PKCS #3; RFC 7296, 2.12): a private value x, its public value
/// y = g ^ x mod p, and the secret that is shared with the owner of another public value.
///
/// A key is made in a group of the process's table (dhGroups.h). It is not OK when its modulus is even
/// or below 5, its generator not from 2 to p - 2, or a value given does not belong: x 0 or longer than the
/// modulus, y not from 1 to p - 1, both given and y not g ^ x. The modulus is not asked to be prime; see dhModulus.h.
///
/// x and secrets are kept in numbers that libcrypto wipes, used in constant time, and never printed.
/// Operations on one key may run on several threads at once.
///
/// Export: sxPK_public is DER of a SubjectPublicKeyInfo, sxPK_private DER of a PrivateKeyInfo, so that
/// keys of different groups are different keys (our choice; libcrypto reads and writes both):
///   SubjectPublicKeyInfo ::= SEQUENCE { algorithm, subjectPublicKey BIT STRING (INTEGER y) }
///   PrivateKeyInfo ::= SEQUENCE { version INTEGER (0), algorithm, privateKey OCTET STRING (INTEGER x) }
///   algorithm  ::= SEQUENCE { dhKeyAgreement (1.2.840.113549.1.3.1), SEQUENCE { p INTEGER, g INTEGER } }
#ifndef KXCERT_KEYS_KXSDH_H_
#define KXCERT_KEYS_KXSDH_H_

#include "kxcert/keys/sxPubKey.h"

struct bignum_st;
class kxSDH_imp;
class sxDhParams;

/// Octets of the longest peer value that is looked at: what an IKE payload can hold.
constexpr int kMaxDhPeerLen = 0xFFFF;

// Of the operations of sxPubKey, Derive is this kind's. It ignores the operation kind and does not
// look whether the peer's value lies below p. With out null it returns the length of the modulus;
// otherwise it writes the secret, big-endian, with leading zero octets up to exactly that length. Every
// failure is -1, not one of the codes of keyCodes.h, by intent: too little capacity, a negative or
// missing peer value, a key without x, and secrets that MakeShared refuses.
class KXCERT_EXPORT kxSDH : public sxPubKey {
 public:
  /// Makes a pair; see OK(). x has as many random octets as hold @p privBits, or as params.PrivBytes()
  /// tells when those are fewer than 16 or more than the modulus has.
  kxSDH(const sxDhParams &params, int privBits);
  /// A key of given values, which are copied; see OK().
  /// @param x  null: a public value alone, which cannot derive
  /// @param y  null: computed from x
  kxSDH(const sxDhParams &params, const bignum_st *x, const bignum_st *y);

  const bignum_st *Private() const;  ///< x, lent; null when there is none
  const bignum_st *Public() const;   ///< y, lent; null when not OK
  int ModLen() const;                ///< octets of p; 0 when not OK

  /// peer ^ x mod p. Refused are 0, 1 and p - 1, which anybody can tell without x.
  /// @return the secret, owned by the caller: for BN_clear_free; null (one line logged)
  bignum_st *MakeShared(const bignum_st *peer) const;

  /// y as key exchange sends it: big-endian, with leading zero octets up to ModLen() (RFC 7296, 3.4).
  /// @return octets written, or with out null how many there are; kKeyNotUsable, kKeyOutputShort
  int GetDHRawPublic(unsigned char *out, int outLen) const;

 protected:
  explicit kxSDH(kxSDH_imp *imp);  ///< adopts

 private:
  kxSDH_imp *Imp() const;
};

/// Makes a key in a loaded group, with private values of the group's length when @p privBits is 0 or
/// does not suit it. @return a new key for sxFreePubKey, or null
KXCERT_EXPORT sxPubKey *sxNewDHKey(const char *groupName, int privBits);

/// Makes sxNewDHKey call another function, for keys kept elsewhere; null goes back to the built-in one.
/// From any thread.
using sxNewDHKeyFunc = sxPubKey *(*)(const char *groupName, int privBits);
KXCERT_EXPORT void sxSetNewDHKey_func(sxNewDHKeyFunc func);
KXCERT_EXPORT int sxIsSW_DH();  ///< 1 while the built-in function is installed

#endif
