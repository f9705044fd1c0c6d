/// @file
/// Keys of every kind, in and out of the forms that they are kept in: attribute sets, and DER that says the algorithm
/// itself.
///
/// Any thread; nothing here keeps what it is given.
#ifndef KXCERT_KEYS_KEYFORMS_H_
#define KXCERT_KEYS_KEYFORMS_H_

#include "kxcert/platform/export.h"

class kxBinBuf;
class sxPubKey;
class sxset;

/// Whether there is a private part. Flags() does not tell it of Diffie-Hellman keys. @return 1 or 0; 0 for null
KXCERT_EXPORT int sxPubKey_HasPrivate(sxPubKey *key);

/// The size of a key: bits of an RSA modulus, of a Diffie-Hellman prime or of a curve's order. GetLen(sxPK_len_bits)
/// rounds up to whole octets. Of a key of a kind that somebody installed it is GetLen's. @return 0 for null, and for a
/// key that is not OK
KXCERT_EXPORT int sxPubKey_NumBits(sxPubKey *key);

/// The key in a set, whose members tell the kind: those of kxRSA_to_set, kxECDSA_to_set and DhKey_toset, and that of
/// keys for signed files, whose "NID" stands in the set "curve" (fileSignVerify.h).
/// @return a new key for sxFreePubKey; null for anything else (one line logged)
KXCERT_EXPORT sxPubKey *sxImportKey_from_Set(const sxset *set);

/// The set of a key; without the private part, which may be there or not, unless @p privateForm.
/// @return a new set for delete; null when the key is not OK, or has not the part that is asked for
KXCERT_EXPORT sxset *sxExportKey_to_Set(sxPubKey *key, bool privateForm);

/// DER of a PrivateKeyInfo (RFC 5208, 5), or of a SubjectPublicKeyInfo (RFC 5280, 4.1.2.7). An EC key's curve is
/// named outside of its octets, and stands in an ECPrivateKey as well (RFC 5915, 3).
/// @param[out] out  sensitive when it is the private form; unchanged on failure
/// @return 0, or -1: the key is not OK, or has not the part that is asked for
KXCERT_EXPORT int sxExportKeyInfo(sxPubKey *key, bool privateForm, kxBinBuf &out);

#endif
