/// @file
/// The secret that two keys share, whatever their kind.
#ifndef KXCERT_KEYS_KEYEXCHANGE_H_
#define KXCERT_KEYS_KEYEXCHANGE_H_

#include "kxcert/platform/export.h"

class kxBinBuf;
class sxPubKey;

/// What a private key shares with another's public one. Diffie-Hellman keys: as kxSDH's Derive, in exactly the same
/// group. EC keys: the x coordinate of the product, as long as the field (SEC 1, 3.3.1), on the same curve; no
/// cofactor, as these curves have none.
/// @param peer      only its public part is used
/// @param[out] out  sensitive; unchanged on failure. Not a key yet: what uses it derives one from it
/// @retval  0                  done
/// @retval kKeyNotUsable       a null key, or one that is not OK
/// @retval kKeyNotImplemented  no private part, or RSA
/// @retval kKeyLenMismatch     different kinds, groups or curves
/// @retval kKeyLibraryFailed   no secret: the peer's value gives one that anybody knows, or libcrypto failed
KXCERT_EXPORT int sxSharedSecret(sxPubKey *own, sxPubKey *peer, kxBinBuf &out);

#endif
