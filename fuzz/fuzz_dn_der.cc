// Encodings of names: two octets say how long the first one is, the rest is the second. Equality
// has no direction and agrees with hashes; a name's encoding and text are the same name again, the
// text unless it holds what printing and parsing treat differently by intent (nameRoundTrip.h).
#include <algorithm>
#include <cstdint>
#include <string>

#include "check.h"
#include "nameRoundTrip.h"

namespace {

void CheckOne(const sxDN &dn) {
  if (dn.GetName() == nullptr) return;
  KX_ASSERT(dn.Count() == dn.GetName()->Count());
  const bool equalsItself = dn.Equal(dn);  // not when a value has no text
  KX_ASSERT(equalsItself == dn.IsSub(dn));
  KX_ASSERT((dn.GetStr() == nullptr) == (dn.GetStr_ascii() == nullptr));
  const sxDN copy(dn);
  KX_ASSERT(copy.Equal(dn) == equalsItself && copy.Hash() == dn.Hash() && copy.Count() == dn.Count());

  unsigned char *der = nullptr;
  int derLen = 0;
  if (dn.DerEncode(&der, &derLen) == 0) {
    const sxDN decoded(der, derLen);
    KX_ASSERT(decoded.Equal(dn) == equalsItself && decoded.Count() == dn.Count());
    unsigned char *again = nullptr;
    int againLen = 0;
    KX_ASSERT(decoded.DerEncode(&again, &againLen) == 0);
    KX_ASSERT(std::string(der, der + derLen) == std::string(again, again + againLen));
  }
  if (equalsItself) {
    sxDN rest;
    int whole = 0;
    KX_ASSERT(dn.RemoveSubDN(dn, rest, whole) == (dn.Count() > 0 ? 1 : 0));
    KX_ASSERT(dn.Count() == 0 || (whole == 1 && rest.Count() == 0));
  }
  if (!NameRoundTrips(dn)) return;
  const sxDN parsed(dn.GetStr());
  KX_ASSERT(parsed.Equal(dn) && parsed.Hash() == dn.Hash());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size < 2) return 0;
  const size_t left = size - 2;
  const size_t firstLen = std::min(static_cast<size_t>(data[0] << 8 | data[1]), left);
  const sxDN a(data + 2, static_cast<int>(firstLen));
  const sxDN b(data + 2 + firstLen, static_cast<int>(left - firstLen));
  CheckOne(a);
  CheckOne(b);
  KX_ASSERT(a.Equal(b) == b.Equal(a));
  if (a.Equal(b)) {
    KX_ASSERT(a.Hash() == b.Hash() && a.Count() == b.Count());
    KX_ASSERT(a.IsSub(b) && b.IsSub(a));
  } else if (a.IsSub(b)) {
    KX_ASSERT(a.Count() > b.Count());
  }
  return 0;
}
