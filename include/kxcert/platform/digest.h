/// @file
/// Digests and HMAC-SHA1, computed by libcrypto. Any thread.
#ifndef KXCERT_PLATFORM_DIGEST_H_
#define KXCERT_PLATFORM_DIGEST_H_

#include <cstddef>
#include <cstdint>

#include "kxcert/platform/export.h"

/// Digest kinds. 3 is what a signature algorithm of unknown digest maps to; it computes nothing.
enum sx_md_type : int {
  sx_md_md4 = 0,
  sx_md_md5 = 1,
  sx_md_sha1 = 2,
  sx_md_unknown = 3,
  sx_md_sha256 = 5,
  sx_md_sha384 = 6,
  sx_md_sha512 = 7,
  sx_md_sha512_256 = 8,
};

constexpr int kMaxDigestLen = 64;  ///< octets of the longest kind

/// Octets that a kind's digest has: 16, 20, 32, 48 or 64; 0 for a kind that is not computed here.
KXCERT_EXPORT int kx_md_len(int mdType);

/// Digest of one area.
/// @param[out] digest  kx_md_len octets; @p digestLen must be exactly that
/// @retval  0  done
/// @retval -1  unknown kind, wrong digestLen, null data with a length, or refused by libcrypto
KXCERT_EXPORT int kx_md_hashbuf(int mdType, const void *data, size_t dataLen, unsigned char *digest, int digestLen);

/// SHA-512 in steps (FIPS 180-4).
struct kxSHA512State {
  alignas(8) unsigned char area[256];
};
KXCERT_EXPORT int kxSHA512Init(kxSHA512State *state);
KXCERT_EXPORT int kxSHA512Update(kxSHA512State *state, const void *data, size_t dataLen);
KXCERT_EXPORT int kxSHA512Final(kxSHA512State *state, unsigned char digest[64]);  ///< wipes the state

/// HMAC-SHA1 (RFC 2104). @param[out] mac  20 octets
KXCERT_EXPORT int kx_hmac_sha1(const unsigned char *key, int keyLen, const void *data, size_t dataLen,
                               unsigned char mac[20]);

#endif
