// libcrypto's EC keys on our curves.
#ifndef KXCERT_SRC_KEYS_EC_ECKEY_H_
#define KXCERT_SRC_KEYS_EC_ECKEY_H_

#include "curves.h"

class kxBinBuf;
class sxset;

/// A public key of a point that ReadPoint wrote; for EC_KEY_free, null on failure.
EC_KEY *NewPublicEcKey(const Curve &curve, sxOctetView point);
/// The same with a scalar (big-endian), fully checked.
EC_KEY *NewPrivateEcKey(const Curve &curve, sxOctetView point, const kxBinBuf &scalar);
/// The curve of a key's group; null when it is none of ours or not named.
const Curve *CurveOfKey(const EC_KEY *key);
/// The uncompressed public point, in an area of kMaxPointLen octets; empty when there is none.
[[nodiscard]] sxOctetView PointOfKey(const EC_KEY *key, unsigned char *area);
/// The private scalar, sensitive and padded to the curve's ScalarLen; empty when there is none, or libcrypto
/// fails.
kxBinBuf ScalarOfKey(const Curve &curve, const EC_KEY *key);
/// The set of kxECDSA_to_set; without the private part, which may be there or not, unless @p withPrivate.
sxset *EcToSet(const EC_KEY *key, bool withPrivate);
void LogEcKey(const Curve &curve, sxOctetView point, bool hasPrivate);

#endif
