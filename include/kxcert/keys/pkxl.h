/// @file
/// Key operations by a service of the same machine: a process of its own word size and speed does the
/// arithmetic of RSA and elliptic curves for those that run beside it.
///
/// Only private operations go there: keys leave the process for it, answers do not have to be believed. A
/// signature is verified here, an opened RSA block closed again, a shared secret measured. A wrong answer,
/// none within kPkxlTimeoutMs, and one that took more than a second are trouble: the service is left alone
/// for a second, and for twice as long each time that it starts anew, up to five minutes. So a service that
/// hangs holds up one operation in that while. What tests keys never goes there.
///
/// Every operation returns 0 when the service did it, with @p result what the operation itself gave, and
/// another value when it could not be served, whatever the reason; the caller then does it by itself.
/// Pointers are not null. Any thread.
#ifndef KXCERT_KEYS_PKXL_H_
#define KXCERT_KEYS_PKXL_H_

#include <string>

#include "kxcert/foundation/bufIter.h"

class kxBinBuf;

constexpr int kPkxlTimeoutMs = 3000;

/// Whether operations are to be offered to the service. What makes that possible is looked at once in the
/// process: not in FIPS 140 mode; a 64-bit system; the service's socket is there, and the configuration
/// directory's folder "conf" has no file "pkxl_disable". Then usage must be switched on: by the
/// environment variable PKXL_FORCE=1, or here.
KXCERT_EXPORT bool pkxl_should_use();
KXCERT_EXPORT void pkxl_enable_usage();
KXCERT_EXPORT void pkxl_stop_usage();  ///< also against PKXL_FORCE

/// RSA with PKCS #1 padding.
/// @param      operation  0 private decrypt, 1 private encrypt; public ones (2, 3) are never served
/// @param[in]  key        RSAPrivateKey DER
/// @param      out        capacity, at least that of the modulus, and area; the first @p *result octets are set
/// @param[out] result     octets written, or -1: the block that was opened has no such padding
KXCERT_EXPORT int pkxl_rsa_op(const pkxl_len_and_buf_t *in, pkxl_len_and_buf_t *out, const pkxl_len_and_buf_t *key,
                              int operation, int *result);

/// @param[in]  key     ECPrivateKey DER of the curve that libcrypto knows by @p curveNid
/// @param signature    capacity, at least that of the longest signature, and area
/// @param[out] result  octets of the DER signature
KXCERT_EXPORT int pkxl_ecdsa_sign(const pkxl_len_and_buf_t *data, pkxl_len_and_buf_t *signature,
                                  const pkxl_len_and_buf_t *key, int curveNid, int *result);
/// Never served: a public operation.
KXCERT_EXPORT int pkxl_ecdsa_verify(const pkxl_len_and_buf_t *data, const pkxl_len_and_buf_t *signature,
                                    const pkxl_len_and_buf_t *key, int curveNid, int *result);
/// @param[in]  peer    the other side's uncompressed point
/// @param secret       capacity, at least that of the field, and area for the x coordinate of the product
/// @param[out] result  octets written, as many as the field has
KXCERT_EXPORT int pkxl_ecdh_compute_key(const pkxl_len_and_buf_t *peer, pkxl_len_and_buf_t *secret,
                                        const pkxl_len_and_buf_t *key, int curveNid, int *result);

/// The service's side: does what one message asks for, in this process, and keeps nothing of it. Keys are
/// imported with the checks of kxSRSA.h and kxECDSA.h, which bound the work that a request can ask for.
/// @param         request  as received; may be anything
/// @param[out]    answer   sensitive; to be sent back
/// @return 0, or -1: no request that can be read; there is no answer
KXCERT_EXPORT int pkxl_serve(kxBinBuf &request, kxBinBuf &answer);
/// Where clients look for it: a path in the configuration directory, for kxLocalSocket_Listen.
KXCERT_EXPORT std::string pkxl_socket_path();

#endif
