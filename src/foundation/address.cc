#include "kxcert/foundation/address.h"

#include <arpa/inet.h>

#include <cstring>

static_assert(kAddr6TextLen == INET6_ADDRSTRLEN);

const char *praddr6(const in6_addr_kxt &address, char *text, int textLen) {
  if (text == nullptr || textLen < kAddr6TextLen) return nullptr;
  return inet_ntop(AF_INET6, address.octets, text, static_cast<socklen_t>(textLen));
}

int kx_addr6_eq(const in6_addr_kxt &a, const in6_addr_kxt &b) {
  return std::memcmp(a.octets, b.octets, sizeof a.octets) == 0 ? 1 : 0;
}
