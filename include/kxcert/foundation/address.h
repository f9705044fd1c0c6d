/// @file
/// IPv4 and IPv6 addresses as general names carry them.
#ifndef KXCERT_FOUNDATION_ADDRESS_H_
#define KXCERT_FOUNDATION_ADDRESS_H_

#include "kxcert/platform/export.h"

struct inx_addr_kxt {
  unsigned char octets[4];
};  ///< network order
struct in6_addr_kxt {
  unsigned char octets[16];
};  ///< network order

constexpr int kAddr6TextLen = 46;  ///< longest text and its NUL

/// The address as RFC 5952 writes it, into the caller's area.
/// @return @p text, or null when textLen is below kAddr6TextLen
KXCERT_EXPORT const char *praddr6(const in6_addr_kxt &address, char *text, int textLen);

/// 1 when all sixteen octets are equal, else 0.
KXCERT_EXPORT int kx_addr6_eq(const in6_addr_kxt &a, const in6_addr_kxt &b);

#endif
