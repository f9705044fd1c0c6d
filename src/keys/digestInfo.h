// The octets of a DigestInfo before its digest.
#ifndef KXCERT_SRC_KEYS_DIGESTINFO_H_
#define KXCERT_SRC_KEYS_DIGESTINFO_H_

#include "asn1/der.h"

constexpr int kMaxDigestInfoDigest = 1 << 20;  // any digest, and room for callers' own ideas of one

struct DigestInfoHeader {
  unsigned char area[48];
  int len;

  sxOctetView Octets() const { return sxView(area + sizeof area - len, len); }
};

/// @param withNull  whether the algorithm's parameters are NULL (0500) or absent
/// @return 0, or -1 (unknown kind, one line logged; a length outside 1 to kMaxDigestInfoDigest)
[[nodiscard]] int MakeDigestInfoHeader(int mdType, int digestLen, bool withNull, DigestInfoHeader *header);

#endif
