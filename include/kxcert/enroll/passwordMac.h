/// @file
/// Password-based MACs (RFC 4211, 4.4): whoever knows the password wrote these octets.
///
///   PBMParameter ::= SEQUENCE { salt, owf, iterationCount, mac }
///
/// The base key is the password with the salt behind it, replaced by its own digest iterationCount times; the
/// MAC is HMAC-SHA1 with that key. Any thread. Passwords come, and keys leave, in sensitive buffers.
#ifndef KXCERT_ENROLL_PASSWORDMAC_H_
#define KXCERT_ENROLL_PASSWORDMAC_H_

#include "kxcert/asn1/sxAsnOid.h"

class kxBinBuf;
class sxASN_PBMParameter;
class sxASN_PKMACValue;

extern KXCERT_EXPORT const sxAsnOid sxASN_id_PasswordBasedMac;
extern KXCERT_EXPORT const sxAsnOid sxASN_hmac_sha1;  ///< RFC 4211, 4.4; PKCS #5's identifier is read, too

constexpr int kMaxPbmIterations = 100000;  ///< a peer's number drives work
constexpr int kMaxPbmDigestLen = 20;       ///< octets that the one-way function may give
constexpr int kPbmMacLen = 20;             ///< octets

/// @param params        null, without one of its fields, or with more than kMaxPbmIterations: refused. No
///                      iterations (0 or less) leave the password and the salt as they are
/// @param[out] baseKey  sensitive; untouched on failure. May be the password
/// @return 0 or -1 (one line logged: parameters, a digest that is unknown or longer than kMaxPbmDigestLen)
KXCERT_EXPORT int ComputePasswordBaseMac_BaseKey(const sxASN_PBMParameter *params, const kxBinBuf &password,
                                                 kxBinBuf &baseKey);

/// @param data          null with 0 octets is no data
/// @param[out] mac      kPbmMacLen octets; untouched on failure
/// @param[out] baseKey  null: not wanted
/// @return 0 or -1 (as above; or a mac algorithm other than HMAC-SHA1)
KXCERT_EXPORT int ComputePasswordBaseMac(const sxASN_PBMParameter *params, const kxBinBuf &password,
                                         const unsigned char *data, int dataLen, kxBinBuf &mac,
                                         kxBinBuf *baseKey = nullptr);

/// The parameters of a MAC that can be computed here, lent: id-PasswordBasedMac, with a one-way function, a
/// number of iterations and a mac algorithm that the functions above take, and a value of the right length.
/// @return null for any other
KXCERT_EXPORT const sxASN_PBMParameter *sxSoundPasswordMac(const sxASN_PKMACValue &mac);

#endif
